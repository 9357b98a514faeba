// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace Velmor {

/**
 * Turn the exception being handled into the result of the C function of this name, and print its line in one write to
 * standard error. Call it from a catch-all only. errno is the last thing that it touches: the code of a system error,
 * otherwise the value that it had on entry.
 *
 * A failure of a file stream is -1, although the standard library derives it from std::system_error: the code that it
 * carries is the library's and no errno that a caller could act on.
 */
int translate_exception(const std::string& function);

/** The same for the frame, which must not throw: without memory for the name it is -1 and no line. */
int translate_exception(const char* function);

/** Print the line of a failed start-up. Never throws; keeps errno. */
void report_startup_failure(std::string_view cause);

}  // namespace Velmor
