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
#include <utility>
#include <vector>

#include "support/scenario.h"

using testing::ElementsAre;
using Velmor::report_startup_failure;
using Velmor::translate_exception;
using namespace testing_support;

namespace {

/** Standard error as a socket on which every write is a message of its own. */
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

/** A result and errno. */
using Translation = std::pair<int, int>;

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
    std::string name;
    std::function<void()> thrower;
    std::string cause;
    Translation translation = {-1, untouched_errno};
    std::string line = failed("io_get", cause);
};

std::error_code code(int number) {
    return {number, std::system_category()};
}

std::vector<Row> rows() {
    const std::string unhandled = "io_get unhandled exception\n";
    const Translation other = {-1, untouched_errno};
    return {
        {"NotSupported", [] { throw std::system_error(code(95)); }, "Operation not supported", {-95, 95}},
        {"NoDevice",
         [] { throw std::system_error(code(19), "Invalid PHT table version 4"); },
         "Invalid PHT table version 4: No such device",
         {-19, 19}},
        {"CodeZeroLooksLikeSuccess", [] { throw std::system_error(code(0)); }, "Success", {0, 0}},
        {"NegativeCode", [] { throw std::system_error(code(-5)); }, code(-5).message(), {5, -5}},
        {"SmallestCode", [] { throw std::system_error(code(INT_MIN)); }, code(INT_MIN).message(), {INT_MIN, INT_MIN}},
        {"LargestCode", [] { throw std::system_error(code(INT_MAX)); }, code(INT_MAX).message(), {-INT_MAX, INT_MAX}},
        {"CodeOfAnotherCategory",
         [] { throw std::system_error(EINVAL, std::generic_category()); },
         "Invalid argument",
         {-22, 22}},
        {"DerivedFromSystemError",
         [] { throw std::filesystem::filesystem_error("cannot", code(2)); },
         "filesystem error: cannot: No such file or directory",
         {-2, 2}},
        {"StreamFailure", [] { throw std::ios_base::failure("basic_ios::clear"); }, "basic_ios::clear: iostream error"},
        {"StreamFailureWithSystemCode", [] { throw std::ios_base::failure("reading", code(5)); },
         "reading: Input/output error"},
        {"RangeError", [] { throw std::range_error("PWM duty out of range"); }, "PWM duty out of range"},
        {"InvalidArgument", [] { throw std::invalid_argument("Unsupported port"); }, "Unsupported port"},
        {"RuntimeError", [] { throw std::runtime_error("cannot initialize board data"); },
         "cannot initialize board data"},
        {"NoMemory", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
        {"PlainException", [] { throw std::exception(); }, "std::exception"},
        {"Number", [] { throw 42; }, "", other, unhandled},
        {"Text", [] { throw "text"; }, "", other, unhandled},
        {"String", [] { throw std::string("text"); }, "", other, unhandled},
    };
}

TEST(Translator, GivesResultErrnoAndOneLineInOneWrite) {
    for (const Row& row : rows()) {
        for (const bool as_string : {true, false}) {
            SCOPED_TRACE(row.name);
            StandardError standard_error;
            const Translation translation = as_string ? translated(std::string("io_get"), row.thrower)
                                                      : translated<const char*>("io_get", row.thrower);
            EXPECT_THAT(standard_error.writes(), ElementsAre(row.line));
            EXPECT_EQ(translation, row.translation);
        }
    }
}

TEST(Translator, LongLineIsStillOneWrite) {
    const std::string cause(20000, 'x');
    StandardError standard_error;
    translated(std::string("io_get"), [&] { throw std::runtime_error(cause); });
    EXPECT_THAT(standard_error.writes(), ElementsAre(failed("io_get", cause)));
}

TEST(Translator, StartupFailureIsOneLineInOneWriteAndKeepsErrno) {
    StandardError standard_error;
    errno = untouched_errno;
    report_startup_failure("no table");
    EXPECT_EQ(errno, untouched_errno);
    EXPECT_THAT(standard_error.writes(), ElementsAre("cannot set board resources: no table\n"));
}

// ---- An application that has changed its standard error ------------------------------------------------------------

/** Translates system errors and others in turn and reports a failed start. Returns what went wrong. */
std::string translate_both_kinds() {
    const auto translate = [](const char* function, auto error, const Translation& expected) {
        return translated(function, [&] { throw error; }) == expected;
    };
    for (int i = 0; i < 2; ++i) {
        if (!translate("io_get", std::system_error(code(95)), {-95, 95})) return "system error";
        if (!translate("io_set", std::range_error("PWM duty out of range"), {-1, untouched_errno}))
            return "range error";
    }
    errno = untouched_errno;
    report_startup_failure("no table");
    return errno == untouched_errno ? "nothing" : "errno of the failed start";
}

constexpr char both_kinds[] =
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "io_get failed: Operation not supported\nio_set failed: PWM duty out of range\n"
    "cannot set board resources: no table\n";

void let_stream_throw() {
    std::cerr.exceptions(std::ios_base::badbit | std::ios_base::failbit);
}

TEST(Translator, ResultAndErrnoDoNotDependOnStandardError) {
    const struct {
        const char* what_it_is;
        void (*change)();
        std::string printed = both_kinds;
    } rows[] = {
        {.what_it_is = "unchanged", .change = [] {}},
        {.what_it_is = "formatting",
         .change = [] { std::cerr << std::setw(40) << std::setfill('*') << std::left << std::hex << std::showbase; }},
        {.what_it_is = "throwing", .change = let_stream_throw},
        {.what_it_is = "closed", .change = [] { close(STDERR_FILENO); }, .printed = ""},
        {.what_it_is = "throwing and closed",
         .change = [] { let_stream_throw(), close(STDERR_FILENO); },
         .printed = ""},
        {.what_it_is = "without a buffer", .change = [] { std::cerr.rdbuf(nullptr); }, .printed = ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what_it_is);
        const ChildResult child = run_in_child([&row] {
            row.change();
            return translate_both_kinds();
        });
        EXPECT_EQ(child.wait_status, 0);
        EXPECT_EQ(child.output, "nothing");
        EXPECT_EQ(child.error_text, row.printed);
    }
}

TEST(Translator, LineIsPrintedBeforeTheCallReturnsEvenIfTheStreamIsBuffered) {
    const ChildResult child = run_in_child([]() -> std::string {
        std::ios_base::sync_with_stdio(false);
        std::cerr << std::nounitbuf;
        _exit(translate_both_kinds() == "nothing" ? 77 : 78);  // without flushing
    });
    EXPECT_EQ(WEXITSTATUS(child.wait_status), 77);
    EXPECT_EQ(child.error_text, both_kinds);
}

}  // namespace
