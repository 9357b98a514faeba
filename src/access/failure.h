// SPDX-License-Identifier: MIT
#pragma once

#include <ios>
#include <system_error>

namespace Velmor {

// Never inlined: throwing is slow anyway, and the functions that throw stay small and fast.

/** Pass errno as the argument: allocating the exception may change it. */
[[noreturn, gnu::cold, gnu::noinline]] inline void throw_system_error(int error) {
    throw std::system_error(error, std::system_category());
}

/** The standard stream failure, with the text that a standard file stream gives it. */
[[noreturn, gnu::cold, gnu::noinline]] inline void throw_stream_failure() {
    throw std::ios_base::failure("basic_ios::clear");
}

}  // namespace Velmor
