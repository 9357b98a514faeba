// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace VelmorSim {

class Model;

/** The name and the description of each board that comes with the program. */
std::vector<std::pair<std::string, std::string>> boards();

/** Build the devices that the board file describes. Throws BoardError. */
void load_board(const std::string& board, Model& model);

/** Set one value of the model. Throws std::invalid_argument with the name and what would be valid. */
void set_value(Model& model, const std::string& name, const std::string& value);

/** Make the attribute show exactly this text; \n, \t, \\ and \xHH are escapes. Throws std::invalid_argument. */
void set_raw(Model& model, const std::string& name, const std::string& text);

}  // namespace VelmorSim
