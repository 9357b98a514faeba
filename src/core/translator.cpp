// SPDX-License-Identifier: MIT
#include "core/translator.h"

#include <cxxabi.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <ios>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <system_error>

namespace Velmor {

// std::cerr. <iostream> would construct the standard streams and the classic locale at load time, in every process.
// Without it, the first line that is printed constructs them, unless something else in the process has.
extern std::ostream standard_error asm("_ZSt4cerr");

namespace {

enum Construction { not_begun, begun, done, lost };
constinit std::atomic<Construction> standard_streams = not_begun;
constinit std::atomic<std::ios_base::Init*> user_of_streams = nullptr;

/** False if it cannot be used. */
bool construct_standard_error() {
    Construction seen = not_begun;
    if (standard_streams.compare_exchange_strong(seen, begun)) {
        alignas(std::ios_base::Init) static std::byte place[sizeof(std::ios_base::Init)];
        user_of_streams = new (place) std::ios_base::Init;
        standard_streams = done;
    }
    // Another thread is done in microseconds. A child that was forked meanwhile does not have that thread, and a thread
    // that a signal handler has interrupted cannot go on: in these cases the line is lost.
    constexpr useconds_t turn_us = 1000;
    for (int turns = 100; standard_streams == begun && turns > 0; --turns) ::usleep(turn_us);
    seen = begun;
    standard_streams.compare_exchange_strong(seen, lost);  // the next line does not wait
    return standard_streams == done;
}

// The last user of the streams flushes what the application has left in std::cout. Not a static object: destroying one
// at exit involves a lock of the C library, which stays locked in a child that is forked meanwhile.
[[gnu::destructor]] void leave_standard_streams() {
    if (std::ios_base::Init* const user = user_of_streams) std::destroy_at(user);
}

// The newline is written with the text: std::cerr is unbuffered, and std::endl would be a second write, before which
// another thread's line could appear. write() ignores any width that the application has set. The application may have
// enabled exceptions on std::cerr, and there may be no memory for the text: the line is then lost, but the result stays
// the same.
void print(std::string_view subject, std::string_view verdict, std::string_view cause) {
    if (!construct_standard_error()) return;
    try {
        std::string text;
        text.reserve(subject.size() + verdict.size() + cause.size() + 1);
        text.append(subject).append(verdict).append(cause).append(1, '\n');
        standard_error.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace

int translate_exception(const std::string& function) {
    int errno_result = errno;
    int result = -1;
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const std::ios_base::failure& failure) {
        print(function, " failed: ", failure.what());
    } catch (const std::system_error& error) {
        errno_result = error.code().value();
        result = static_cast<int>(0U - static_cast<unsigned>(errno_result));
        print(function, " failed: ", error.what());
    } catch (const std::exception& error) {
        print(function, " failed: ", error.what());
    } catch (...) {
        print(function, " unhandled exception", "");
    }
    errno = errno_result;
    return result;
}

int translate_exception(const char* function) {
    const int errno_at_catch = errno;
    try {
        return translate_exception(std::string(function));
    } catch (const std::bad_alloc&) {
        errno = errno_at_catch;
        return -1;
    }
}

void report_startup_failure(std::string_view cause) {
    const int saved = errno;
    print("cannot set board resources: ", cause, "");
    errno = saved;
}

}  // namespace Velmor
