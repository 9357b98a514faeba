// SPDX-License-Identifier: MIT
#include "lighting/led_group_sysfs.h"

#include <initializer_list>
#include <stdexcept>

namespace Velmor {

LedGroupSysFS::LedGroupSysFS(const std::string& path) : attribute_(path) {}

void LedGroupSysFS::set(const led_color_t& color) {
    for (const int component : {color.red, color.green, color.blue}) {
        if (component < 0 || component > 255) throw std::range_error("color out of range");
    }
    attribute_.write(color);
}

void LedGroupSysFS::get(led_color_t& color) {
    color = attribute_.read();
}

}  // namespace Velmor
