// SPDX-License-Identifier: MIT
#pragma once

#include "core/board.h"

namespace Velmor {

/**
 * The started board; the first call in a process builds it. A call takes the library mutex only while no board is
 * published, and holds it during the start. If the start fails, prints its line and throws std::runtime_error "cannot
 * initialize board data"; the next call starts again from scratch. Throws std::system_error with EDEADLK for a call
 * from a signal handler that has interrupted its own thread's start.
 */
Board& started_board();

}  // namespace Velmor
