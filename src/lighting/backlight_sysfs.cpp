// SPDX-License-Identifier: MIT
#include "lighting/backlight_sysfs.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char brightness_attribute[] = "/brightness";
constexpr char max_brightness_attribute[] = "/max_brightness";

constexpr double steps = 254.0;  // from level 1 to level 255

// Rounds halves away from zero. The clamp keeps the conversion of an absurd raw value in range.
std::int32_t rounded(double value) {
    constexpr double limit = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(value < 0 ? value - 0.5 : value + 0.5, -limit, limit));
}

}  // namespace

BacklightSysFS::BacklightSysFS(std::string path) : path_(std::move(path)) {
    const int maximum = std::max(SysFS<int>::read_from({path_, max_brightness_attribute}), 1);
    scale_ = static_cast<double>(maximum - 1) / steps;
    offset_ = 1.0 - scale_;
}

// Flattened for speed: see access/sysfs_io.h.
[[gnu::flatten, gnu::stack_protect]] void BacklightSysFS::set(std::uint32_t level) {
    check_backlight_level(level);
    const double raw = level == 0 ? 0.0 : offset_ + level * scale_;
    SysFS<int>::write_to({path_, brightness_attribute}, rounded(raw));
}

[[gnu::flatten, gnu::stack_protect]] std::uint32_t BacklightSysFS::get() {
    const int raw = SysFS<int>::read_from({path_, brightness_attribute});
    if (raw <= 0) return 0;
    if (scale_ == 0.0) return backlight_full;
    return static_cast<std::uint32_t>(rounded((raw - offset_) / scale_));
}

}  // namespace Velmor
