// SPDX-License-Identifier: MIT
#include "access/sysfs_io.h"

namespace Velmor {

SysFSIO::SysFSIO(const std::string& path) : attribute_(path) {}

void SysFSIO::set(const io_value_t& value) {
    attribute_.write(value);
}

io_value_t SysFSIO::get() {
    return attribute_.read();
}

}  // namespace Velmor
