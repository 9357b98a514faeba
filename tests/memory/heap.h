// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

namespace memory {

// The program replaces malloc() and its family, which operator new and the exceptions of the C++ runtime use too. Only
// what one thread does between enter() and leave() is counted and may fail; all other calls go to the C library.

void enter();
void leave();

/** Make the allocations after the next enter() fail from the first number to the last; the first of all is number 1. */
void fail_next(long first, long last);

/** The number of allocations since fail_next(), failed ones included. */
long allocations();
/** The numbers of those whose blocks are still in use. */
std::vector<long> in_use();

/** Blocks allocated and not freed, by all counted code so far. */
long balance();

}  // namespace memory
