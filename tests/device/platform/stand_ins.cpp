// SPDX-License-Identifier: MIT
#include "stand_ins.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace stand_ins {

State state;

namespace {

std::atomic<int> sleeps = 0;  // that have begun

/** What sleep() throws to end a wait. */
struct Woken {};

/** Whether this sleep() is to be a real one. */
bool begin_sleep(unsigned int seconds) {
    state.calls.push_back("sleep " + std::to_string(seconds));
    const int count = ++sleeps;
    if (count == state.woken_by) throw Woken();
    return state.really_sleeps;
}

struct Thread {
    const std::function<void()>& code;
    std::atomic<bool> ended = false;
};

void* run(void* argument) {
    auto* const thread = static_cast<Thread*>(argument);
    is_woken(thread->code);
    thread->ended = true;
    return nullptr;
}

}  // namespace

bool reset() {
    // If this call did reach the kernel, it would be refused for its magic numbers.
    state = State();
    state.restart_result = 4711;
    const bool caught = syscall(SYS_reboot, 0, 0, 0, "") == 4711;
    state = State();
    sleeps = 0;
    return caught;
}

bool is_woken(const std::function<void()>& code) {
    try {
        code();
    } catch (const Woken&) {
        return true;
    }
    return false;
}

bool is_cancelled(const std::function<void()>& code) {
    state.really_sleeps = true;
    state.woken_by = 4;  // ends a thread that cannot be cancelled
    Thread thread = {code};
    pthread_t id = {};
    pthread_create(&id, nullptr, run, &thread);
    while (sleeps == 0 && !thread.ended) usleep(1000);
    pthread_cancel(id);
    void* result = nullptr;
    pthread_join(id, &result);
    return result == PTHREAD_CANCELED;
}

}  // namespace stand_ins

extern "C" {

// Without objects of its own: a cancellation unwinds this frame, which the address sanitizer would not notice.
unsigned int sleep(unsigned int seconds) {
    static const auto real = reinterpret_cast<unsigned int (*)(unsigned int)>(dlsym(RTLD_NEXT, "sleep"));
    return stand_ins::begin_sleep(seconds) ? real(seconds) : 0;
}

void sync() noexcept {
    stand_ins::state.calls.push_back("sync");
}

long syscall(long number, ...) noexcept {
    va_list arguments;
    va_start(arguments, number);
    if (number == SYS_reboot) {
        const unsigned int magic1 = va_arg(arguments, unsigned int);
        const unsigned int magic2 = va_arg(arguments, unsigned int);
        const unsigned int command = va_arg(arguments, unsigned int);
        const char* const text = va_arg(arguments, const char*);
        va_end(arguments);
        std::array<char, 64> line = {};
        std::snprintf(line.data(), line.size(), "reboot 0x%X 0x%X 0x%X ", magic1, magic2, command);
        stand_ins::state.calls.push_back(line.data() + std::string(text));
        if (stand_ins::state.restart_result < 0) errno = stand_ins::state.restart_error;
        return stand_ins::state.restart_result;
    }
    std::array<long, 6> passed = {};
    for (long& argument : passed) argument = va_arg(arguments, long);
    va_end(arguments);
    static const auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    return real(number, passed[0], passed[1], passed[2], passed[3], passed[4], passed[5]);
}
}
