// SPDX-License-Identifier: MIT
#include "guarded_run.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <thread>
#include <utility>

#include "call.h"
#include "files.h"
#include "velmor.h"

namespace VelmorCtl {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds turn{50};
constexpr int unknown_end = W_EXITCODE(255, 0);  // a wait status: counts as a failure of the command

/** The file that the command touches to show that it is alive. */
class AliveFile {
public:
    explicit AliveFile(std::string path) : path_(std::move(path)), seen_(time()) {}

    /** A file that has gone is not touched: whoever cleans up must not feed the watchdog. */
    bool touched() {
        const auto now = time();
        if (!now || now == seen_) return false;
        seen_ = now;
        return true;
    }

private:
    using Time = std::pair<time_t, long>;

    /** Seconds and nanoseconds, if there is a file. */
    std::optional<Time> time() const {
        struct stat status = {};
        if (::stat(path_.c_str(), &status) != 0) return std::nullopt;
        return Time(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    }

    std::string path_;
    std::optional<Time> seen_;
};

Item watchdog_item(const std::string& name, Json value) {
    Item item{"watchdog", std::nullopt, name, std::move(value)};
    item.source = source_of("watchdog_enable", 0);
    return item;
}

Item failed_item(const std::string& name, Failure failure) {
    Item item = watchdog_item(name, Json());
    item.failure = std::move(failure);
    return item;
}

Item disarmed() {
    if (auto failure = call("watchdog_disable", 0, watchdog_disable)) {
        failure->cause += ": the watchdog stays armed and restarts the unit";
        return failed_item("armed", *failure);
    }
    Item item = watchdog_item("armed", false);
    item.text = "no";
    return item;
}

/** The process of the command, or the error. */
std::pair<pid_t, int> start(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    // Whoever started velmorctl may ignore this signal. The command's end would then be lost.
    ::signal(SIGCHLD, SIG_DFL);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, arguments.front(), nullptr, nullptr, arguments.data(), environ);
    return {process, error};
}

/** Feeds the watchdog until the command has ended. Returns its wait status. */
int attend(const GuardedRun& run, std::optional<AliveFile> alive_file, pid_t process) {
    const milliseconds timeout = seconds(run.timeout_s);
    // Some drivers shorten a timeout that is too long for them, and report success.
    const milliseconds feeding_time = std::min<milliseconds>(timeout / 4, seconds(5));
    auto fed = Clock::now();
    bool said_silent = false;
    bool said_failed = false;
    int status = 0;
    for (;;) {
        const pid_t ended = ::waitpid(process, &status, WNOHANG);
        if (ended == process) return status;
        if (ended < 0) return unknown_end;
        const auto unfed = Clock::now() - fed;
        if (alive_file ? alive_file->touched() : unfed > feeding_time) {
            const auto failure = call("watchdog_refresh", 0, watchdog_refresh);
            if (failure && !said_failed)
                std::cerr << "velmorctl: watchdog_refresh failed: " + failure->cause + "\n" << std::flush;
            said_failed = failure.has_value();
            if (!failure) fed = Clock::now();
            said_silent = false;
        } else if (alive_file && !said_silent && unfed > timeout * 3 / 4) {
            std::cerr << "velmorctl: the command is silent: it has not touched " + *run.alive_file +
                             "; the watchdog bites unless it does\n"
                      << std::flush;
            said_silent = true;
        }
        std::this_thread::sleep_for(turn);
    }
}

}  // namespace

Report run_guarded(const GuardedRun& run, const std::function<void(const Report&)>& announce) {
    if (auto failure = call("watchdog_enable", 0, [&] { return watchdog_enable(run.timeout_s); })) {
        Report report = {failed_item("armed", *failure)};
        // It is armed if only the timeout was refused.
        const Item after = disarmed();
        if (after.failure && after.failure->result != -EINVAL) report.push_back(after);
        return report;
    }
    // Looked at before the command starts, because that may touch the file at once and not again for long.
    std::optional<AliveFile> alive_file;
    if (run.alive_file) alive_file.emplace(*run.alive_file);
    const auto [process, error] = start(run.command);
    if (error != 0)
        return {failed_item("command",
                            {Status::failed, "cannot run " + run.command.front() + ": " + std::strerror(error), ""}),
                disarmed()};
    const int status = attend(run, std::move(alive_file), process);
    Item command = watchdog_item("command", WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    command.source.clear();
    if (status == 0) {
        command.text = "ended well";
        return {command, disarmed()};
    }
    const std::string end = WIFEXITED(status) ? "ended with status " + std::to_string(WEXITSTATUS(status))
                                              : "was killed by signal " + std::to_string(WTERMSIG(status));
    command.failure = {Status::failed, "the command " + end + ": the watchdog bites", ""};
    Item armed = watchdog_item("armed", true);
    armed.text = "yes";
    announce({command, armed});
    // A driver may round the timeout, and a restart may take its time.
    constexpr seconds patience{10};
    std::this_thread::sleep_for(seconds(run.timeout_s) * 2 + patience);
    return {failed_item("bite", {Status::failed, "the watchdog has not restarted the unit", ""})};
}

}  // namespace VelmorCtl
