// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace Velmor {

/**
 * Turns the exception being handled into the result of the C function of this name, and prints its line to standard
 * error in one write. Call it only from a catch-all handler. It sets errno last: to the code of a system error,
 * otherwise to the value on entry.
 *
 * A file stream failure is -1, although the standard library derives it from std::system_error: its code is one of the
 * standard library's, not an errno that a caller could act on.
 */
int translate_exception(const std::string& function);

/** The same for the frame, which must not throw: without memory for the name it returns -1 and prints nothing. */
int translate_exception(const char* function);

/** Prints the line for a failed start. Never throws; keeps errno. */
void report_startup_failure(std::string_view cause);

}  // namespace Velmor
