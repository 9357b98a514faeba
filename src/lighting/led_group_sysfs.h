// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/sysfs.h"
#include "lighting/led_group.h"

namespace Velmor {

/**
 * A driver attribute that takes a colour as three decimals, 0..255 each, in one write. Colours are checked when set
 * and passed through when read. Any threads.
 */
class LedGroupSysFS : public LedGroup {
public:
    /** The attribute's whole path. Touches no file. */
    explicit LedGroupSysFS(const std::string& path);

    void set(const led_color_t& color) override;
    void get(led_color_t& color) override;

private:
    SysFS<led_color_t> attribute_;
};

}  // namespace Velmor
