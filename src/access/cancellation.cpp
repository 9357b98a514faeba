// SPDX-License-Identifier: MIT
#include "access/cancellation.h"

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Velmor {

namespace {

// In the static TLS that the loader reserves for small libraries: accessed without a call.
[[gnu::tls_model("initial-exec")]] constinit thread_local int callers_state = PTHREAD_CANCEL_ENABLE;

}  // namespace

CancellationOff::CancellationOff() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_);
    outer_callers_state_ = std::exchange(callers_state, previous_);
}

CancellationOff::~CancellationOff() noexcept(false) {
    callers_state = outer_callers_state_;
    pthread_setcancelstate(previous_, nullptr);
}

CancellationAsCaller::CancellationAsCaller() {
    // Deferred: an asynchronous cancellation could strike at a place that cannot be unwound.
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &previous_type_);
    pthread_setcancelstate(callers_state, &previous_state_);
}

CancellationAsCaller::~CancellationAsCaller() {
    pthread_setcancelstate(previous_state_, nullptr);
    pthread_setcanceltype(previous_type_, nullptr);
}

pid_t wait_for_any_child(int& status) {
    const CancellationAsCaller cancellable;
    return ::wait(&status);
}

void wait_forever() {
    const CancellationAsCaller cancellable;
    for (;;) ::sleep(1);
}

}  // namespace Velmor
