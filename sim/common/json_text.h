// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace VelmorSim {

/**
 * Parse JSON. Throws std::invalid_argument with the place in the text: also if an object has a key twice, and if lists
 * and objects are nested so deeply that recursion over them could overflow the stack.
 */
nlohmann::ordered_json parse_json(const std::string& text);

}  // namespace VelmorSim
