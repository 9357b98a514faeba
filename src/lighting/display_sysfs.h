// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/sysfs.h"
#include "lighting/display.h"

namespace Velmor {

/**
 * A framebuffer's "blank" attribute: 0 shows, 1 blanks, higher numbers are deeper levels. set() inverts the lowest bit
 * of its number and writes the result, whatever the other bits are; get() is off for exactly 1, so that a deeper level
 * reads as on. Any threads.
 */
class DisplaySysFS : public Display {
public:
    /** The attribute's whole path. Touches no file. */
    explicit DisplaySysFS(const std::string& path);

    void set(std::uint32_t on) override;
    bool get() override;

private:
    SysFS<int> blank_;
};

}  // namespace Velmor
