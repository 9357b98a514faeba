// SPDX-License-Identifier: MIT
// What comes between a start of the board and its end: forks, signal handlers, and what stands behind standard error.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>
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

#include "access/io.h"
#include "configuration.h"
#include "core/board.h"
#include "platform/power.h"
#include "support/calls.h"
#include "support/fifo.h"
#include "support/forked.h"
#include "support/instrumented.h"
#include "support/scenario.h"
#include "velmor.h"

using testing_support::ChildResult;
using testing_support::end_child;
using testing_support::ending_of;
using testing_support::failed;
using testing_support::joined;
using testing_support::no_longer_than;
using testing_support::result_of;
using testing_support::run_forked;
using testing_support::run_in_child;
using testing_support::wait_until;
using namespace Velmor;

namespace {

class Level : public IO {
public:
    explicit Level(io_value_t level) : level_(level) {}
    void set(const io_value_t& level) override { level_ = level; }
    io_value_t get() override { return level_; }

private:
    io_value_t level_;
};

void add_line(Board& board, io_value_t level) {
    board.add(Resource::type::io + 3, new Level(level));
}

std::string query_line() {
    return result_of(io_get, 3);
}

std::function<void()> on_signal;

/** Have a signal handler of this thread do this, at once. */
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

/** A thread in the middle of the first start; the line of the board of the nth start has level n. */
class HeldStart {
public:
    HeldStart() {
        configuration = [this](Board& board) {
            inside_ = true;
            if (configurations == 1) wait_until([this] { return go_on_.load(); });
            add_line(board, configurations);
        };
        starter_ = std::thread([this] { output_ = query_line(); });
        wait_until([this] { return inside_.load(); });
    }

    /** Let it end: the output of its call. */
    std::string finish() {
        go_on_ = true;
        starter_.join();
        return output_;
    }

private:
    std::atomic<bool> inside_ = false;
    std::atomic<bool> go_on_ = false;
    std::string output_;
    std::thread starter_;
};

TEST(ForkWithinAStart, OfAnotherThreadNeitherWaitsNorIsWaitedFor) {
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
        HeldStart start;
        const std::string child = run_forked([] { return query_line() == "0: 2" && query_line() == "0: 2"; });
        const std::string first = start.finish();
        return joined({child, first, query_line(), std::to_string(configurations)});
    });
    EXPECT_EQ(result.output, "success, 0: 1, 0: 1, 1");
    EXPECT_EQ(result.error_text, "");
}

TEST(ForkWithinAStart, ThreadsOfTheChildStartOneBoard) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "g++'s thread sanitizer takes a thread of such a child for one of its parent's: clang's runs this";
#endif
    if (testing_support::emulated)
        GTEST_SKIP() << "qemu-arm cannot start a thread in such a child: run this in a native build";
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
        HeldStart start;
        const std::string child = run_forked([] {
            std::string answers[4];
            std::thread threads[4];
            for (int i = 0; i < 4; ++i) threads[i] = std::thread([&answers, i] { answers[i] = query_line(); });
            for (std::thread& thread : threads) thread.join();
            for (const std::string& text : answers)
                if (text != "0: 2") return false;
            return configurations == 2;
        });
        start.finish();
        return child;
    });
    EXPECT_EQ(result.output, "success");
}

TEST(ForkWithinAStart, BySignalHandlerLetsTheChildCallInTheHandler) {
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
        std::string child;
        configuration = [&child](Board& board) {
            if (configurations == 1)
                in_signal_handler([&] { child = run_forked([] { return query_line() == "0: 2"; }); });
            add_line(board, configurations);
        };
        const std::string first = query_line();
        return joined({child, first, query_line()});
    });
    EXPECT_EQ(result.output, "success, 0: 1, 0: 1");
    EXPECT_EQ(result.error_text, "");
}

// The child goes on with its copy of the start. What its handler's calls have started by then, if any, stays.
TEST(ForkWithinAStart, BySignalHandlerLetsTheChildReturnFromTheHandler) {
    for (const bool child_calls : {false, true}) {
        const ChildResult result = run_in_child([child_calls] {
            no_longer_than(20);
            pid_t child = -1;
            configuration = [&](Board& board) {
                if (configurations == 1) {
                    in_signal_handler([&] {
                        child = fork();
                        if (child == 0 && child_calls) query_line();
                    });
                }
                add_line(board, configurations);
            };
            const std::string first = query_line();
            if (child == 0) end_child(joined({first, query_line()}) == (child_calls ? "0: 2, 0: 2" : "0: 1, 0: 1"));
            return joined({ending_of(child), first});
        });
        EXPECT_EQ(result.output, "success, 0: 1") << child_calls;
    }
}

pid_t child_of_a_waiting_thread = -1;

// The thread waits in the parent for the start of another. In the child there is none to wait for.
TEST(ForkWithinAStart, BySignalHandlerOfAWaitingThreadLetsTheChildReturn) {
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
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
    });
    EXPECT_EQ(result.output, "success, 0: 1, 1");
}

TEST(ForkWithinAStart, ChildOfAHalfBuiltBoardGoesOnWithIt) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) {
            add_line(board, configurations);
            throw 42;
        };
        return joined({query_line(), run_forked([] { return query_line() == "0: 1"; }), query_line()});
    });
    EXPECT_EQ(result.output, "-1: untouched, success, 0: 1");
}

// ---- Fork handlers of the application ------------------------------------------------------------------------------

int calls_of_handlers = 0;

void call_in_handler() {
    if (query_line() == "0: 1") ++calls_of_handlers;
}

class ForkHandlers : public testing::TestWithParam<bool> {};

TEST_P(ForkHandlers, MayCallTheLibrary) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        configuration = [](Board& board) { add_line(board, 1); };
        const bool registered_first = GetParam();
        if (registered_first) pthread_atfork(call_in_handler, call_in_handler, call_in_handler);
        const std::string first = query_line();
        if (!registered_first) pthread_atfork(call_in_handler, call_in_handler, call_in_handler);
        const std::string child = run_forked([] { return calls_of_handlers == 2 && query_line() == "0: 1"; });
        return joined({first, child, std::to_string(calls_of_handlers)});
    });
    EXPECT_EQ(result.output, "0: 1, success, 2");
}

INSTANTIATE_TEST_SUITE_P(Registered, ForkHandlers, testing::Values(true, false),
                         [](const auto& test) { return test.param ? "BeforeTheFirstCall" : "AfterIt"; });

TEST(ForkHandlers, MayMakeTheFirstCall) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        configuration = [](Board& board) { add_line(board, 1); };
        pthread_atfork(nullptr, nullptr, call_in_handler);
        const std::string child = run_forked([] { return calls_of_handlers == 1 && query_line() == "0: 1"; });
        return joined({child, query_line()});
    });
    EXPECT_EQ(result.output, "success, 0: 1");
}

// ---- Calls within a start ------------------------------------------------------------------------------------------

TEST(CallWithinAStart, OfTheSameThreadFailsInsteadOfWaitingForItself) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        std::string nested;
        configuration = [&nested](Board& board) {
            in_signal_handler([&] { nested = query_line(); });
            add_line(board, 1);
        };
        const std::string first = query_line();
        return joined({nested, first, query_line()});
    });
    EXPECT_EQ(result.output, "-35 errno 35: untouched, 0: 1, 0: 1");
    EXPECT_EQ(result.error_text, failed("io_get", "Resource deadlock avoided"));
}

/** Standard error that calls the library for each text, but not for one that this call prints. */
class CallingBuffer : public std::streambuf {
public:
    std::string output;

private:
    std::streamsize xsputn(const char* /*text*/, std::streamsize length) override {
        if (!calling_) {
            calling_ = true;
            output += query_line() + ", ";
            calling_ = false;
        }
        return length;
    }

    bool calling_ = false;
};

TEST(CallWithinAStart, OfStandardErrorsOwnBufferMeetsNoLock) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        configuration = [](Board& board) {
            if (configurations == 1) throw std::runtime_error("no board");
            add_line(board, configurations);
        };
        CallingBuffer buffer;
        std::streambuf* const before = std::cerr.rdbuf(&buffer);
        const std::string first = query_line();
        std::cerr.rdbuf(before);
        return first + ", " + buffer.output;
    });
    // The line of the start and that of the call.
    EXPECT_EQ(result.output, "-1: untouched, 0: 2, 0: 2, ");
}

TEST(CallWithinAStart, IsNotHeldUpByAFullStandardError) {
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
        std::atomic<bool> fails = false;
        configuration = [&fails](Board& board) {
            if (configurations == 1) fails = true, throw std::runtime_error("no board");
            add_line(board, configurations);
        };
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
        const std::string child = run_forked([] { return query_line() == "0: 2"; });
        const std::string held_up = returned ? "not held up" : "held up";
        char text[4096];
        while (!returned) {
            if (read(pipe_ends[0], text, sizeof text) < 0) std::this_thread::yield();
        }
        starter.join();
        dup2(standard_error, STDERR_FILENO);
        return joined({held_up, other, child});
    });
    EXPECT_EQ(result.output, "held up, 0: 2, success");
}

// ---- Calls within a call -------------------------------------------------------------------------------------------

/** A signal handler calls the library between the program's start and the wait for the end of the system. */
class InterruptedPower : public Power {
    void run_program(const std::string& /*path*/) override { in_signal_handler(query_line); }
};

TEST(CallWithinACall, OfASignalHandlerLeavesTheEndlessWaitCancellable) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        configuration = [](Board& board) {
            add_line(board, 1);
            board.add(Resource::type::power, new InterruptedPower);
        };
        query_line();
        pthread_t thread = {};
        pthread_create(
            &thread, nullptr, [](void*) -> void* { return power_reboot(), nullptr; }, nullptr);
        pthread_cancel(thread);
        void* status = nullptr;
        pthread_join(thread, &status);
        return status == PTHREAD_CANCELED ? "cancelled" : "returned";
    });
    EXPECT_EQ(result.output, "cancelled");
}

}  // namespace
