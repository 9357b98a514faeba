// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace Velmor {

/**
 * No thread is cancelled in this scope: a cancellation in the middle of an operation would leave a line exported or a
 * PWM at duty 0, and one in a destructor that closes a file would end the process.
 */
class CancellationOff {
public:
    CancellationOff();
    /** A thread that the application cancels asynchronously is unwound from here. */
    ~CancellationOff() noexcept(false);
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

private:
    int previous_ = 0;
    int outer_callers_state_ = 0;  // of the call that a signal handler has interrupted with this one
};

/**
 * In this scope, which lies within a CancellationOff, a thread can be cancelled at its cancellation points if the
 * application lets it: for waits that have no other end.
 */
class CancellationAsCaller {
public:
    CancellationAsCaller();
    ~CancellationAsCaller();
    CancellationAsCaller(const CancellationAsCaller&) = delete;
    CancellationAsCaller& operator=(const CancellationAsCaller&) = delete;

private:
    int previous_state_ = 0;
    int previous_type_ = 0;
};

// The waits of the library that may have no end.

/** The system's wait(), in which the thread can be cancelled. */
pid_t wait_for_any_child(int& status);
/** The end of a thread that has brought the system down; it can be cancelled. */
[[noreturn]] void wait_forever();

}  // namespace Velmor
