// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Velmor {

/** A PWM channel, in hertz and percent. */
class PWM {
public:
    virtual ~PWM() = default;

    /** Percent, 0..100. */
    virtual void set_duty(std::uint32_t percent) = 0;
    /** Hertz, 1..2000000, and percent; -1 keeps the current duty. */
    virtual void set_frequency(int hertz, int percent) = 0;
    virtual std::uint32_t get_duty() const = 0;
    virtual int get_frequency() const = 0;
    virtual void enable() = 0;
    virtual void disable() = 0;
};

}  // namespace Velmor
