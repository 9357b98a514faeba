// SPDX-License-Identifier: MIT
#include "core/translator.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <ios>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::Outcome;
using testing_support::run_unrecorded;
using Velmor::report_startup_failure;
using Velmor::translate_exception;

namespace {

constexpr int untouched_errno = 4711;

/** Standard error as a socket that keeps the bounds of what is written: one message is one write. */
class StandardError {
public:
    StandardError() {
        int ends[2] = {};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) < 0) throw std::runtime_error("socketpair");
        reader_ = ends[0];
        saved_ = dup(STDERR_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    std::vector<std::string> writes() {
        restore();
        std::vector<std::string> messages;
        std::string message(100000, '\0');
        for (ssize_t n = 0; (n = recv(reader_, message.data(), message.size(), MSG_DONTWAIT)) > 0;)
            messages.push_back(message.substr(0, static_cast<std::size_t>(n)));
        return messages;
    }

    ~StandardError() {
        restore();
        close(reader_);
    }

private:
    void restore() {
        if (saved_ < 0) return;
        dup2(saved_, STDERR_FILENO);
        close(saved_);
        saved_ = -1;
    }

    int reader_ = -1;
    int saved_ = -1;
};

struct Translation {
    int result;
    int error;
    std::vector<std::string> writes;
};

template <typename Name>
Translation translation(const Name& name, const std::function<void()>& thrower) {
    Translation translation = {};
    StandardError standard_error;
    try {
        thrower();
    } catch (...) {
        errno = untouched_errno;
        translation.result = translate_exception(name);
        translation.error = errno;
    }
    translation.writes = standard_error.writes();
    return translation;
}

struct Row {
    const char* name;
    std::function<void()> thrower;
    int result;
    int error;
    std::string line;
};

std::error_code system_code(int code) {
    return {code, std::system_category()};
}

std::vector<Row> rows() {
    return {
        {"NotSupported", [] { throw std::system_error(system_code(95)); }, -95, 95,
         "io_get failed: Operation not supported\n"},
        {"NoDevice", [] { throw std::system_error(system_code(19), "Invalid PHT table version 4"); }, -19, 19,
         "io_get failed: Invalid PHT table version 4: No such device\n"},
        {"CodeZeroLooksLikeSuccess", [] { throw std::system_error(system_code(0)); }, 0, 0, "io_get failed: Success\n"},
        {"NegativeCode", [] { throw std::system_error(system_code(-5)); }, 5, -5,
         "io_get failed: " + system_code(-5).message() + "\n"},
        {"SmallestCode", [] { throw std::system_error(system_code(INT_MIN)); }, INT_MIN, INT_MIN,
         "io_get failed: " + system_code(INT_MIN).message() + "\n"},
        {"LargestCode", [] { throw std::system_error(system_code(INT_MAX)); }, -INT_MAX, INT_MAX,
         "io_get failed: " + system_code(INT_MAX).message() + "\n"},
        {"CodeOfAnotherCategory", [] { throw std::system_error(EINVAL, std::generic_category()); }, -22, 22,
         "io_get failed: Invalid argument\n"},
        {"DerivedFromSystemError", [] { throw std::filesystem::filesystem_error("cannot", system_code(2)); }, -2, 2,
         "io_get failed: filesystem error: cannot: No such file or directory\n"},
        {"StreamFailure", [] { throw std::ios_base::failure("basic_ios::clear"); }, -1, untouched_errno,
         "io_get failed: basic_ios::clear: iostream error\n"},
        {"StreamFailureWithSystemCode", [] { throw std::ios_base::failure("reading", system_code(5)); }, -1,
         untouched_errno, "io_get failed: reading: Input/output error\n"},
        {"RangeError", [] { throw std::range_error("PWM duty out of range"); }, -1, untouched_errno,
         "io_get failed: PWM duty out of range\n"},
        {"InvalidArgument", [] { throw std::invalid_argument("Unsupported port"); }, -1, untouched_errno,
         "io_get failed: Unsupported port\n"},
        {"RuntimeError", [] { throw std::runtime_error("cannot initialize board data"); }, -1, untouched_errno,
         "io_get failed: cannot initialize board data\n"},
        {"NoMemory", [] { throw std::bad_alloc(); }, -1, untouched_errno, "io_get failed: std::bad_alloc\n"},
        {"PlainException", [] { throw std::exception(); }, -1, untouched_errno, "io_get failed: std::exception\n"},
        {"Number", [] { throw 42; }, -1, untouched_errno, "io_get unhandled exception\n"},
        {"Text", [] { throw "text"; }, -1, untouched_errno, "io_get unhandled exception\n"},
        {"String", [] { throw std::string("text"); }, -1, untouched_errno, "io_get unhandled exception\n"},
    };
}

class Translator : public testing::TestWithParam<Row> {};

TEST_P(Translator, GivesResultErrnoAndOneLineInOneWrite) {
    for (const bool as_string : {true, false}) {
        const Translation seen = as_string ? translation(std::string("io_get"), GetParam().thrower)
                                           : translation<const char*>("io_get", GetParam().thrower);
        EXPECT_EQ(seen.result, GetParam().result);
        EXPECT_EQ(seen.error, GetParam().error);
        EXPECT_THAT(seen.writes, ElementsAre(GetParam().line));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, Translator, testing::ValuesIn(rows()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(TranslatorText, LongLineIsStillOneWrite) {
    const std::string cause(20000, 'x');
    EXPECT_THAT(translation(std::string("io_get"), [&] { throw std::runtime_error(cause); }).writes,
                ElementsAre("io_get failed: " + cause + "\n"));
}

TEST(TranslatorText, StartupFailureIsOneLineInOneWriteAndKeepsErrno) {
    StandardError standard_error;
    errno = untouched_errno;
    report_startup_failure("no table");
    EXPECT_EQ(errno, untouched_errno);
    EXPECT_THAT(standard_error.writes(), ElementsAre("cannot set board resources: no table\n"));
}

// ---- Whatever the application has done to standard error -----------------------------------------------------------

/** Result and errno must be the same as ever: 0 when they are. */
int translate_both_kinds() {
    for (int i = 0; i < 2; ++i) {
        try {
            throw std::system_error(95, std::system_category());
        } catch (...) {
            errno = untouched_errno;
            if (translate_exception("io_get") != -95 || errno != 95) return 1;
        }
        try {
            throw std::range_error("PWM duty out of range");
        } catch (...) {
            errno = untouched_errno;
            if (translate_exception("io_set") != -1 || errno != untouched_errno) return 2;
        }
    }
    errno = untouched_errno;
    report_startup_failure("no table");
    return errno == untouched_errno ? 0 : 3;
}

constexpr char both_kinds[] =
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "cannot set board resources: no table\n";

TEST(TranslatorAndStandardError, PlainStream) {
    const Outcome outcome = run_unrecorded(translate_both_kinds);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, both_kinds);
}

TEST(TranslatorAndStandardError, WidthFillAndFlagsDoNotShowInTheText) {
    const Outcome outcome = run_unrecorded([] {
        std::cerr << std::setw(40) << std::setfill('*') << std::left << std::hex << std::showbase;
        return translate_both_kinds();
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, both_kinds);
}

TEST(TranslatorAndStandardError, LineIsOutBeforeTheCallReturnsAlsoOnABufferedStream) {
    const Outcome outcome = run_unrecorded([] {
        std::ios_base::sync_with_stdio(false);
        std::cerr << std::nounitbuf;
        const int result = translate_both_kinds();
        _exit(result == 0 ? 77 : 78);  // nothing is flushed any more
        return 0;
    });
    EXPECT_EQ(WEXITSTATUS(outcome.wait_status), 77);
    EXPECT_EQ(outcome.error_text, both_kinds);
}

TEST(TranslatorAndStandardError, ClosedDescriptorLosesOnlyTheLine) {
    const Outcome outcome = run_unrecorded([] {
        close(STDERR_FILENO);
        return translate_both_kinds();
    });
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

TEST(TranslatorAndStandardError, ArmedStreamLosesOnlyTheLine) {
    const Outcome outcome = run_unrecorded([] {
        std::cerr.exceptions(std::ios_base::badbit | std::ios_base::failbit);
        close(STDERR_FILENO);
        return translate_both_kinds();
    });
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

TEST(TranslatorAndStandardError, ArmedStreamThatWorksPrintsAsEver) {
    const Outcome outcome = run_unrecorded([] {
        std::cerr.exceptions(std::ios_base::badbit | std::ios_base::failbit);
        return translate_both_kinds();
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, both_kinds);
}

TEST(TranslatorAndStandardError, StreamWithoutBufferLosesOnlyTheLine) {
    const Outcome outcome = run_unrecorded([] {
        std::cerr.rdbuf(nullptr);
        return translate_both_kinds();
    });
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

}  // namespace
