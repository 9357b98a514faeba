// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace VelmorSim {

class Model;

/** The names of the boards that come with the program, and what each is. */
std::vector<std::pair<std::string, std::string>> boards();

/** Make what the board file describes. Throws BoardError. */
void load_board(const std::string& board, Model& model);

/** Set one value of the model. Throws std::invalid_argument that names it and says what would be right. */
void set_value(Model& model, const std::string& name, const std::string& value);

/** Make the attribute show exactly this text (\n, \t, \\ and \xHH stand for their characters). */
void set_raw(Model& model, const std::string& name, const std::string& text);

}  // namespace VelmorSim
