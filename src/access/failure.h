// SPDX-License-Identifier: MIT
#pragma once

namespace Velmor {

/** Throws std::system_error. Pass errno itself: once the exception has its memory, it may be another. */
[[noreturn]] void throw_system_error(int error);

/** Throws the standard stream failure, with the text that a standard file stream gives it. */
[[noreturn]] void throw_stream_failure();

}  // namespace Velmor
