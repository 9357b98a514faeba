// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

namespace memory {

// The program has a malloc family of its own, on which operator new and the C++ runtime's exceptions draw too. It looks
// at what one thread does between enter() and leave(), a stretch, and is the C library's in all other respects.

void enter();
void leave();

/** Have the allocations of the next stretch from the first number to the last fail; the first of all is number 1. */
void fail_next(long first, long last);

/** How many allocations the stretch since fail_next() has asked for, those that failed among them. */
long allocations();
/** The numbers of its allocations whose blocks are still in use. */
std::vector<long> in_use();

/** Blocks that all stretches so far have taken, less those that they have given back. */
long balance();

}  // namespace memory
