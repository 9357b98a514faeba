// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace Velmor {

/**
 * The thread is not cancelled in this scope. A cancellation in the middle of an operation would leave a line exported
 * or a PWM at duty 0, and one in a destructor that closes a file would end the process.
 */
class CancellationOff {
public:
    CancellationOff();
    /** If the application cancels the thread asynchronously, the unwinding begins here. */
    ~CancellationOff() noexcept(false);
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

private:
    int previous_ = 0;
    int outer_callers_state_ = 0;  // of the interrupted call, if a signal handler makes this one
};

/**
 * Within a CancellationOff: in this scope the thread can be cancelled at cancellation points if the application allows
 * it. For waits that might otherwise never end.
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

// The library's waits that may never end.

/** The system's wait(); the thread can be cancelled in it. */
pid_t wait_for_any_child(int& status);
/** Waits for the system to go down; the thread can be cancelled. */
[[noreturn]] void wait_forever();

}  // namespace Velmor
