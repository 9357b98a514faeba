// SPDX-License-Identifier: MIT
// usage: first_line_check, on the virtual device
// In a process that has no standard streams yet, the first calls of several threads fail, all at once or while another
// thread's line is slow to construct the streams. Each prints its line, except in a child that is forked meanwhile.
#include <dlfcn.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>
#include <velmor.h>
#include <atomic>
#include <barrier>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>
#include <thread>
#include "support/instrumented.h"

namespace {

constexpr int threads = 8;
constexpr int rounds = 50;

/** The next construction of the standard streams lasts until other threads have slept for slow_us. */
std::atomic<bool> construction_is_slow = false;
constexpr unsigned slow_us = 10000;
std::atomic<unsigned> slept_us = 0;

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Replaces the C library's function, which the construction of the standard streams calls for every character.
extern "C" int wctob(wint_t character) noexcept {
    if (construction_is_slow.exchange(false)) {
        while (slept_us < slow_us) sched_yield();
    }
    return next<int(wint_t)>("wctob")(character);
}

// Replaces the C library's function.
extern "C" int usleep(useconds_t time_us) {
    slept_us += time_us;
    return next<int(useconds_t)>("usleep")(time_us);
}

namespace {

int fail() {
    std::uint32_t level = 0;
    return backlight_get(99, &level);
}

void fail_at_once() {
    std::barrier start(threads);
    std::thread callers[threads];
    for (std::thread& caller : callers) {
        caller = std::thread([&start] {
            start.arrive_and_wait();
            fail();
        });
    }
    for (std::thread& caller : callers) caller.join();
}

void fail_while_another_constructs() {
    std::uint32_t level = 0;
    backlight_get(0, &level);  // starts the board, which no thread must then wait for
    alarm(10);
    construction_is_slow = true;
    std::thread other(fail);
    while (construction_is_slow) sched_yield();
    fail();
    slept_us = slow_us;
    other.join();
}

// For a child that is forked meanwhile the construction never ends. Its first line is given up after 0.1 s, and later
// lines at once. It prints how long the two calls have slept.
void fail_in_a_child_of_the_construction() {
    std::uint32_t level = 0;
    backlight_get(0, &level);
    alarm(10);
    construction_is_slow = true;
    std::thread other(fail);
    while (construction_is_slow) sched_yield();
    const pid_t child = fork();
    if (child == 0) {
        fail();
        const unsigned first_us = slept_us;
        fail();
        dprintf(STDERR_FILENO, "%u us, %u us\n", first_us, slept_us - first_us);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    slept_us = slow_us;
    other.join();
}

/** The lines that a process prints which makes these calls. */
std::string lines_of_a_process(void (*calls)()) {
    int ends[2];
    if (pipe(ends) != 0) return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        calls();
        _exit(0);
    }
    close(ends[1]);
    std::string lines;
    char piece[1024];
    for (ssize_t length = 0; (length = read(ends[0], piece, sizeof piece)) > 0;)
        lines.append(piece, static_cast<std::size_t>(length));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return lines + (WIFEXITED(status) ? "" : "and was killed\n");
}

}  // namespace

int main() {
    constexpr char line[] = "backlight_get failed: Operation not supported\n";
    std::string expected;
    for (int i = 0; i < threads; ++i) expected += line;
    for (int round = 1; round <= rounds; ++round) {
        const std::string lines = lines_of_a_process(fail_at_once);
        if (lines == expected) continue;
        std::printf("round %d: %d threads printed\n%s", round, threads, lines.c_str());
        return 1;
    }
    const std::string both = lines_of_a_process(fail_while_another_constructs);
    if (both != std::string(line) + line) {
        std::printf("while the streams were being constructed, two threads printed\n%s", both.c_str());
        return 1;
    }
    // The emulator has locks of its own, which stay locked in a child that is forked while another thread holds them.
    if (!testing_support::emulated) {
        const std::string waits = lines_of_a_process(fail_in_a_child_of_the_construction);
        if (waits != std::string("100000 us, 0 us\n") + line) {
            std::printf("a child that was forked while the streams were being constructed, and its parent, printed\n%s",
                        waits.c_str());
            return 1;
        }
    }
    std::printf("%d processes printed %d lines each, another one 2\n", rounds, threads);
    return 0;
}
