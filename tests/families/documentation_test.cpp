// SPDX-License-Identifier: MIT
// Compares the failures that the public header documents for each function with those that are observed: on the board
// of all families with each act failing in turn, with bad arguments, and on boards without the hardware. The failures
// that the header documents once for all functions are not provoked here: lack of memory, a board that does not start,
// a mutex that cannot be locked.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "families/families_test.h"
#include "support/exported_functions.h"
#include "support/files.h"
#include "support/null_calls.h"

using namespace families;
using namespace testing_support;

namespace {

using Kinds = std::set<std::string>;

constexpr char null[] = "-22 for null";
constexpr char refused[] = "-1";
constexpr char file[] = "-1 of a file";
constexpr char passed_on[] = "-errno";
const Kinds all_kinds = {null, "-22", "-95", refused, file, passed_on};

// ---- Documented ----------------------------------------------------------------------------------------------------

/** The "@return" text of each function, on one line. */
std::map<std::string, std::string> documented_results() {
    std::map<std::string, std::string> results;
    std::istringstream header(content(VELMOR_HEADER));
    const std::regex declaration(R"(VELMOR_API int (\w+)\(.*)");
    std::string result;
    bool within = false;
    for (std::string line; std::getline(header, line);) {
        std::smatch found;
        if (line.starts_with(" * @")) within = line.starts_with(" * @return ");
        if (line.starts_with("/**")) result.clear();
        if (line.starts_with(" */")) within = false;
        if (within) result += line.substr(line.find_first_not_of(" *")) + " ";
        if (std::regex_match(line, found, declaration)) results[found[1]] = result;
    }
    return results;
}

std::vector<std::string> matches(const std::string& text, const std::regex& pattern) {
    std::vector<std::string> all;
    for (auto each = std::sregex_iterator(text.begin(), text.end(), pattern); each != std::sregex_iterator(); ++each)
        all.push_back(each->str());
    return all;
}

Kinds documented(const std::string& result) {
    std::smatch parts;
    if (!std::regex_match(result, parts,
                          std::regex("@return .*Own errors: (.*?)(No kernel errors\\.|Kernel errors: )(.*)")))
        return {"not in the form \"Own errors: ... Kernel errors: ...\" or \"... No kernel errors.\""};
    Kinds kinds;
    for (const std::string& own : matches(parts[1], std::regex("-\\d+( for a null pointer)?")))
        kinds.insert(own == "-22 for a null pointer" ? null : own);
    if (parts[2] != "Kernel errors: ") return kinds;
    for (const std::string& kernel : matches(parts[3], std::regex("-errno|-1\\b")))
        kinds.insert(kernel == "-1" ? file : kernel);
    return kinds;
}

// ---- Observed ------------------------------------------------------------------------------------------------------

bool failed(const std::string& act) {
    return act.find(" = E") != std::string::npos;
}

/** The kind of failure that a call has returned and printed, or none. EIO is the only kernel error that is provoked. */
Kinds kind_of(const std::string& function, const std::string& output, const std::string& printed, bool act_failed) {
    const int result = std::stoi(output);
    const bool line = ("\n" + printed).find("\n" + function + " failed: ") != std::string::npos;
    const std::string with_errno = std::to_string(result) + " errno " + std::to_string(-result);
    if (result >= 0) return line ? Kinds{"line of a success"} : Kinds{};
    if (result == -1) return {!line ? "-1 without a line" : act_failed ? file : refused};
    if (!output.starts_with(with_errno)) return {output + " without that errno"};
    if (result == -EIO && line) return {passed_on};
    if (result == -EINVAL && !line) return {null};
    return {std::to_string(result) + (line ? "" : " without a line")};
}

/** An act as the Recorder matches it: without bytes and result. */
std::string bare(const std::string& act) {
    std::istringstream words(act);
    std::string kind;
    std::string path;
    std::string detail;
    words >> kind >> path >> detail;
    return kind + " " + path + (kind == "open" || kind == "ioctl" ? " " + detail : "");
}

/** Makes this act of a recording fail. */
Recorder failing(const Recording& recording, std::size_t act) {
    const std::string target = bare(recording.acts[act]);
    const auto same = [&](const std::string& each) { return bare(each) == target; };
    const auto end = recording.acts.begin() + static_cast<std::ptrdiff_t>(act) + 1;
    const auto nth = std::ranges::count_if(recording.start, same) + std::count_if(recording.acts.begin(), end, same);
    return Recorder().fail(target, EIO, static_cast<int>(nth));
}

/** A call with the context of a list that has been opened. */
template <typename Function>
Scenario with_list(int (*open)(int, mrfi_enum_ctx**), Function function) {
    return [=] {
        mrfi_enum_ctx* list = nullptr;
        open(0, &list);
        return result_of(function, list);
    };
}

/** Calls in addition to call_of(): with bad arguments, and those that need a call before them. */
std::multimap<std::string, Scenario> more_calls() {
    return {
        {"backlight_set", call(backlight_set, 0, 256U)},
        {"backlight_set", call(backlight_set, 1, 256U)},
        {"led_color_set", call(led_color_set, 0, led_color_t{0, 256, 0})},
        {"io_config_set", call(io_config_set, 0, io_config_t{101, 1000})},
        {"io_config_set", call(io_config_set, 0, io_config_t{50, 0})},
        {"watchdog_enable", call(watchdog_enable, -1)},
        {"watchdog_disable", [] { return watchdog_enable(30), result_of(watchdog_disable); }},
        {"watchdog_refresh", [] { return watchdog_enable(30), result_of(watchdog_refresh); }},
        {"mrfi_connection_list_read", with_list(mrfi_connection_list_open, mrfi_connection_list_read)},
        {"mrfi_connection_list_close", with_list(mrfi_connection_list_open, mrfi_connection_list_close)},
        {"mrfi_device_list_read", with_list(mrfi_device_list_open, mrfi_device_list_read)},
        {"mrfi_device_list_close", with_list(mrfi_device_list_open, mrfi_device_list_close)},
        {"serial_mux", call(serial_mux, 0, 3)},
        {"serial_alt_func_set", call(serial_alt_func_set, 0, 2)},
    };
}

std::vector<Scenario> calls_of(const std::string& function) {
    std::vector<Scenario> all;
    // Backlights and lines 1, 2 and 9 are of other kinds than 0. Most families have none of these indices.
    for (const int index : {0, 1, 2, 9}) all.push_back(call_of(function, index));
    const auto more = more_calls();
    for (auto [each, end] = more.equal_range(function); each != end; ++each) all.push_back(each->second);
    for (const auto& null_call : null_calls())
        if (null_call.function == function) all.push_back(null_call.call);
    return all;
}

class Observation {
public:
    explicit Observation(const std::string& function) : function_(function) {
        // HAZARD: a program that succeeds ends the unit, and the tests with it.
        const std::string status = std::to_string(EIO);
        set_hardware("poweroff.exit=" + status + ", reboot.exit=" + status);
    }

    /** Each call undisturbed, and with each of its acts failing. */
    void of_all_families() {
        std::set<Acts> seen;
        for (const Scenario& call : calls_of(function_)) {
            const Recording undisturbed = observe(call, {});
            if (!seen.insert(undisturbed.acts).second) continue;
            for (std::size_t act = 0; act < undisturbed.acts.size(); ++act) {
                observe(call, failing(undisturbed, act));
                if (undisturbed.acts[act].starts_with("exec ")) break;  // the acts after it are the program's
            }
        }
    }

    /** The call on another board, which lacks the hardware or restarts in another way. */
    void of_board(const std::string& library_directory) {
        const Fault fault("restart:call:EIO");
        std::string output = output_of(library_directory, {VELMOR_CALL_FUNCTION, function_});
        output.pop_back();  // the newline
        const std::size_t last_line = output.rfind('\n') + 1;
        kinds_.merge(kind_of(function_, output.substr(last_line), output.substr(0, last_line), false));
    }

    const Kinds& kinds() const { return kinds_; }

private:
    Recording observe(const Scenario& call, const Recorder& recorder) {
        std::string before;
        // Without a number in the table the call reads the serial number.
        if (function_ == "platform_can_unique_num_get") before = "platform.pht=" + table_without_can_number_;
        Recording recording = record(before, call, recorder);
        give_lines_back();
        if (function_.starts_with("watchdog_")) disarm_watchdog();
        set_hardware("platform.pht=" + table_);
        kinds_.merge(
            kind_of(function_, recording.output, recording.error_text, std::ranges::any_of(recording.acts, failed)));
        return recording;
    }

    std::string function_;
    Kinds kinds_;
    const std::string table_ = hardware({"get", "platform.pht"});
    const std::string table_without_can_number_ = table_.substr(0, 16) + "000000" + table_.substr(22);
};

// ---- Comparison ----------------------------------------------------------------------------------------------------

class Documentation : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }
};

TEST_P(Documentation, NamesTheFailuresOfTheFunction) {
    Observation observation(GetParam());
    observation.of_all_families();
    observation.of_board(VELMOR_DEVICES_OWN_BOARD);
    observation.of_board(VELMOR_CHOSEN_BOARD);
    std::printf("%-28s", GetParam().c_str());
    for (const std::string& kind : all_kinds)
        std::printf(" | %*s", static_cast<int>(kind.size()), observation.kinds().contains(kind) ? kind.c_str() : "");
    std::printf("\n");
    EXPECT_EQ(observation.kinds(), documented(documented_results().at(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Of, Documentation, testing::ValuesIn(exported_functions()),
                         [](const auto& instance) { return instance.param; });

}  // namespace
