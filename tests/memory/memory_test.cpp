// SPDX-License-Identifier: MIT
// Every allocation of every function, and of the start of the board, fails once: alone, and with all that follow it.
// The function then returns -1 and has set nothing, or it does without the memory. Nothing is lost, and the next call
// behaves as usual. A call that fails in any case may return -1 instead of its own error, also after its acts.

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "memory/cases.h"
#include "memory/heap.h"
#include "record/trace.h"
#include "support/calls.h"
#include "support/files.h"
#include "support/forked.h"
#include "support/scenario.h"

namespace {

using memory::Case;
using record::Acts;
using record::target_of;
using testing_support::ChildResult;
using testing_support::run_in_child;

using Texts = std::vector<std::string>;

// ---- What happens --------------------------------------------------------------------------------------------------

/** One call and what it did to the process. */
struct Step {
    std::string output;
    Acts acts;
    std::string descriptors;  // those open before and after, if they differ
    long blocks_left = 0;
    std::string printed;  // on standard error
    NLOHMANN_DEFINE_TYPE_INTRUSIVE(Step, output, acts, descriptors, blocks_left, printed)
};

/** What a process did: the call under test, the same once more and, after the start of a board, all queries. */
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
        if (testing_support::is_open(fd)) all += " " + std::to_string(fd);
    return all;
}

constexpr char next_step = '\f';  // separates what the steps print

Step step(const testing_support::Scenario& call) {
    std::fputc(next_step, stderr);
    (void)record::Trace().acts();  // so that what was closed before is in the record by now
    Step step;
    const record::Trace trace;
    const long blocks = memory::balance();
    const std::string before = open_descriptors();
    step.output = call();
    const std::string after = open_descriptors();
    if (after != before) step.descriptors = before + " became " + after;
    step.blocks_left = memory::balance() - blocks;
    step.acts = trace.acts();
    return step;
}

/** Run the case in a process of its own; these allocations of its call fail, none for 0. */
Course run(const Case& each, long first, long last) {
    const ChildResult child = run_in_child([&] {
        testing_support::no_longer_than(20);
        if (!each.starts_board) testing_support::query_es();
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
    if (child.wait_status != 0 || !child.output.starts_with("{")) {
        course.death = "the process ended (" + testing_support::ending(child.wait_status) + "): " + child.output;
        return course;
    }
    course = nlohmann::json::parse(child.output);
    std::istringstream printed(child.error_text);
    std::getline(printed, course.first.printed, next_step);  // by the start
    std::getline(printed, course.first.printed, next_step);
    std::getline(printed, course.next.printed, next_step);
    return course;
}

// ---- What may happen -----------------------------------------------------------------------------------------------

/** A result without an errno that means nothing: that of -1 and of success. */
std::string without_errno(const std::string& output) {
    static const std::regex meaningless("^(-1|[0-9]+) errno [0-9]+");
    return std::regex_replace(output, meaningless, "$1");
}

/** Whether an act changes something, or would have. */
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

/** A start that fails may have programmed some lines, but only whole ones and in its order. */
bool programs_whole_lines(const Acts& usual, const Acts& acts) {
    const Acts all = setting(usual);
    const Acts those = setting(acts);
    if (those.size() > all.size() || !std::equal(those.begin(), those.end(), all.begin())) return false;
    const auto line = [](const std::string& act) { return std::filesystem::path(target_of(act).path).parent_path(); };
    return those.empty() || those.size() == all.size() || line(all[those.size() - 1]) != line(all[those.size()]);
}

/** Compares the courses of a case while allocations fail with its usual course. */
class Judge {
public:
    Judge(const Case& each, const Course& usual) : case_(each), usual_(usual) {}

    /** All that may not happen; empty if there is none. */
    std::string surprises(const Course& course) {
        found_ = course.death;
        if (!found_.empty()) return found_;
        const Step& first = course.first;
        const Step& usual = usual_.first;
        const std::string output = without_errno(first.output);
        const bool as_usual = output == without_errno(usual.output) && first.acts == usual.acts;
        const bool failed = !as_usual && (output == "-1" || output == "-1: untouched");
        if (as_usual) {
            check_success(first);
        } else if (failed) {
            check_failure(course);
        } else {
            differs("returned", output, without_errno(usual.output));
            differs("did", first.acts, usual.acts);
        }
        const Step& next = failed ? usual : usual_.next;
        differs("the next call returned", course.next.output, next.output);
        differs("the next call did", course.next.acts, next.acts);
        differs("the next call printed", course.next.printed, next.printed);
        differs("then the queries returned", course.queries, usual_.queries);
        return found_;
    }

private:
    void found(const std::string& what) { found_ += (found_.empty() ? "" : "; ") + what; }

    void differs(const std::string& what, const std::string& is, const std::string& usual) {
        if (is != usual) found(what + " \"" + is + "\", not \"" + usual + "\"");
    }

    /** Finds the first text that differs. */
    void differs(const std::string& what, const Texts& are, const Texts& usual) {
        const auto [is, should] = std::ranges::mismatch(are, usual);
        differs(what, is == are.end() ? "nothing more" : *is, should == usual.end() ? "nothing more" : *should);
    }

    bool fails_in_any_case() const { return usual_.first.output.starts_with("-"); }

    /** Whether a lack of memory may print this: even for its lines there may be none. */
    bool may_print(const std::string& text) const {
        const std::string cause = case_.starts_board ? "cannot set board resources: std::bad_alloc\n" : "";
        const std::string line = testing_support::failed(
            case_.function, case_.starts_board ? "cannot initialize board data" : "std::bad_alloc");
        return text.empty() || text == cause || text == line || text == cause + line;
    }

    void check_success(const Step& step) {
        const Step& usual = usual_.first;
        if (!fails_in_any_case() || !may_print(step.printed)) differs("printed", step.printed, usual.printed);
        differs("left descriptors", step.descriptors, usual.descriptors);
        differs("left blocks", std::to_string(step.blocks_left), std::to_string(usual.blocks_left));
    }

    void check_failure(const Course& course) {
        const Step& step = course.first;
        differs("left descriptors", step.descriptors, "");
        if (!may_print(step.printed)) found("printed \"" + step.printed + "\"");
        if (case_.starts_board) return check_failed_start(course);
        differs("left blocks", std::to_string(step.blocks_left), "0");
        if (!setting(step.acts).empty() && !(fails_in_any_case() && step.acts == usual_.first.acts))
            found("failed, and did: " + setting(step.acts).front());
    }

    void check_failed_start(const Course& course) {
        if (!programs_whole_lines(usual_.first.acts, course.first.acts))
            found("failed, and programmed a line in part: " + setting(course.first.acts).back());
        // The first block that a start allocates is the board with its registry. It is freed.
        if (!course.in_use.empty() && course.in_use.front() == usual_.in_use.front()) found("lost the board");
        for (const long number : course.in_use)
            if (!std::ranges::binary_search(usual_.in_use, number))
                found("lost the block of allocation " + std::to_string(number));
    }

    const Case& case_;
    const Course& usual_;
    std::string found_;
};

// ---- All places ----------------------------------------------------------------------------------------------------

/** Set the device as every case finds it. What a board lacks is not set. */
void reset() {
    std::ofstream("/dev/watchdog") << "V";  // opening it has armed it
    for (int line = 37; line <= 43; ++line)
        if (testing_support::exists("/sys/class/gpio/gpio" + std::to_string(line)))
            std::ofstream("/sys/class/gpio/unexport") << line;
    for (const std::string pwm : {"/sys/devices/platform/mxc_pwm.1/", "/sys/devices/platform/mxc_pwm.2/"}) {
        std::ofstream(pwm + "duty") << 0;
        std::ofstream(pwm + "period") << 1000000;
        std::ofstream(pwm + "duty") << 250000;
        std::ofstream(pwm + "status") << 0;
    }
    std::ofstream("/sys/class/backlight/pwm-backlight.0/brightness") << 4;
    std::ofstream("/sys/class/graphics/fb0/blank") << 0;
    std::ofstream("/sys/class/leds/keypad/color") << "1 2 3";
    std::ofstream("/sys/devices/platform/gps.0/enable") << 0;
    std::ofstream("/sys/class/mrfi/mrfi0/autolink") << 0;
    std::ofstream("/sys/class/mrfi/mrfi0/unlink") << "0x12345678";
    std::ofstream("/sys/devices/platform/gpio-keys/disabled_keys") << "33,102,116,202,204,206,208";
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
        if (!usual.death.empty()) return report(name, usual.death);
        if (!usual.first.output.starts_with("-")) succeeding_.insert(each.function);
        if (each.starts_board && usual.allocations == 0) report(name, "no allocation was seen");
        Judge judge(each, usual);
        for (long number = 1; number <= usual.allocations; ++number) {
            ++places_;
            const std::string place =
                "allocation " + std::to_string(number) + " of " + std::to_string(usual.allocations);
            for (const bool alone : {true, false}) {
                reset();
                const std::string surprises = judge.surprises(run(each, number, alone ? number : LONG_MAX));
                if (!surprises.empty())
                    report(name, std::string(place).append(alone ? ": " : " and all after it: ").append(surprises));
            }
        }
    }

    int end() {
        // The power functions would not return.
        for (const std::string& function : functions_)
            if (board_ == all_families && function != "power_shutdown" && function != "power_reboot" &&
                !succeeding_.contains(function))
                report(function, "no case of it succeeds");
        std::printf("%s: %zu functions, %d places, %d surprises\n", board_.c_str(), functions_.size(), places_,
                    surprises_);
        return surprises_ == 0 ? 0 : 1;
    }

private:
    void report(const std::string& name, std::string surprise) {
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
        testing_support::around_call = {memory::enter, memory::leave};
        Tally tally(argv[1]);
        for (const Case& each : memory::cases(argv[1] == std::string(all_families))) tally.run_through(each);
        return tally.end();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
