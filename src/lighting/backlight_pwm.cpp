// SPDX-License-Identifier: MIT
#include "lighting/backlight_pwm.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Velmor {

BacklightPWM::BacklightPWM(std::string path, int hertz, int percent) : pwm_(std::move(path), hertz, percent) {}

void BacklightPWM::set(std::uint32_t level) {
    check_backlight_level(level);
    if (level == 0) {
        pwm_.disable();
        return;
    }
    const int tenths = 1000 * static_cast<int>(level) / 255;
    pwm_.set_duty(static_cast<std::uint32_t>((tenths + 5) / 10));
    pwm_.enable();
}

std::uint32_t BacklightPWM::get() {
    if (pwm_.is_enabled() == 0) return 0;
    // In 64 bits: a duty that a confused driver reports far above 100 % must not wrap into a plausible level.
    const std::uint64_t level = std::uint64_t{pwm_.get_duty()} * backlight_full / 100;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(level, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace Velmor
