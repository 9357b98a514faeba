// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/sysfs_pwm.h"
#include "lighting/backlight.h"

namespace Velmor {

/**
 * A backlight driven by a PWM channel: the level is a duty cycle in whole percent. The constructor sets the channel's
 * frequency and duty. A level may not read back as it was set (128 is 50 %, which reads as 127), and level 1 is a
 * running channel at 0 %. This must stay so, because applications are tuned to these numbers.
 *
 * Threads: as for SysFSPWM.
 */
class BacklightPWM : public Backlight {
public:
    /** Channel directory, frequency in hertz, duty in percent (-1 keeps the current one). */
    BacklightPWM(std::string path, int hertz, int percent);

    void set(std::uint32_t level) override;
    std::uint32_t get() override;

private:
    SysFSPWM pwm_;
};

}  // namespace Velmor
