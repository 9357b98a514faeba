// SPDX-License-Identifier: MIT
#include "record/faults.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

#include "common/near_words.h"
#include "common/text.h"
#include "record/errno_name.h"

namespace VelmorSim {

namespace {

constexpr std::array<const char*, 5> operations = {"open", "read", "write", "ioctl", "close"};

/** Takes the last part off. From the right, because a path may contain colons. */
std::string cut_last(std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos) return {};
    auto last = text.substr(colon + 1);
    text.erase(colon);
    return last;
}

bool is_operation(const std::string& path, const std::string& op) {
    if (path == "restart") return op == "call";
    return std::find(operations.begin(), operations.end(), op) != operations.end();
}

[[noreturn]] void refuse(const std::string& text, const std::string& right) {
    throw std::invalid_argument("\"" + text + "\" should be " + right);
}

/**
 * From ENOSYS the kernel's FUSE concludes that an operation is never needed (open, close) or does not exist (ioctl, to
 * which it returns ENOTTY). After ECHILD and ESTALE the kernel repeats an open.
 */
bool is_deliverable(const std::string& op, int error) {
    if (op == "open") return error != ENOSYS && error != ECHILD && error != ESTALE;
    return error != ENOSYS || (op != "close" && op != "ioctl");
}

bool matches(const std::string& pattern, const std::string& path) {
    return pattern == path || fnmatch(pattern.c_str(), path.c_str(), FNM_PATHNAME) == 0;
}

}  // namespace

void Faults::add_fault(const std::string& text) {
    const std::string right =
        "PATH:OP:ERRNO or PATH:OP:ERRNO:N, with an absolute path, OP one of open, read, write, ioctl, close, and N "
        "at least 1, for example /dev/watchdog:ioctl:EIO:2; or restart:call:ERRNO";
    std::string rest = text;
    std::string last = cut_last(rest);
    std::uint64_t which = 0;
    if (const auto number = plain_number(last)) {
        if (*number < 1) refuse(text, right);
        which = static_cast<std::uint64_t>(*number);
        last = cut_last(rest);
    }
    const auto error = errno_number(last);
    const auto op = cut_last(rest);
    if (!error || !is_operation(rest, op) || (rest[0] != '/' && rest != "restart")) refuse(text, right);
    if (!is_deliverable(op, *error))
        throw std::invalid_argument("\"" + text + "\": FUSE cannot make " + op + " fail with " + last);
    if (rest != "restart") require_path(text, rest);
    faults_.push_back({rest, op, *error, which, 0});
}

void Faults::add_delay(const std::string& text) {
    const std::string right =
        "PATH:OP:MS, with an absolute path, OP one of open, read, write, ioctl, close, and milliseconds up to 3600000, "
        "for example /sys/power/state:write:3000";
    constexpr std::int64_t hour = 3600000;
    std::string rest = text;
    const auto time = plain_number(cut_last(rest));
    const auto op = cut_last(rest);
    if (!time || *time < 0 || *time > hour || !is_operation(rest, op) || rest[0] != '/') refuse(text, right);
    require_path(text, rest);
    delays_.push_back({rest, op, std::chrono::milliseconds(*time)});
}

void Faults::require_path(const std::string& text, const std::string& pattern) const {
    const auto known = paths();
    if (std::any_of(known.begin(), known.end(), [&](const auto& each) { return matches(pattern, each); })) return;
    throw std::invalid_argument("\"" + text + "\": the device serves no file " + pattern + "; " +
                                did_you_mean(pattern, known) + "--explain shows the files that a program uses");
}

void Faults::clear() {
    faults_.clear();
    delays_.clear();
}

std::shared_ptr<const bool> Faults::await(const std::string& text) {
    std::string rest = text;
    const auto op = cut_last(rest);
    if (!is_operation(rest, op) || (rest[0] != '/' && rest != "restart"))
        refuse(text,
               "PATH:OP, with an absolute path and OP one of open, read, write, ioctl, close, for example "
               "/dev/input/event1:open; or restart:call");
    if (rest != "restart") require_path(text, rest);
    auto seen = std::make_shared<bool>(false);
    awaited_.push_back({rest, op, seen});
    return seen;
}

void Faults::note(const std::string& path, const std::string& op) {
    awaited_.remove_if([&](const Awaited& each) {
        const auto seen = each.seen.lock();
        if (seen == nullptr) return true;
        if (each.op != op || !matches(each.path, path)) return false;
        *seen = true;
        return true;
    });
}

int Faults::next(const std::string& path, const std::string& op) {
    if (op != "close") note(path, op);
    int error = 0;
    for (auto& fault : faults_) {
        if (fault.op != op || !matches(fault.path, path)) continue;
        fault.seen++;
        if (error == 0 && (fault.which == 0 || fault.which == fault.seen)) error = fault.error;
    }
    return error;
}

std::chrono::milliseconds Faults::delay(const std::string& path, const std::string& op) const {
    std::chrono::milliseconds longest(0);
    for (const auto& delay : delays_) {
        if (delay.op == op && matches(delay.path, path)) longest = std::max(longest, delay.time);
    }
    return longest;
}

}  // namespace VelmorSim
