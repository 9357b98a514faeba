// SPDX-License-Identifier: MIT
#pragma once

#include "core/board.h"

namespace Velmor {

/**
 * The started board, built by the first call of a process. A call takes the library mutex only while no board is
 * published, and holds it for the whole of a start. Throws std::runtime_error "cannot initialize board data" when the
 * start has failed, after its line is printed; the next call tries again from scratch. std::system_error with EDEADLK
 * for a call that a signal handler makes within the first call of its thread.
 */
Board& started_board();

}  // namespace Velmor
