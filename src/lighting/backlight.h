// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "core/resource.h"

namespace Velmor {

/** A backlight. Callers use one scale for all hardware: 0 (off) to 255 (full). */
class Backlight : public Resource {
public:
    virtual void set(std::uint32_t level) = 0;
    virtual std::uint32_t get() = 0;
};

/** The brightest level. */
constexpr std::uint32_t backlight_full = 255;

/** Throws std::range_error for a level above the brightest. */
void check_backlight_level(std::uint32_t level);

}  // namespace Velmor
