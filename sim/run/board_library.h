// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

/**
 * If the board is given by name and comes with a libvelmor.so.3, put the library's folder first in LD_LIBRARY_PATH, for
 * the program.
 */
void put_board_library_first(const std::string& board);

}  // namespace VelmorSim
