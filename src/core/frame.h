// SPDX-License-Identifier: MIT
#pragma once

#include <cxxabi.h>
#include <cerrno>

#include "access/cancellation.h"
#include "core/startup.h"
#include "core/translator.h"

namespace Velmor {

template <typename... Pointers>
bool any_null(const Pointers*... pointers) {
    return (... || (pointers == nullptr));
}

/** The answer to a null pointer: nothing done, nothing printed, the board not started. */
[[gnu::cold, gnu::noinline]] inline int null_pointer() {
    errno = EINVAL;
    return -EINVAL;
}

/** For an operation that has no result of its own: 0. */
template <typename Operation>
auto succeed(Operation operation) {
    return [operation](Board& board) {
        operation(board);
        return 0;
    };
}

/**
 * The frame of every exported function: start the board if need be, call one operation of it outside the library
 * mutex and turn every exception into a negative result and one line. A thread is not cancelled in here but where the
 * endless waits allow it; that unwinding is no exception of ours and passes, so an exported function is never noexcept.
 */
template <typename Operation>
#ifndef __clang__
// The C library's unwinding carries no object, and g++'s sanitizer takes the reference to it for a null one.
__attribute__((no_sanitize("null")))
#endif
int frame(const char* function, Operation operation) {
    const CancellationOff cancellation_off;
    try {
        return operation(started_board());
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return translate_exception(function);
    }
}

}  // namespace Velmor
