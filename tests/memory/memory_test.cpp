// SPDX-License-Identifier: MIT
// Every allocation of every function, and of the start of the board, fails once: alone, and with all that follow it.
// The function answers -1 and has set nothing, or it does without; nothing is lost; and the next call is as ever.
// A call that would fail in any case may say -1 in place of its own error, also after its acts.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "memory/cases.h"
#include "memory/heap.h"
#include "record/trace.h"
#include "support/files.h"
#include "support/scenario.h"

namespace {

using memory::Case;
using record::Acts;
using record::target_of;
using testing_support::ChildResult;
using testing_support::run_in_child;

using Texts = std::vector<std::string>;

// ---- What happens --------------------------------------------------------------------------------------------------

/** One call and what became of the process by it. */
struct Step {
    std::string output;
    Acts acts;
    std::string open_before;  // descriptors
    std::string open_after;
    long left = 0;     // blocks
    std::string said;  // on standard error
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(Step, output, acts, open_before, open_after, left, said)
};

/** What a process has done: the call in question, the same once more, and after the start all queries. */
struct Course {
    Step first;
    Step next;
    Texts queries;
    long allocations = 0;
    std::vector<long> in_use;  // of the first call's
    std::string death;         // empty for a process that ended by itself
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(Course, first, next, queries, allocations, in_use, death)
};

std::string open_descriptors() {
    constexpr int highest = 256;
    std::string all;
    for (int fd = 0; fd < highest; ++fd)
        if (fcntl(fd, F_GETFD) != -1) all += " " + std::to_string(fd);
    return all;
}

constexpr char next_step = '\f';  // parts what the steps write to standard error

Step step(const std::function<std::string()>& call) {
    std::fputc(next_step, stderr);
    (void)record::Trace().acts();  // so that what was closed before is in the record by now
    Step step;
    const record::Trace trace;
    const long before = memory::balance();
    step.open_before = open_descriptors();
    step.output = call();
    step.open_after = open_descriptors();
    step.left = memory::balance() - before;
    step.acts = trace.acts();
    return step;
}

constexpr unsigned hangs_after_s = 20;

/** The case in a process of its own, with these allocations of its call failing; none for 0. */
Course run(const Case& each, long first, long last) {
    const ChildResult child = run_in_child([&] {
        alarm(hangs_after_s);
        if (!each.starts_board)
            testing_support::answer([] {
                bool present = false;
                return es_present(&present);
            });
        each.prepare();
        Course course;
        memory::fail_next(first, last);
        course.first = step(each.call);
        course.allocations = memory::allocations();
        course.in_use = memory::in_use();
        course.next = step(each.call);
        std::fputc(next_step, stderr);
        if (each.starts_board) course.queries = memory::answers_of_queries();
        return nlohmann::json(course).dump();
    });
    Course course;
    if (WIFSIGNALED(child.wait_status)) {
        course.death = "the process ended by signal " + std::to_string(WTERMSIG(child.wait_status));
    } else if (!child.output.starts_with("{")) {
        course.death = "the process ended: " + child.output;
    } else {
        course = nlohmann::json::parse(child.output);
        std::istringstream said(child.error_text);
        std::getline(said, course.first.said, next_step);  // what the start said
        std::getline(said, course.first.said, next_step);
        std::getline(said, course.next.said, next_step);
    }
    return course;
}

// ---- What may happen -----------------------------------------------------------------------------------------------

/** An answer without an errno that means nothing: that of -1 and of success. */
std::string without_errno(const std::string& output) {
    if (output.starts_with("-") && !output.starts_with("-1 ")) return output;
    const std::size_t errno_at = output.find(" errno ");
    const std::size_t end = output.find(':');
    if (errno_at == std::string::npos || errno_at > end) return output;
    return output.substr(0, errno_at) + (end == std::string::npos ? "" : output.substr(end));
}

/** Whether it changes something, or would have. */
bool sets(const std::string& act) {
    const auto [kind, path] = target_of(act);
    if (kind == "open") return (act + " ").find(" r ") == std::string::npos;
    return kind == "write" || kind == "restart" || (kind == "ioctl" && path == "/dev/watchdog");
}

Acts setting(const Acts& acts) {
    Acts those;
    std::ranges::copy_if(acts, std::back_inserter(those), sets);
    return those;
}

/** A start may have programmed some lines when it fails: whole ones, in its order. */
bool programmes_whole_lines(const Acts& usual, const Acts& acts) {
    const Acts all = setting(usual);
    const Acts those = setting(acts);
    if (those.size() > all.size() || !std::equal(those.begin(), those.end(), all.begin())) return false;
    const auto line = [](const std::string& act) { return std::filesystem::path(target_of(act).path).parent_path(); };
    return those.empty() || those.size() == all.size() || line(all[those.size() - 1]) != line(all[those.size()]);
}

/** Some of them, from there on. */
std::string listed(const Texts& texts, std::size_t from = 0) {
    constexpr std::size_t at_most = 8;
    if (from >= texts.size()) return "nothing";
    std::string text = texts[from];
    for (std::size_t i = from + 1; i < std::min(texts.size(), from + at_most); ++i) text += ", " + texts[i];
    return texts.size() > from + at_most ? text + ", ..." : text;
}

class Judge {
public:
    Judge(const Case& each, const Course& usual) : case_(each), usual_(usual) {}

    /** Empty where there is none. */
    std::string surprise(const Course& course) {
        found_ = course.death;
        if (!found_.empty()) return found_;
        const Step& first = course.first;
        const std::string output = without_errno(first.output);
        const bool as_ever = output == without_errno(usual_.first.output) && first.acts == usual_.first.acts;
        const bool failed = output == "-1" || output == "-1: untouched";
        if (as_ever) {
            succeeded(first);
        } else if (failed) {
            failed_for_want_of_memory(course);
        } else {
            differs("answered", output, without_errno(usual_.first.output));
            differs("did", first.acts, usual_.first.acts);
        }
        const Step& next = failed && !as_ever ? usual_.first : usual_.next;
        differs("the next call answered", course.next.output, next.output);
        differs("the next call did", course.next.acts, next.acts);
        differs("the next call said", course.next.said, next.said);
        differs("then the queries answered", course.queries, usual_.queries);
        return found_;
    }

private:
    void found(const std::string& what) { found_ += (found_.empty() ? "" : "; ") + what; }

    void differs(const std::string& what, const std::string& is, const std::string& usual) {
        if (is != usual) found(what + " \"" + is + "\", not \"" + usual + "\"");
    }

    /** Tells them from where they part. */
    void differs(const std::string& what, const Texts& are, const Texts& usual) {
        const auto part = std::ranges::mismatch(are, usual).in1 - are.begin();
        const auto from = static_cast<std::size_t>(part);
        if (are != usual)
            differs(what + " from " + std::to_string(from + 1) + " on", listed(are, from), listed(usual, from));
    }

    bool fails_in_any_case() const { return usual_.first.output.starts_with("-"); }

    /** What may stand on standard error for want of memory: there may be none for a line. */
    bool may_say(const std::string& said) const {
        const std::string cause = case_.starts_board ? "cannot set board resources: std::bad_alloc\n" : "";
        const std::string verdict =
            case_.function + " failed: " + (case_.starts_board ? "cannot initialize board data" : "std::bad_alloc") +
            "\n";
        return said.empty() || said == cause || said == verdict || said == cause + verdict;
    }

    void succeeded(const Step& step) {
        if (!(fails_in_any_case() && may_say(step.said))) differs("said", step.said, usual_.first.said);
        differs("left open", step.open_after, usual_.first.open_after);
        differs("left blocks", std::to_string(step.left), std::to_string(usual_.first.left));
    }

    void failed_for_want_of_memory(const Course& course) {
        const Step& step = course.first;
        differs("left open", step.open_after, step.open_before);
        if (case_.starts_board) {
            if (!programmes_whole_lines(usual_.first.acts, step.acts))
                found("failed, and programmed a line in part: " + listed(setting(step.acts)));
            // The board with its registry, the first that a start takes, is given back.
            if (!course.in_use.empty() && course.in_use.front() == usual_.in_use.front()) found("lost the board");
            for (const long number : course.in_use)
                if (!std::ranges::binary_search(usual_.in_use, number))
                    found("lost the block of allocation " + std::to_string(number));
        } else {
            differs("left blocks", std::to_string(step.left), "0");
            if (!setting(step.acts).empty() && !(fails_in_any_case() && step.acts == usual_.first.acts))
                found("failed, and did: " + listed(setting(step.acts)));
        }
        if (!may_say(step.said)) found("said \"" + step.said + "\"");
    }

    const Case& case_;
    const Course& usual_;
    std::string found_;
};

// ---- All places ----------------------------------------------------------------------------------------------------

void set(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd == -1) return;  // the other board's
    (void)!write(fd, text.data(), text.size());
    close(fd);
}

/** The device as every case finds it. */
void reset() {
    set("/dev/watchdog", "V");  // opening it armed it
    for (int line = 37; line <= 43; ++line)
        if (testing_support::exists("/sys/class/gpio/gpio" + std::to_string(line)))
            set("/sys/class/gpio/unexport", std::to_string(line));
    for (const std::string pwm : {"/sys/devices/platform/mxc_pwm.1/", "/sys/devices/platform/mxc_pwm.2/"}) {
        set(pwm + "duty", "0");
        set(pwm + "period", "1000000");
        set(pwm + "duty", "250000");
        set(pwm + "status", "0");
    }
    set("/sys/class/backlight/pwm-backlight.0/brightness", "4");
    set("/sys/class/graphics/fb0/blank", "0");
    set("/sys/class/leds/keypad/color", "1 2 3");
    set("/sys/devices/platform/gps.0/enable", "0");
    set("/sys/class/mrfi/mrfi0/autolink", "0");
    set("/sys/class/mrfi/mrfi0/unlink", "0x12345678");
    set("/sys/devices/platform/gpio-keys/disabled_keys", "33,102,116,202,204,206,208");
}

constexpr char all_families[] = "all-families";

class Tally {
public:
    explicit Tally(std::string board) : board_(std::move(board)) {}

    void run_through(const Case& each) {
        functions_.insert(each.function);
        const std::string name = each.function + (each.what.empty() ? "" : " (" + each.what + ")");
        reset();
        const Course usual = run(each, 0, 0);
        if (!usual.death.empty()) return describe(name, usual.death);
        if (!usual.first.output.starts_with("-")) succeeding_.insert(each.function);
        if (each.starts_board && usual.allocations == 0) describe(name, "no allocation was seen");
        Judge judge(each, usual);
        for (long number = 1; number <= usual.allocations; ++number) {
            ++places_;
            for (const bool alone : {true, false}) {
                reset();
                const Course course = run(each, number, alone ? number : LONG_MAX);
                const std::string surprise = judge.surprise(course);
                if (!surprise.empty()) describe(name, place(number, usual.allocations, alone) + surprise);
            }
        }
    }

    int end() {
        // The power functions would not return.
        for (const std::string& function : functions_)
            if (board_ == all_families && function != "power_shutdown" && function != "power_reboot" &&
                !succeeding_.contains(function))
                describe(function, "no case of it succeeds");
        std::printf("%s: %zu functions, %d places, %d surprises\n", board_.c_str(), functions_.size(), places_,
                    surprises_);
        return surprises_ == 0 ? 0 : 1;
    }

private:
    static std::string place(long number, long of, bool alone) {
        return "allocation " + std::to_string(number) + " of " + std::to_string(of) +
               (alone ? ": " : " and all after it: ");
    }

    void describe(const std::string& name, std::string surprise) {
        ++surprises_;
        std::ranges::replace(surprise, '\n', '|');
        std::printf("%s, %s, %s\n", board_.c_str(), name.c_str(), surprise.c_str());
    }

    std::string board_;
    std::set<std::string> functions_;
    std::set<std::string> succeeding_;
    int places_ = 0;
    int surprises_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    // HAZARD: the calls arm the watchdog, suspend, restart and power off what they run on.
    if (argc != 2 || !testing_support::in_namespaces_of_its_own() || std::getenv("VELMOR_TRACE") == nullptr) {
        std::fputs("This runs on a virtual device: start it through tests/memory/run.\n", stderr);
        return 2;
    }
    try {
        const std::string board = argv[1];
        testing_support::around_call = {memory::enter, memory::leave};
        Tally tally(board);
        for (const Case& each : memory::cases(board == all_families)) tally.run_through(each);
        return tally.end();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
