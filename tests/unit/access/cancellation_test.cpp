// SPDX-License-Identifier: MIT
#include "access/cancellation.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <atomic>
#include <utility>

using Velmor::CancellationAsCaller;
using Velmor::CancellationOff;

namespace {

/** Cancellation state and type of this thread. Leaves them as they are. */
std::pair<int, int> cancellation() {
    int state = 0;
    int type = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type);
    pthread_setcanceltype(type, nullptr);
    pthread_setcancelstate(state, nullptr);
    return {state, type};
}

constexpr std::pair<int, int> on_deferred(PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DEFERRED);
constexpr std::pair<int, int> on_asynchronous(PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_ASYNCHRONOUS);
constexpr std::pair<int, int> off_deferred(PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_DEFERRED);
constexpr std::pair<int, int> off_asynchronous(PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_ASYNCHRONOUS);

/** Sets the application's own choice for one test. */
class Cancellation : public testing::Test {
protected:
    ~Cancellation() override { application(on_deferred); }

    static void application(const std::pair<int, int>& choice) {
        pthread_setcanceltype(choice.second, nullptr);
        pthread_setcancelstate(choice.first, nullptr);
    }
};

TEST_F(Cancellation, OffInTheScopeAndRestoredAfterIt) {
    {
        const CancellationOff off;
        EXPECT_EQ(cancellation(), off_deferred);
    }
    EXPECT_EQ(cancellation(), on_deferred);
}

TEST_F(Cancellation, ApplicationsOwnOffStaysOff) {
    application(off_asynchronous);
    {
        const CancellationOff off;
        EXPECT_EQ(cancellation(), off_asynchronous);
    }
    EXPECT_EQ(cancellation(), off_asynchronous);
}

// A signal handler's call within a call.
TEST_F(Cancellation, NestedScopeLeavesTheCallersStateToTheOuterOne) {
    {
        const CancellationOff outer;
        {
            const CancellationOff nested;
            const CancellationAsCaller as_handler;
            EXPECT_EQ(cancellation(), off_deferred);
        }
        EXPECT_EQ(cancellation(), off_deferred);
        const CancellationAsCaller as_caller;
        EXPECT_EQ(cancellation(), on_deferred);
    }
    EXPECT_EQ(cancellation(), on_deferred);
}

TEST_F(Cancellation, RestoredWhenAnExceptionPasses) {
    try {
        const CancellationOff off;
        const CancellationAsCaller as_caller;
        throw 1;
    } catch (int) {
        EXPECT_EQ(cancellation(), on_deferred);
    }
}

TEST_F(Cancellation, AsCallerIsTheApplicationsOnAndOffAgainAfterIt) {
    const CancellationOff off;
    {
        const CancellationAsCaller as_caller;
        EXPECT_EQ(cancellation(), on_deferred);
    }
    EXPECT_EQ(cancellation(), off_deferred);
}

TEST_F(Cancellation, AsCallerIsTheApplicationsOff) {
    application(off_deferred);
    const CancellationOff off;
    {
        const CancellationAsCaller as_caller;
        EXPECT_EQ(cancellation(), off_deferred);
    }
    EXPECT_EQ(cancellation(), off_deferred);
}

TEST_F(Cancellation, AsCallerIsDeferredAndTheTypeRestored) {
    application(off_asynchronous);
    const CancellationOff off;
    {
        const CancellationAsCaller as_caller;
        EXPECT_EQ(cancellation(), off_deferred);
    }
    EXPECT_EQ(cancellation(), off_asynchronous);
}

TEST_F(Cancellation, AsCallerFollowsEachScopesCaller) {
    application(off_deferred);
    { const CancellationOff off; }
    application(on_deferred);
    const CancellationOff off;
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), on_deferred);
}

// With a cancellation that waits: a thread that has been cancelled before it goes on.

struct Pending {
    void (*operation)(Pending&) = nullptr;
    std::atomic<bool> cancellable = false;
    std::atomic<bool> cancelled = false;
    bool passed = false;   // got past the cancellation point
    bool unwound = false;  // the objects of the scope have been destroyed
};

class OnUnwinding {
public:
    explicit OnUnwinding(bool& flag) : flag_(flag) {}
    OnUnwinding(const OnUnwinding&) = delete;
    OnUnwinding& operator=(const OnUnwinding&) = delete;
    ~OnUnwinding() { flag_ = true; }

private:
    bool& flag_;
};

void* cancelled_thread(void* argument) {
    auto& pending = *static_cast<Pending*>(argument);
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    while (!pending.cancelled) {
    }
    pthread_setcancelstate(state, nullptr);
    pending.operation(pending);
    return nullptr;
}

void* operating_thread(void* argument) {
    auto& pending = *static_cast<Pending*>(argument);
    pending.operation(pending);
    return nullptr;
}

/** Whether the thread ended by its cancellation. */
bool is_cancelled(Pending& pending) {
    pthread_t thread = {};
    EXPECT_EQ(pthread_create(&thread, nullptr, cancelled_thread, &pending), 0);
    EXPECT_EQ(pthread_cancel(thread), 0);
    pending.cancelled = true;
    void* result = nullptr;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    return result == PTHREAD_CANCELED;
}

TEST_F(Cancellation, WaitsForTheEndOfTheScope) {
    Pending pending;
    pending.operation = [](Pending& self) {
        {
            const CancellationOff off;
            pthread_testcancel();
            self.passed = true;
        }
        pthread_testcancel();
        self.passed = false;
    };
    EXPECT_TRUE(is_cancelled(pending));
    EXPECT_TRUE(pending.passed);
}

TEST_F(Cancellation, StrikesWhereItIsAsTheCallers) {
    Pending pending;
    pending.operation = [](Pending& self) {
        const CancellationOff off;
        const OnUnwinding unwinding(self.unwound);
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    };
    EXPECT_TRUE(is_cancelled(pending));
    EXPECT_FALSE(pending.passed);
    EXPECT_TRUE(pending.unwound);
}

TEST_F(Cancellation, NeverStrikesAThreadThatHasItOff) {
    Pending pending;
    pending.operation = [](Pending& self) {
        application(off_deferred);
        const CancellationOff off;
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    };
    EXPECT_FALSE(is_cancelled(pending));
    EXPECT_TRUE(pending.passed);
}

TEST_F(Cancellation, AsynchronousStrikesAtTheEndOfTheScope) {
    Pending pending;
    pending.operation = [](Pending& self) {
        application(on_asynchronous);
        const OnUnwinding unwinding(self.unwound);
        {
            const CancellationOff off;
            self.cancellable = true;
            while (!self.cancelled) {
            }
            self.passed = true;
        }
        self.passed = false;
    };
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(&thread, nullptr, operating_thread, &pending), 0);
    while (!pending.cancellable) {
    }
    EXPECT_EQ(pthread_cancel(thread), 0);
    pending.cancelled = true;
    EXPECT_EQ(pthread_join(thread, nullptr), 0);  // its result is not checked: some C libraries leave it null here
    EXPECT_TRUE(pending.passed);
    EXPECT_TRUE(pending.unwound);
}

TEST_F(Cancellation, EveryThreadHasItsOwn) {
    application(off_deferred);
    const CancellationOff off;
    Pending pending;
    pending.operation = [](Pending&) {
        const CancellationOff others_off;
        const CancellationAsCaller others;
        pthread_testcancel();
    };
    EXPECT_TRUE(is_cancelled(pending));
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), off_deferred);
}

}  // namespace
