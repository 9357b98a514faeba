// SPDX-License-Identifier: MIT
#pragma once

#include "core/board.h"

namespace Velmor {

/**
 * The started board, built by the first call. Holds the library mutex only for the look at it (and for the whole of a
 * start-up), never for an operation. Throws std::runtime_error "cannot initialize board data" when the start-up has
 * failed; the next call tries again from scratch.
 */
Board& started_board();

}  // namespace Velmor
