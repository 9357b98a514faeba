// SPDX-License-Identifier: MIT
#include "lighting/display_sysfs.h"

namespace Velmor {

DisplaySysFS::DisplaySysFS(const std::string& path) : blank_(path) {}

void DisplaySysFS::set(std::uint32_t on) {
    blank_.write(static_cast<int>(on ^ 1U));
}

bool DisplaySysFS::get() {
    return blank_.read() != 1;
}

}  // namespace Velmor
