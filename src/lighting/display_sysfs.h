// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/sysfs.h"
#include "lighting/display.h"

namespace Velmor {

/**
 * A framebuffer's "blank" attribute: 0 shows, 1 blanks, higher numbers are deeper levels. set() writes its number with
 * the lowest bit inverted, whatever the other bits are. get() is false for 1 only, so a deeper level reads as on. Any
 * thread may use it.
 */
class DisplaySysFS : public Display {
public:
    /** The attribute's full path. Touches no file. */
    explicit DisplaySysFS(const std::string& path);

    void set(std::uint32_t on) override;
    bool get() override;

private:
    SysFS<int> blank_;
};

}  // namespace Velmor
