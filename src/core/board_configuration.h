// SPDX-License-Identifier: MIT
#pragma once

namespace Velmor {

class Board;

/**
 * Register the resources that the device carries, in order. This is the one function that another board replaces, by a
 * translation unit of its own. Throws what a constructor throws; the rows after it are then not created, and the
 * objects created so far are lost on purpose: what they opened or wrote cannot be undone, and the registry never owns
 * them.
 */
void configure_board(Board& board);

}  // namespace Velmor
