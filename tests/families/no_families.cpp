// SPDX-License-Identifier: MIT
#include "core/board_configuration.h"

namespace Velmor {

/** A board that exists for the tests: it carries nothing, so that no family is there. */
void configure_board(Board& /*board*/) {}

}  // namespace Velmor
