// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace VelmorSim {

/**
 * "did you mean backlight.brightness or pwm1.duty? ", with at most three of the known words: those that differ from
 * `word` by few letters, contain it, or are paths with the same last part. Empty if there are none.
 */
std::string did_you_mean(const std::string& word, const std::vector<std::string>& known);

}  // namespace VelmorSim
