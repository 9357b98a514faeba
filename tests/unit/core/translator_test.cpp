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

#include "support/scenario.h"

using testing::ElementsAre;
using Velmor::report_startup_failure;
using Velmor::translate_exception;
using namespace testing_support;

namespace {

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
};

template <typename Name>
Translation translated(const Name& name, const std::function<void()>& thrower) {
    try {
        thrower();
    } catch (...) {
        errno = untouched_errno;
        const int result = translate_exception(name);
        return {result, errno};
    }
    return {};
}

struct Row {
    const char* name;
    std::function<void()> thrower;
    std::string line;
    Translation seen = {.result = -1, .error = untouched_errno};
};

std::error_code system_code(int code) {
    return {code, std::system_category()};
}

std::vector<Row> rows() {
    const auto text_of = [](int code) { return "io_get failed: " + system_code(code).message() + "\n"; };
    return {
        {"NotSupported",
         [] { throw std::system_error(system_code(95)); },
         "io_get failed: Operation not supported\n",
         {.result = -95, .error = 95}},
        {"NoDevice",
         [] { throw std::system_error(system_code(19), "Invalid PHT table version 4"); },
         "io_get failed: Invalid PHT table version 4: No such device\n",
         {.result = -19, .error = 19}},
        {"CodeZeroLooksLikeSuccess",
         [] { throw std::system_error(system_code(0)); },
         "io_get failed: Success\n",
         {.result = 0, .error = 0}},
        {"NegativeCode", [] { throw std::system_error(system_code(-5)); }, text_of(-5), {.result = 5, .error = -5}},
        {"SmallestCode",
         [] { throw std::system_error(system_code(INT_MIN)); },
         text_of(INT_MIN),
         {.result = INT_MIN, .error = INT_MIN}},
        {"LargestCode",
         [] { throw std::system_error(system_code(INT_MAX)); },
         text_of(INT_MAX),
         {.result = -INT_MAX, .error = INT_MAX}},
        {"CodeOfAnotherCategory",
         [] { throw std::system_error(EINVAL, std::generic_category()); },
         "io_get failed: Invalid argument\n",
         {.result = -22, .error = 22}},
        {"DerivedFromSystemError",
         [] { throw std::filesystem::filesystem_error("cannot", system_code(2)); },
         "io_get failed: filesystem error: cannot: No such file or directory\n",
         {.result = -2, .error = 2}},
        {"StreamFailure", [] { throw std::ios_base::failure("basic_ios::clear"); },
         "io_get failed: basic_ios::clear: iostream error\n"},
        {"StreamFailureWithSystemCode", [] { throw std::ios_base::failure("reading", system_code(5)); },
         "io_get failed: reading: Input/output error\n"},
        {"RangeError", [] { throw std::range_error("PWM duty out of range"); },
         "io_get failed: PWM duty out of range\n"},
        {"InvalidArgument", [] { throw std::invalid_argument("Unsupported port"); },
         "io_get failed: Unsupported port\n"},
        {"RuntimeError", [] { throw std::runtime_error("cannot initialize board data"); },
         "io_get failed: cannot initialize board data\n"},
        {"NoMemory", [] { throw std::bad_alloc(); }, "io_get failed: std::bad_alloc\n"},
        {"PlainException", [] { throw std::exception(); }, "io_get failed: std::exception\n"},
        {"Number", [] { throw 42; }, "io_get unhandled exception\n"},
        {"Text", [] { throw "text"; }, "io_get unhandled exception\n"},
        {"String", [] { throw std::string("text"); }, "io_get unhandled exception\n"},
    };
}

class Translator : public testing::TestWithParam<Row> {};

TEST_P(Translator, GivesResultErrnoAndOneLineInOneWrite) {
    for (const bool as_string : {true, false}) {
        StandardError standard_error;
        const Translation seen = as_string ? translated(std::string("io_get"), GetParam().thrower)
                                           : translated<const char*>("io_get", GetParam().thrower);
        EXPECT_THAT(standard_error.writes(), ElementsAre(GetParam().line));
        EXPECT_EQ(seen.result, GetParam().seen.result);
        EXPECT_EQ(seen.error, GetParam().seen.error);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, Translator, testing::ValuesIn(rows()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(TranslatorText, LongLineIsStillOneWrite) {
    const std::string cause(20000, 'x');
    StandardError standard_error;
    translated(std::string("io_get"), [&] { throw std::runtime_error(cause); });
    EXPECT_THAT(standard_error.writes(), ElementsAre("io_get failed: " + cause + "\n"));
}

TEST(TranslatorText, StartupFailureIsOneLineInOneWriteAndKeepsErrno) {
    StandardError standard_error;
    errno = untouched_errno;
    report_startup_failure("no table");
    EXPECT_EQ(errno, untouched_errno);
    EXPECT_THAT(standard_error.writes(), ElementsAre("cannot set board resources: no table\n"));
}

// ---- Whatever the application has done to standard error -----------------------------------------------------------

/** Two system errors and two others in turn, and a failure to start: result and errno must be the same as ever. */
std::string translate_both_kinds() {
    const auto translate = [](const char* function, auto error, int result, int errno_afterwards) {
        const Translation seen = translated(function, [&] { throw error; });
        return seen.result == result && seen.error == errno_afterwards;
    };
    for (int i = 0; i < 2; ++i) {
        if (!translate("io_get", std::system_error(system_code(95)), -95, 95)) return "another system error";
        if (!translate("io_set", std::range_error("PWM duty out of range"), -1, untouched_errno))
            return "another error";
    }
    errno = untouched_errno;
    report_startup_failure("no table");
    return errno == untouched_errno ? "as ever" : "errno of the start is lost";
}

constexpr char both_kinds[] =
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "cannot set board resources: no table\n";

void arm_stream() {
    std::cerr.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

struct Condition {
    const char* name;
    void (*apply)();
    std::string printed;
};

class StandardErrorThat : public testing::TestWithParam<Condition> {};

TEST_P(StandardErrorThat, ChangesNoResultAndNoErrno) {
    const ChildResult child = run_in_child([] {
        GetParam().apply();
        return translate_both_kinds();
    });
    EXPECT_EQ(child.wait_status, 0);
    EXPECT_EQ(child.output, "as ever");
    EXPECT_EQ(child.error_text, GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(
    Application, StandardErrorThat,
    testing::Values(
        Condition{.name = "IsAsItWas", .apply = [] {}, .printed = both_kinds},
        Condition{
            .name = "HasWidthFillAndFlags",
            .apply = [] { std::cerr << std::setw(40) << std::setfill('*') << std::left << std::hex << std::showbase; },
            .printed = both_kinds},
        Condition{.name = "IsArmed", .apply = arm_stream, .printed = both_kinds},
        Condition{.name = "IsClosed", .apply = [] { close(STDERR_FILENO); }, .printed = ""},
        Condition{.name = "IsArmedAndClosed", .apply = [] { arm_stream(), close(STDERR_FILENO); }, .printed = ""},
        Condition{.name = "HasNoBuffer", .apply = [] { std::cerr.rdbuf(nullptr); }, .printed = ""}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST(TranslatorText, IsOutBeforeTheCallReturnsAlsoOnABufferedStream) {
    const ChildResult child = run_in_child([]() -> std::string {
        std::ios_base::sync_with_stdio(false);
        std::cerr << std::nounitbuf;
        _exit(translate_both_kinds() == "as ever" ? 77 : 78);  // nothing is flushed any more
    });
    EXPECT_EQ(WEXITSTATUS(child.wait_status), 77);
    EXPECT_EQ(child.error_text, both_kinds);
}

}  // namespace
