// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "lighting/backlight.h"

namespace Velmor {

/**
 * A device of the kernel's backlight class: a directory with "brightness" and "max_brightness", in the driver's own
 * units. The scale is linear from level 1 = raw 1 to level 255 = raw maximum; level 0 is raw 0 (off).
 *
 * The maximum is read once, at construction; one below 1 counts as 1. With a maximum of 1 every level above 0 writes 1
 * and every raw value above 0 reads as 255. A raw value above the maximum reads as a level above 255.
 *
 * Threads: no state but the scale, so calls may overlap; if two threads set a level, the kernel keeps the later.
 */
class BacklightSysFS : public Backlight {
public:
    /** Directory without a trailing slash. */
    explicit BacklightSysFS(std::string path);

    void set(std::uint32_t level) override;
    std::uint32_t get() override;

private:
    std::string path_;
    double scale_ = 0.0;   // raw units per level
    double offset_ = 0.0;  // raw value at level 0 of the linear scale
};

}  // namespace Velmor
