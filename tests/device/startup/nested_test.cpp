// SPDX-License-Identifier: MIT
// Forks and calls in the middle of a start or of a call: by other threads, by signal handlers, by fork handlers and by
// what is behind standard error.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>

#include "configuration.h"
#include "core/board.h"
#include "platform/power.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/forked.h"
#include "support/instrumented.h"
#include "velmor.h"

using namespace testing_support;
using namespace Velmor;

namespace {

/** Add a line whose level is the number of this start in its process. */
void add_numbered_line(Board& board) {
    const int start = configurations;
    add_line(board, 3, [start] { return start; });
}

std::string query_line() {
    return result_of(io_get, 3);
}

const std::string level_1 = succeeds("1");
const std::string level_2 = succeeds("2");

bool level_is_2() {
    return query_line() == level_2;
}

/** As run_in_child(), but a process that hangs is killed. */
ChildResult run_briefly(const Scenario& scenario) {
    return run_in_child([&scenario] {
        no_longer_than(20);
        return scenario();
    });
}

std::function<void()> on_signal;

/** Run this in a signal handler of this thread, at once. */
void in_signal_handler(const std::function<void()>& code) {
    on_signal = code;
    std::signal(SIGUSR1, [](int) {
        const int error = errno;
        on_signal();
        errno = error;
    });
    std::raise(SIGUSR1);
}

// ---- Forks within a start ------------------------------------------------------------------------------------------

/** A thread in the middle of the first start of its process. */
class HeldStart {
public:
    HeldStart() {
        configuration = [this](Board& board) {
            inside_ = true;
            if (configurations == 1) wait_until([this] { return go_on_.load(); });
            add_numbered_line(board);
        };
        starter_ = std::thread([this] { result_ = query_line(); });
        wait_until([this] { return inside_.load(); });
    }

    /** Let the start finish, and return the result of its call. */
    std::string finish() {
        go_on_ = true;
        starter_.join();
        return result_;
    }

private:
    std::atomic<bool> inside_ = false;
    std::atomic<bool> go_on_ = false;
    std::string result_;
    std::thread starter_;
};

TEST(ForkWithinAStart, ByAnotherThreadLetsBothProcessesStart) {
    const auto calls = [] {
        HeldStart start;
        const std::string child = run_forked([] { return level_is_2() && level_is_2(); });
        const std::string first = start.finish();
        return joined({child, first, query_line(), std::to_string(configurations)});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({"success", level_1, level_1, "1"})));
}

TEST(ForkWithinAStart, ThreadsOfTheChildStartOneBoard) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP()
        << "g++'s thread sanitizer confuses threads of such a child with its parent's: run this in another build";
#endif
    if (emulated) GTEST_SKIP() << "qemu-arm cannot start a thread in such a child: run this in a native build";
    const auto calls = [] {
        HeldStart start;
        std::string child = run_forked([] {
            std::atomic<int> successes = 0;
            std::thread threads[4];
            for (std::thread& thread : threads) thread = std::thread([&] { successes += level_is_2() ? 1 : 0; });
            for (std::thread& thread : threads) thread.join();
            return successes == 4 && configurations == 2;
        });
        start.finish();
        return child;
    };
    EXPECT_THAT(run_briefly(calls), returns("success"));
}

TEST(ForkWithinAStart, BySignalHandlerLetsTheChildCallInTheHandler) {
    const auto calls = [] {
        std::string child;
        configuration = [&child](Board& board) {
            if (configurations == 1) in_signal_handler([&] { child = run_forked(level_is_2); });
            add_numbered_line(board);
        };
        const std::string first = query_line();
        return joined({child, first, query_line()});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({"success", level_1, level_1})));
}

// The child continues its copy of the start. If the handler has started a board by then, that board stays.
TEST(ForkWithinAStart, BySignalHandlerLetsTheChildReturnFromTheHandler) {
    for (const bool child_calls : {false, true}) {
        SCOPED_TRACE(child_calls);
        const auto calls = [child_calls] {
            pid_t child = -1;
            configuration = [&](Board& board) {
                if (configurations == 1) {
                    in_signal_handler([&] {
                        child = fork();
                        if (child == 0 && child_calls) query_line();
                    });
                }
                add_numbered_line(board);
            };
            const std::string first = query_line();
            const std::string& expected = child_calls ? level_2 : level_1;
            if (child == 0) end_child(first == expected && query_line() == expected);
            return joined({ending_of(child), first});
        };
        EXPECT_THAT(run_briefly(calls), returns(joined({"success", level_1})));
    }
}

pid_t child_of_a_waiting_thread = -1;

// In the parent, the thread waits for a start by another thread. The child has no such thread.
TEST(ForkWithinAStart, BySignalHandlerOfAWaitingThreadLetsTheChildReturn) {
    const auto calls = [] {
        HeldStart start;
        std::atomic<bool> waits = false;
        std::atomic<bool> forked = false;
        on_signal = [&forked] {
            child_of_a_waiting_thread = fork();
            if (child_of_a_waiting_thread == 0) no_longer_than(10);
            forked = true;
        };
        std::signal(SIGUSR1, [](int) { on_signal(); });
        io_value_t second = 0;
        std::thread waiter([&] {
            waits = true;
            io_get(3, &second);  // errno is not looked at: the wait has been interrupted
            if (child_of_a_waiting_thread == 0) end_child(second == 2);
        });
        wait_until([&] { return waits.load(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets it run into the mutex
        pthread_kill(waiter.native_handle(), SIGUSR1);
        wait_until([&] { return forked.load(); });
        const std::string child = ending_of(child_of_a_waiting_thread);
        const std::string first = start.finish();
        waiter.join();
        return joined({child, first, std::to_string(second)});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({"success", level_1, "1"})));
}

TEST(ForkWithinAStart, ChildOfAHalfBuiltBoardUsesIt) {
    configuration = [](Board& board) {
        add_numbered_line(board);
        throw 42;
    };
    const auto calls = [] {
        return joined({query_line(), run_forked([] { return query_line() == level_1; }), query_line()});
    };
    EXPECT_THAT(run_briefly(calls),
                returns(joined({refuses(untouched), "success", level_1}), "io_get unhandled exception\n"));
}

// ---- Fork handlers of the application ------------------------------------------------------------------------------

int calls_of_handlers = 0;

void call_in_handler() {
    if (query_line() == level_1) ++calls_of_handlers;
}

class ForkHandlers : public testing::TestWithParam<bool> {};

TEST_P(ForkHandlers, MayCallTheLibrary) {
    configuration = add_numbered_line;
    const auto calls = [] {
        const bool registered_first = GetParam();
        if (registered_first) pthread_atfork(call_in_handler, call_in_handler, call_in_handler);
        const std::string first = query_line();
        if (!registered_first) pthread_atfork(call_in_handler, call_in_handler, call_in_handler);
        const std::string child = run_forked([] { return calls_of_handlers == 2 && query_line() == level_1; });
        return joined({first, child, std::to_string(calls_of_handlers)});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({level_1, "success", "2"})));
}

INSTANTIATE_TEST_SUITE_P(Registered, ForkHandlers, testing::Values(true, false),
                         [](const auto& test) { return test.param ? "BeforeTheFirstCall" : "AfterIt"; });

TEST(ForkHandlers, MayMakeTheFirstCall) {
    configuration = add_numbered_line;
    const auto calls = [] {
        pthread_atfork(nullptr, nullptr, call_in_handler);
        const std::string child = run_forked([] { return calls_of_handlers == 1 && query_line() == level_1; });
        return joined({child, query_line()});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({"success", level_1})));
}

// ---- Calls within a start ------------------------------------------------------------------------------------------

TEST(CallWithinAStart, ByTheSameThreadFailsInsteadOfWaitingForItself) {
    std::string nested;
    configuration = [&nested](Board& board) {
        in_signal_handler([&] { nested = query_line(); });
        add_numbered_line(board);
    };
    const auto calls = [&nested] {
        const std::string first = query_line();
        return joined({nested, first, query_line()});
    };
    EXPECT_THAT(run_briefly(calls), returns(joined({fails_with(EDEADLK, untouched), level_1, level_1}),
                                            failed("io_get", "Resource deadlock avoided")));
}

/** The first start fails. */
void fail_once(Board& board) {
    if (configurations == 1) throw std::runtime_error("no board");
    add_numbered_line(board);
}

/** A buffer of standard error that calls the library for each text, except those of that call. */
class CallingBuffer : public std::streambuf {
public:
    std::string output;

private:
    std::streamsize xsputn(const char* /*text*/, std::streamsize length) override {
        if (!calling_) {
            calling_ = true;
            output += ", " + query_line();
            calling_ = false;
        }
        return length;
    }

    bool calling_ = false;
};

TEST(CallWithinAStart, ByTheBufferOfStandardErrorMeetsNoLock) {
    configuration = fail_once;
    const auto calls = [] {
        CallingBuffer buffer;
        std::streambuf* const before = std::cerr.rdbuf(&buffer);
        const std::string first = query_line();
        std::cerr.rdbuf(before);
        return first + buffer.output;
    };
    // One for the line of the start, one for the line of the call.
    EXPECT_THAT(run_briefly(calls), returns(joined({refuses(untouched), level_2, level_2})));
}

TEST(CallWithinAStart, IsNotHeldUpByAFullStandardError) {
    std::atomic<bool> fails = false;
    configuration = [&fails](Board& board) {
        fails = true;
        fail_once(board);
    };
    const auto calls = [&fails] {
        const int standard_error = dup(STDERR_FILENO);
        int pipe_ends[2] = {};
        if (pipe2(pipe_ends, O_NONBLOCK) != 0) return std::string("no pipe");
        while (write(pipe_ends[1], "full", 4) > 0) {
        }
        fcntl(pipe_ends[1], F_SETFL, 0);
        dup2(pipe_ends[1], STDERR_FILENO);

        std::atomic<bool> returned = false;
        std::thread starter([&] { returned = (query_line(), true); });
        wait_until([&] { return fails.load(); });
        const std::string other = query_line();
        const std::string child = run_forked(level_is_2);
        const std::string held_up = returned ? "not held up" : "held up";
        std::array<char, 4096> text = {};
        while (!returned) {
            if (read(pipe_ends[0], text.data(), text.size()) < 0) std::this_thread::yield();
        }
        starter.join();
        dup2(standard_error, STDERR_FILENO);
        return joined({held_up, other, child});
    };
    EXPECT_EQ(run_briefly(calls).output, joined({"held up", level_2, "success"}));
}

// ---- Calls within a call -------------------------------------------------------------------------------------------

/** Between the end of the program and the endless wait, a signal handler calls the library. */
class InterruptedPower : public Power {
    void run_program(const std::string& /*path*/) override { in_signal_handler(query_line); }
};

TEST(CallWithinACall, OfASignalHandlerLeavesTheEndlessWaitCancellable) {
    configuration = [](Board& board) {
        add_numbered_line(board);
        board.add(Resource::type::power, new InterruptedPower);
    };
    const auto calls = [] {
        query_line();
        pthread_t thread = {};
        pthread_create(
            &thread, nullptr, [](void*) -> void* { return power_reboot(), nullptr; }, nullptr);
        pthread_cancel(thread);
        void* status = nullptr;
        pthread_join(thread, &status);
        return status == PTHREAD_CANCELED ? "cancelled" : "returned";
    };
    EXPECT_THAT(run_briefly(calls), returns("cancelled"));
}

}  // namespace
