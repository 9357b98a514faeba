// SPDX-License-Identifier: MIT
#include "call.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>

#include "files.h"

namespace VelmorCtl {

namespace {

constexpr char see_doctor[] = "velmorctl doctor checks the files";

/** While it lives, standard error is a string. The library prints through std::cerr. */
class StandardError {
public:
    StandardError() : original_(std::cerr.rdbuf(text_.rdbuf())) {}
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;
    ~StandardError() { std::cerr.rdbuf(original_); }
    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* original_;
};

/** What follows this on a line of the text. */
std::string after(const std::string& text, const std::string& beginning) {
    const std::size_t at = text.find(beginning);
    if (at == std::string::npos) return "";
    const std::size_t begin = at + beginning.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

/** A cause in words: those of the standard streams do not name the file. */
std::string in_words(const std::string& cause, const std::string& user, const std::vector<File>& used) {
    if (!cause.starts_with("basic_")) return cause;
    constexpr std::size_t few = 4;
    std::string paths;
    for (const File& file : used) paths += (paths.empty() ? "" : " or ") + file.path;
    if (used.empty() || used.size() > few) paths = "one of its files";
    const bool only_writes = std::ranges::none_of(used, [&](const File& file) { return reads(user, file); });
    const std::string error = after(cause, "reading the file: ");
    return (only_writes ? "cannot write " : "cannot use ") + paths + (error.empty() ? "" : ": " + error);
}

/** What the user can do after an error number. */
std::string hint_of(const std::string& function, int result) {
    struct Hint {
        const char* function;
        int error;
        const char* text;
    };
    constexpr Hint hints[] = {
        {"watchdog_enable", EBUSY, "another program has the watchdog open"},
        {"watchdog_enable", EINVAL, "the driver rejects this timeout"},
        {"serial_alt_func_set", EINVAL, "velmorctl serial function PORT shows the functions"},
    };
    for (const Hint& hint : hints)
        if (function == hint.function && result == -hint.error) return hint.text;
    return result == -1 ? see_doctor : "";
}

Failure with_call(Failure failure, const std::string& function, int result) {
    failure.function = function;
    failure.result = result;
    return failure;
}

Failure failure_of(const std::string& function, int index, int result, const std::string& said) {
    const std::string start_cause = after(said, "cannot set board resources: ");
    const bool start_failed = !start_cause.empty();
    const std::string cause = start_failed ? start_cause : after(said, " failed: ");
    if (function == "power_reboot" && !start_failed)  // its result is the program's exit code, which is no error number
        return with_call(problem_of_call(function, index, false)
                             .value_or(Failure{Status::failed,
                                               "/sbin/reboot failed or ended with status " + std::to_string(-result)}),
                         function, result);
    if (result == -EOPNOTSUPP)
        return {Status::not_fitted, "not fitted on this board", "velmorctl status shows what is fitted", function,
                result};
    // -1 may be -EPERM, or the failure of a file, which has no errno.
    if (result == -EACCES || (result == -EPERM && cause == std::strerror(EPERM)))
        return {Status::not_permitted, cause, "see velmorctl(1), PERMISSIONS", function, result};
    if (result == -1) {
        if (auto problem = problem_of_call(function, index, start_failed)) {
            if (problem->hint.empty()) problem->hint = see_doctor;
            return with_call(*problem, function, result);
        }
    }
    const std::string user = start_failed ? "start" : function;
    const std::string words = in_words(cause, user, start_failed ? files_written_at_start() : files_of(user, index));
    return {Status::failed, (start_failed ? "the board does not start: " : "") + words, hint_of(function, result),
            function, result};
}

}  // namespace

std::optional<Failure> call(const std::string& function, int index, const std::function<int()>& function_call) {
    int result = 0;
    std::string said;
    {
        const StandardError standard_error;
        result = function_call();
        said = standard_error.text();
    }
    if (result >= 0) return std::nullopt;
    return failure_of(function, index, result, said);
}

}  // namespace VelmorCtl
