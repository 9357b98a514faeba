// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/pwm.h"

namespace Velmor {

/**
 * A PWM channel of the SoC's driver: a directory with "period" and "duty" (nanoseconds) and "status" (0 stopped, 1
 * running). The constructor sets the frequency and the duty; it neither starts nor stops the channel.
 *
 * The arithmetic is in 32 bits and truncates. percent x period wraps at high percentages for periods above 42949672 ns.
 * It must stay so, because boards are tuned to the results. A period that reads 0 counts as duty 0 % and 0 Hz.
 *
 * A failure in the middle of set_frequency() leaves the channel at duty 0, with the old or the new period. Threads: no
 * state but the path; calls that change one channel must not overlap.
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
