// SPDX-License-Identifier: MIT
#include "access/cancellation.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <atomic>
#include <string>
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

struct Scope {
    const char* name;
    std::pair<int, int> callers;
    std::pair<int, int> off;        // in a CancellationOff
    std::pair<int, int> as_caller;  // in a CancellationAsCaller within it
};

class CancellationScope : public Cancellation, public testing::WithParamInterface<Scope> {};

TEST_P(CancellationScope, IsOffButForThePartThatIsAsTheCallerAndRestoredAfterIt) {
    application(GetParam().callers);
    {
        const CancellationOff off;
        EXPECT_EQ(cancellation(), GetParam().off);
    }
    EXPECT_EQ(cancellation(), GetParam().callers);
    {
        const CancellationOff off;
        {
            const CancellationAsCaller as_caller;
            EXPECT_EQ(cancellation(), GetParam().as_caller);
        }
        EXPECT_EQ(cancellation(), GetParam().off);
    }
    EXPECT_EQ(cancellation(), GetParam().callers);
}

INSTANTIATE_TEST_SUITE_P(
    Callers, CancellationScope,
    testing::Values(Scope{.name = "On", .callers = on_deferred, .off = off_deferred, .as_caller = on_deferred},
                    Scope{.name = "Off", .callers = off_deferred, .off = off_deferred, .as_caller = off_deferred},
                    // Also as the caller it is never asynchronous.
                    Scope{.name = "OffAsynchronous",
                          .callers = off_asynchronous,
                          .off = off_asynchronous,
                          .as_caller = off_deferred}),
    [](const auto& instance) { return std::string(instance.param.name); });

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

TEST_F(Cancellation, AsCallerFollowsEachScopesCaller) {
    application(off_deferred);
    { const CancellationOff off; }
    application(on_deferred);
    const CancellationOff off;
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), on_deferred);
}

/** A thread that is cancelled. */
struct CancelledThread {
    explicit CancelledThread(void (*code)(CancelledThread&)) : operation(code) {}

    /** Cancels it before its operation begins, or in the middle: when the operation sets `cancellable`. */
    void run(bool in_the_middle = false) {
        cancellable = !in_the_middle;
        pthread_t thread = {};
        ASSERT_EQ(pthread_create(&thread, nullptr, in_the_middle ? operate : operate_when_cancelled, this), 0);
        while (!cancellable) {
        }
        EXPECT_EQ(pthread_cancel(thread), 0);
        cancelled = true;
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        ended_by_cancellation = result == PTHREAD_CANCELED;
    }

    void (*operation)(CancelledThread&);
    std::atomic<bool> cancellable = false;
    std::atomic<bool> cancelled = false;
    bool passed = false;   // got past the cancellation point
    bool unwound = false;  // the objects of the scope have been destroyed
    bool ended_by_cancellation = false;

private:
    static void* operate(void* self) {
        auto& thread = *static_cast<CancelledThread*>(self);
        thread.operation(thread);
        return nullptr;
    }

    static void* operate_when_cancelled(void* self) {
        int state = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
        while (!static_cast<CancelledThread*>(self)->cancelled) {
        }
        pthread_setcancelstate(state, nullptr);
        return operate(self);
    }
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

TEST_F(Cancellation, WaitsForTheEndOfTheScope) {
    CancelledThread thread([](CancelledThread& self) {
        {
            const CancellationOff off;
            pthread_testcancel();
            self.passed = true;
        }
        pthread_testcancel();
        self.passed = false;
    });
    thread.run();
    EXPECT_TRUE(thread.ended_by_cancellation);
    EXPECT_TRUE(thread.passed);
}

TEST_F(Cancellation, StrikesWhereItIsAsTheCallers) {
    CancelledThread thread([](CancelledThread& self) {
        const CancellationOff off;
        const OnUnwinding unwinding(self.unwound);
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    });
    thread.run();
    EXPECT_TRUE(thread.ended_by_cancellation);
    EXPECT_FALSE(thread.passed);
    EXPECT_TRUE(thread.unwound);
}

TEST_F(Cancellation, NeverStrikesAThreadThatHasItOff) {
    CancelledThread thread([](CancelledThread& self) {
        application(off_deferred);
        const CancellationOff off;
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    });
    thread.run();
    EXPECT_FALSE(thread.ended_by_cancellation);
    EXPECT_TRUE(thread.passed);
}

TEST_F(Cancellation, AsynchronousStrikesAtTheEndOfTheScope) {
    CancelledThread thread([](CancelledThread& self) {
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
    });
    thread.run(/*in_the_middle=*/true);  // its result is not checked: some C libraries leave it null here
    EXPECT_TRUE(thread.passed);
    EXPECT_TRUE(thread.unwound);
}

TEST_F(Cancellation, EveryThreadHasItsOwn) {
    application(off_deferred);
    const CancellationOff off;
    CancelledThread thread([](CancelledThread&) {
        const CancellationOff others_off;
        const CancellationAsCaller others;
        pthread_testcancel();
    });
    thread.run();
    EXPECT_TRUE(thread.ended_by_cancellation);
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), off_deferred);
}

}  // namespace
