// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/sysfs.h"
#include "lighting/led_group.h"

namespace Velmor {

/**
 * A driver's attribute that takes a colour as three decimal numbers, 0..255 each, in one write. Colours are checked
 * when set and passed through when read. Any thread may use it.
 */
class LedGroupSysFS : public LedGroup {
public:
    /** The attribute's full path. Touches no file. */
    explicit LedGroupSysFS(const std::string& path);

    void set(const led_color_t& color) override;
    void get(led_color_t& color) override;

private:
    SysFS<led_color_t> attribute_;
};

}  // namespace Velmor
