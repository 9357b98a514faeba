// SPDX-License-Identifier: MIT
#include "backlight_steps.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace VelmorCtl {

namespace {

constexpr std::uint32_t full = 255;
constexpr double steps = 254.0;  // from level 1 to level 255

int rounded(double value) {
    constexpr double limit = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::round(value), -limit, limit));
}

}  // namespace

BacklightSteps::BacklightSteps(int max_brightness)
    : max_(std::max(max_brightness, 1)), scale_(static_cast<double>(max_ - 1) / steps), offset_(1.0 - scale_) {}

std::uint32_t BacklightSteps::level_of(int raw) const {
    if (raw <= 0) return 0;
    if (max_ == 1) return full;
    return static_cast<std::uint32_t>(rounded((raw - offset_) / scale_));
}

int BacklightSteps::raw_of(std::uint32_t level) const {
    return level == 0 ? 0 : rounded(offset_ + level * scale_);
}

std::uint32_t BacklightSteps::level_of_percent(int percent) const {
    const double exact = percent * static_cast<double>(max_) / 100.0;
    const auto distance = [&](std::uint32_t level) { return std::abs(raw_of(level) - exact); };
    const std::uint32_t near = level_of(rounded(exact));
    std::uint32_t best = near;
    // With more than 255 numbers, both roundings may err to the same side, and a neighbour is nearer.
    if (near > 0 && distance(near - 1) < distance(best)) best = near - 1;
    if (near < full && distance(near + 1) < distance(best)) best = near + 1;
    return best;
}

int BacklightSteps::percent_of(std::uint32_t level) const {
    return rounded(100.0 * raw_of(level) / max_);
}

}  // namespace VelmorCtl
