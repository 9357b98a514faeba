// SPDX-License-Identifier: MIT
#pragma once

#include "core/board.h"

namespace Velmor {

/**
 * The started board, built by the first call of a process. Takes the library mutex until it is published, for the whole
 * of a start; never for an operation. Throws std::runtime_error "cannot initialize board data" when the start has
 * failed, after its line is printed; the next call tries again from scratch. std::system_error with EDEADLK for a call
 * that a start of the same thread makes.
 */
Board& started_board();

}  // namespace Velmor
