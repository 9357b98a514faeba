// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "core/board.h"

/** The board configuration of this program's boards. Set it before the first call, in the process that makes it. */
extern std::function<void(Velmor::Board&)> configuration;
/** How often it has been run. */
extern int configurations;
