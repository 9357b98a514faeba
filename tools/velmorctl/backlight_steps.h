// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace VelmorCtl {

/**
 * The driver's numbers of a backlight, 0 to max_brightness, and the library's levels, 0 to 255. Percent are of
 * max_brightness: levels alone cannot keep every percentage, because not every driver's number of a percentage is the
 * nearest to that percentage of 255.
 *
 * With a max_brightness of at least 100, a percentage that is set reads back unchanged.
 */
class BacklightSteps {
public:
    explicit BacklightSteps(int max_brightness = 255);

    int max_brightness() const { return max_; }

    /** The level whose driver's number is nearest to this one: exactly this one for a max_brightness up to 255. */
    std::uint32_t level_of(int raw) const;

    /** The number that the library writes for a level: it rounds halves away from zero. */
    int raw_of(std::uint32_t level) const;

    std::uint32_t level_of_percent(int percent) const;
    int percent_of(std::uint32_t level) const;

private:
    int max_;
    double scale_;  // as the library computes it, so that halves round alike
    double offset_;
};

}  // namespace VelmorCtl
