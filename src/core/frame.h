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

/** The result for a null pointer: nothing is done or printed, and the board is not started. */
[[gnu::cold, gnu::noinline]] inline int null_pointer() {
    errno = EINVAL;
    return -EINVAL;
}

/** Makes an operation that has no result return 0. */
template <typename Operation>
auto succeed(Operation operation) {
    return [operation](Board& board) {
        operation(board);
        return 0;
    };
}

/**
 * The frame of every exported function: starts the board if necessary, calls one of its operations without holding the
 * library mutex, and turns every exception into a negative result and one line. In here a thread is cancelled only in
 * the waits that may never end. That unwinding is not an exception of ours and is passed on, so an exported function is
 * never noexcept.
 */
template <typename Operation>
#ifndef __clang__
// The C library's unwinding has no exception object, so g++'s sanitizer would report a null reference.
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
