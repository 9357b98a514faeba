// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <utility>

#include "stand_ins.h"

/**
 * A thread that runs something without an end; the constructor returns when it is in the endless wait, which is made to
 * end after some seconds where nobody cancels it.
 */
class WaitingThread {
public:
    explicit WaitingThread(std::function<void()> code) : code_(std::move(code)) {
        stand_ins::state.really_sleeps = true;
        stand_ins::state.woken_by = 4;
        pthread_create(
            &thread_, nullptr,
            [](void* self) -> void* {
                auto* const thread = static_cast<WaitingThread*>(self);
                try {
                    thread->code_();
                } catch (const stand_ins::Woken&) {  // nobody has cancelled it
                }
                thread->ended_ = true;
                return nullptr;
            },
            this);
        while (stand_ins::sleeps == 0 && !ended_) usleep(1000);
    }

    /** Cancels it; whether that is how it has ended. */
    bool ends_by_cancellation() const {
        pthread_cancel(thread_);
        void* result = nullptr;
        pthread_join(thread_, &result);
        return result == PTHREAD_CANCELED;
    }

private:
    std::function<void()> code_;
    std::atomic<bool> ended_ = false;
    pthread_t thread_ = {};
};
