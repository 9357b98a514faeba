// SPDX-License-Identifier: MIT
#pragma once

namespace Velmor {

class Board;

/**
 * Register the resources that this device carries, in order. Throws what a constructor throws; the rows after it are
 * then not created, and the objects created so far are lost on purpose: what they opened or wrote cannot be undone,
 * and the registry never owns them.
 */
void configure_board(Board& board);

}  // namespace Velmor
