// SPDX-License-Identifier: MIT
#include "core/translator.h"

#include <cxxabi.h>
#include <cerrno>
#include <exception>
#include <ios>
#include <iostream>
#include <new>
#include <string>
#include <system_error>

namespace Velmor {

namespace {

// The newline goes out with the text: std::cerr is unbuffered, and an inserted std::endl would be a second write that
// another thread's line could slip in front of. write() ignores the width that the application may have set. An
// application may have armed std::cerr, and there may be no memory for the text: a lost line changes no result.
void print(std::string_view subject, std::string_view verdict, std::string_view cause) {
    try {
        std::string text;
        text.reserve(subject.size() + verdict.size() + cause.size() + 1);
        text.append(subject).append(verdict).append(cause).append(1, '\n');
        std::cerr.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
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
