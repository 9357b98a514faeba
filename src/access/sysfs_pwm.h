// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/pwm.h"

namespace Velmor {

/**
 * A PWM channel of the SoC's driver: a directory with "period" and "duty" (nanoseconds) and "status" (0 stopped,
 * 1 running). Construction programs the channel; whether it runs is left as it is found.
 *
 * The arithmetic is in 32 bits and truncates. percent x period wraps for periods above 42949672 ns at high
 * percentages; boards are tuned to the results, so they are kept. A period that reads 0 has duty 0 % and 0 Hz.
 *
 * A failure in the middle of set_frequency() leaves the channel at duty 0, or with the new period and duty 0.
 * Threads: no state but the path; overlapping settings of one channel mix.
 */
class SysFSPWM : public PWM {
public:
    /** Directory without a trailing slash. Throws what set_frequency() throws. */
    SysFSPWM(std::string path, int hertz, int percent);

    void set_duty(std::uint32_t percent) override;
    void set_frequency(int hertz, int percent) override;
    std::uint32_t get_duty() const override;
    int get_frequency() const override;
    void enable() override { set_status(1); }
    void disable() override { set_status(0); }

    /** Nanoseconds. */
    int get_period() const;
    /** The number that "status" reads. */
    int is_enabled() const;
    /** 0 or 1. */
    void set_status(std::uint32_t status);

private:
    static void check_frequency(int hertz);

    std::string path_;
};

}  // namespace Velmor
