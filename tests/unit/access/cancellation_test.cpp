// SPDX-License-Identifier: MIT
#include "access/cancellation.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <atomic>
#include <stdexcept>
#include <utility>

using Velmor::CancellationAsCaller;
using Velmor::CancellationOff;

namespace {

/** A thread's cancellation state and type. */
using Setting = std::pair<int, int>;

constexpr Setting on_deferred(PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DEFERRED);
constexpr Setting on_asynchronous(PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_ASYNCHRONOUS);
constexpr Setting off_deferred(PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_DEFERRED);
constexpr Setting off_asynchronous(PTHREAD_CANCEL_DISABLE, PTHREAD_CANCEL_ASYNCHRONOUS);

/** Sets this thread's and returns what it was. */
Setting set_cancellation(const Setting& setting) {
    Setting before;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before.first);
    pthread_setcanceltype(setting.second, &before.second);
    pthread_setcancelstate(setting.first, nullptr);
    return before;
}

/** This thread's setting, which stays as it is. */
Setting cancellation() {
    const Setting setting = set_cancellation(off_deferred);
    set_cancellation(setting);
    return setting;
}

/** Tests whose thread ends with the setting of a new thread. */
class Cancellation : public testing::Test {
protected:
    ~Cancellation() override { set_cancellation(on_deferred); }
};

TEST_F(Cancellation, IsOffExceptAsTheCallerAndRestoredAtTheEndOfTheScope) {
    const struct {
        Setting callers;
        Setting as_caller;  // never asynchronous
        Setting off;
    } rows[] = {
        {.callers = on_deferred, .as_caller = on_deferred, .off = off_deferred},
        {.callers = off_deferred, .as_caller = off_deferred, .off = off_deferred},
        {.callers = off_asynchronous, .as_caller = off_deferred, .off = off_asynchronous},
    };
    for (const auto& row : rows) {
        set_cancellation(row.callers);
        {
            const CancellationOff off;
            EXPECT_EQ(cancellation(), row.off);
        }
        EXPECT_EQ(cancellation(), row.callers);
        {
            const CancellationOff off;
            {
                const CancellationAsCaller as_caller;
                EXPECT_EQ(cancellation(), row.as_caller);
            }
            EXPECT_EQ(cancellation(), row.off);
        }
        EXPECT_EQ(cancellation(), row.callers);
    }
}

// A signal handler may call the library during a call.
TEST_F(Cancellation, NestedScopeDoesNotChangeTheCallersStateOfTheOuterOne) {
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

TEST_F(Cancellation, IsRestoredByAnException) {
    try {
        const CancellationOff off;
        const CancellationAsCaller as_caller;
        throw 1;
    } catch (int) {
        EXPECT_EQ(cancellation(), on_deferred);
    }
}

TEST_F(Cancellation, EachScopeHasItsOwnCallersState) {
    set_cancellation(off_deferred);
    { const CancellationOff off; }
    set_cancellation(on_deferred);
    const CancellationOff off;
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), on_deferred);
}

/** A thread that is cancelled. */
struct CancelledThread {
    explicit CancelledThread(void (*code)(CancelledThread&)) : operation(code) {}

    /**
     * Cancels it before its operation begins, or in the middle, once the operation sets `cancellable`. Returns whether
     * it was ended by the cancellation.
     */
    bool run(bool in_the_middle = false) {
        cancellable = !in_the_middle;
        pthread_t thread = {};
        if (pthread_create(&thread, nullptr, in_the_middle ? operate : operate_when_cancelled, this) != 0)
            throw std::runtime_error("pthread_create");
        while (!cancellable) {
        }
        EXPECT_EQ(pthread_cancel(thread), 0);
        cancelled = true;
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        return result == PTHREAD_CANCELED;
    }

    void (*operation)(CancelledThread&);
    std::atomic<bool> cancellable = false;
    std::atomic<bool> cancelled = false;
    bool passed = false;   // it got past the cancellation point
    bool unwound = false;  // the objects of its scope have been destroyed

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

struct OnUnwinding {
    bool& flag;
    ~OnUnwinding() { flag = true; }
};

TEST_F(Cancellation, IsDelayedToTheEndOfTheScope) {
    CancelledThread thread([](CancelledThread& self) {
        {
            const CancellationOff off;
            pthread_testcancel();
            self.passed = true;
        }
        pthread_testcancel();
        self.passed = false;
    });
    EXPECT_TRUE(thread.run());
    EXPECT_TRUE(thread.passed);
}

TEST_F(Cancellation, UnwindsTheThreadWhereItIsAsTheCaller) {
    CancelledThread thread([](CancelledThread& self) {
        const CancellationOff off;
        const OnUnwinding unwinding{self.unwound};
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    });
    EXPECT_TRUE(thread.run());
    EXPECT_FALSE(thread.passed);
    EXPECT_TRUE(thread.unwound);
}

TEST_F(Cancellation, NeverEndsAThreadThatHasDisabledIt) {
    CancelledThread thread([](CancelledThread& self) {
        set_cancellation(off_deferred);
        const CancellationOff off;
        const CancellationAsCaller as_caller;
        pthread_testcancel();
        self.passed = true;
    });
    EXPECT_FALSE(thread.run());
    EXPECT_TRUE(thread.passed);
}

TEST_F(Cancellation, AsynchronousCancellationUnwindsTheThreadAtTheEndOfTheScope) {
    CancelledThread thread([](CancelledThread& self) {
        set_cancellation(on_asynchronous);
        const OnUnwinding unwinding{self.unwound};
        {
            const CancellationOff off;
            self.cancellable = true;
            while (!self.cancelled) {
            }
            self.passed = true;
        }
        self.passed = false;
    });
    thread.run(/*in_the_middle=*/true);  // what it returns is not checked: some C libraries leave the result null here
    EXPECT_TRUE(thread.passed);
    EXPECT_TRUE(thread.unwound);
}

TEST_F(Cancellation, EveryThreadHasItsOwnCallersState) {
    set_cancellation(off_deferred);
    const CancellationOff off;
    CancelledThread thread([](CancelledThread&) {
        const CancellationOff others_off;
        const CancellationAsCaller others;
        pthread_testcancel();
    });
    EXPECT_TRUE(thread.run());
    const CancellationAsCaller as_caller;
    EXPECT_EQ(cancellation(), off_deferred);
}

}  // namespace
