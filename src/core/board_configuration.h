// SPDX-License-Identifier: MIT
#pragma once

namespace Velmor {

class Board;

/**
 * Registers the resources of the device, in order. This is the one function that another board replaces, in a
 * translation unit of its own. Throws what a constructor throws; the rows after it are then not created. The objects
 * created so far are leaked on purpose: what they opened or wrote cannot be undone, and the registry never owns them.
 */
void configure_board(Board& board);

}  // namespace Velmor
