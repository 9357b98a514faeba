// SPDX-License-Identifier: MIT
// The start of the board by the first call.

#include <gmock/gmock.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/acts.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/files.h"
#include "support/forked.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::Acts;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::failed;
using testing_support::Fifo;
using testing_support::in_order;
using testing_support::joined;
using testing_support::no_longer_than;
using testing_support::put;
using testing_support::query_es;
using testing_support::read_acts;
using testing_support::read_to_end_acts;
using testing_support::Recorder;
using testing_support::reset_device;
using testing_support::result_of;
using testing_support::run_forked;
using testing_support::run_in_child;
using testing_support::stream_failure;
using testing_support::wait_until;
using testing_support::write_acts;

namespace {

constexpr char max_brightness[] = "/sys/class/backlight/pwm-backlight.0/max_brightness";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";
constexpr char period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char table[] = "/proc/platform/pht";
constexpr char table_version[] = "/proc/platform/pht_version";

constexpr char table_without_x[] = "platform hardware table has no \"x\" before its digits";

std::string lines_of_failed_start(const std::string& cause, const std::string& function) {
    return "cannot set board resources: " + cause + "\n" + failed(function, "cannot initialize board data");
}

class StartUp : public testing_support::DeviceTest {};

TEST_F(StartUp, FirstCallDoesExactlyTheseActsAndLaterCallsRepeatNone) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult result = run_in_child(Recorder(), [] { return joined({query_es(), query_es(), query_es()}); });
    EXPECT_EQ(result.output, "0: true, 0: true, 0: true");
    const std::string thermal = "/sys/class/thermal/thermal_zone0/trip_point_";
    EXPECT_EQ(result.acts,
              in_order({read_acts(table_version), read_acts(table), read_acts(max_brightness), read_acts(period),
                        read_acts(duty), write_acts(period, "370370"), read_to_end_acts(period),
                        write_acts(duty, "185185"), read_acts(thermal + "0_type"), read_acts(thermal + "1_type"),
                        read_acts(thermal + "2_type"), read_acts(thermal + "3_type")}));
}

TEST_F(StartUp, RunningChannelIsSilencedBeforeItsPeriodChanges) {
    VELMOR_NEEDS_RECORDER();
    put(duty, "250000\n");
    const ChildResult result = run_in_child(Recorder().watch({"/sys/devices/"}), query_es);
    EXPECT_EQ(result.acts,
              in_order({read_acts(period), read_acts(duty), read_acts(period), write_acts(duty, "0"),
                        write_acts(period, "370370"), read_to_end_acts(period), write_acts(duty, "185185")}));
}

TEST_F(StartUp, IsNotRepeatedWhenItsFilesHaveGone) {
    const ChildResult result = run_in_child([] {
        const std::string text = query_es();
        for (const char* path : {table_version, table, "/sys/class", pwm}) testing_support::remove(path);
        return joined({text, query_es()});
    });
    EXPECT_EQ(result.output, "0: true, 0: true");
    EXPECT_EQ(result.error_text, "");
}

TEST_F(StartUp, AnyFunctionCanBeTheFirst) {
    const ChildResult result = run_in_child([] { return result_of(power_suspend); });
    EXPECT_EQ(result.output, "0");
    EXPECT_EQ(content(period), "370370");
}

// ---- A start that fails --------------------------------------------------------------------------------------------

struct Failure {
    std::string name;
    void (*break_device)();
    std::string cause = stream_failure;
    int error = 0;  // of the two calls: what the failing access has left in errno
};

class FailingStartUp : public StartUp, public testing::WithParamInterface<Failure> {
protected:
    void SetUp() override {
        StartUp::SetUp();
        GetParam().break_device();
    }

    static std::string failed_output() {
        const int error = GetParam().error;
        return "-1" + (error == 0 ? "" : " errno " + std::to_string(error)) + ": untouched";
    }
};

TEST_P(FailingStartUp, PrintsTwoLinesACallAndIsTriedAgainByTheNext) {
    const ChildResult result = run_in_child([] {
        const std::string text = joined({query_es(), result_of(backlight_get, 0)});
        reset_device();
        return joined({text, query_es()});
    });
    EXPECT_EQ(result.output, failed_output() + ", " + failed_output() + ", 0: true");
    EXPECT_EQ(result.error_text, lines_of_failed_start(GetParam().cause, "es_present") +
                                     lines_of_failed_start(GetParam().cause, "backlight_get"));
    EXPECT_EQ(content(period), "370370");
}

TEST_P(FailingStartUp, StartsFromScratchEachTime) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult once = run_in_child(Recorder(), query_es);
    SetUp();
    const ChildResult twice = run_in_child(Recorder(), [] { return joined({query_es(), query_es()}); });
    EXPECT_THAT(once.acts, testing::Not(IsEmpty()));
    EXPECT_EQ(twice.acts, in_order({once.acts, once.acts}));
}

template <const char* path>
void remove_file() {
    testing_support::remove(path);
}

INSTANTIATE_TEST_SUITE_P(
    Board, FailingStartUp,
    testing::Values(
        Failure{.name = "MissingTableVersion", .break_device = remove_file<table_version>, .error = ENOENT},
        Failure{.name = "TableVersionThatIsNoNumber", .break_device = [] { put(table_version, "one\n"); }},
        Failure{.name = "UnknownTableVersion",
                .break_device = [] { put(table_version, "4\n"); },
                .cause = "Invalid PHT table version 4: No such device"},
        Failure{.name = "MissingTable", .break_device = remove_file<table>, .error = ENOENT},
        Failure{.name = "EmptyTable", .break_device = [] { put(table, ""); }},
        Failure{.name = "TableWithoutX", .break_device = [] { put(table, "002912\n"); }, .cause = table_without_x},
        Failure{.name = "MissingMaxBrightness", .break_device = remove_file<max_brightness>, .error = ENOENT},
        Failure{.name = "MaxBrightnessThatIsNoNumber", .break_device = [] { put(max_brightness, "full\n"); }},
        Failure{.name = "MissingPeriod", .break_device = remove_file<period>, .error = ENOENT},
        Failure{.name = "MissingDuty", .break_device = remove_file<duty>, .error = ENOENT},
        Failure{.name = "MissingChannel", .break_device = remove_file<pwm>, .error = ENOENT}),
    [](const auto& instance) { return instance.param.name; });

TEST(StartUpWithFailingActs, EveryActThatMattersFailsTheStart) {
    VELMOR_NEEDS_RECORDER();
    const std::string thermal = "/sys/class/thermal/";
    reset_device();
    const Acts acts = run_in_child(Recorder(), query_es).acts;
    std::map<std::string, int> nth;
    for (const std::string& act : acts) {
        std::string match = act;
        if (act.starts_with("write ")) match = act.substr(0, act.find(' ', 6));
        reset_device();
        const ChildResult result = run_in_child(Recorder().fail(match, EIO, ++nth[match]), [] {
            const std::string first = query_es();
            reset_device();  // what a refused write has emptied is a driver's attribute on the device
            return joined({first, query_es()});
        });
        if (act.find(thermal) != std::string::npos) {
            EXPECT_EQ(result.output, "0 errno 5: true, 0: true") << act;
            EXPECT_EQ(result.error_text, "") << act;
            continue;
        }
        const std::string cause = act.starts_with("read ")
                                      ? "basic_filebuf::underflow error reading the file: Input/output error"
                                      : stream_failure;
        EXPECT_EQ(result.output, "-1 errno 5: untouched, 0: true") << act;
        EXPECT_EQ(result.error_text, lines_of_failed_start(cause, "es_present")) << act;
    }
}

// ---- Several threads -----------------------------------------------------------------------------------------------

/** Threads that all make their first call; the board's table is what the FIFO is fed. */
class FirstCallers {
public:
    explicit FirstCallers(std::size_t count) : outputs_(count) {
        for (std::string& text : outputs_) {
            threads_.emplace_back([this, &text] {
                ++calling_;
                text = query_es();
                ++finished_;
            });
        }
        wait_until([this] { return calling_ == threads_.size(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets them run into the mutex
    }

    std::size_t finished() const { return finished_; }

    std::string outputs() {
        for (std::thread& thread : threads_) thread.join();
        std::sort(outputs_.begin(), outputs_.end());
        std::string text;
        for (const std::string& each : outputs_) text += each + ", ";
        return text;
    }

private:
    std::vector<std::string> outputs_;
    std::vector<std::thread> threads_;
    std::atomic<std::size_t> calling_{0};
    std::atomic<std::size_t> finished_{0};
};

/** The lines of an output in alphabetical order: those of two threads come in any. */
std::vector<std::string> sorted_lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
}

class FirstCallsAtOnce : public StartUp {
protected:
    /** Let the first start read the first table, and a second one the second, if there is one. */
    static ChildResult run_two_callers(const std::string& first_table, const std::string& second_table = "") {
        return run_in_child([&] {
            no_longer_than(20);
            Fifo fifo(table);
            FirstCallers callers(2);
            fifo.hold();
            fifo.feed(first_table);
            if (!second_table.empty()) {
                wait_until([&] { return callers.finished() == 1; });
                fifo.hold();
                fifo.feed(second_table);
            }
            return callers.outputs();
        });
    }

    static constexpr char bad_table[] = "002912\n";
};

// A second start would wait for the FIFO to be fed again.
TEST_F(FirstCallsAtOnce, StartTheBoardOnce) {
    const ChildResult result = run_two_callers(content(table));
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "0: true, 0: true, ");
    EXPECT_EQ(result.error_text, "");
}

TEST_F(FirstCallsAtOnce, EachSeesAFailureOfItsOwn) {
    const ChildResult result = run_two_callers(bad_table, bad_table);
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "-1: untouched, -1: untouched, ");
    const std::string start = std::string("cannot set board resources: ") + table_without_x;
    constexpr char verdict[] = "es_present failed: cannot initialize board data";
    EXPECT_THAT(sorted_lines(result.error_text), ElementsAre(start, start, verdict, verdict));
}

TEST_F(FirstCallsAtOnce, TheSecondStartsTheBoardWhereTheFirstHasFailed) {
    const ChildResult result = run_two_callers(bad_table, content(table));
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "-1: untouched, 0: true, ");
}

TEST_F(FirstCallsAtOnce, ManyThreadsGetOneBoard) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult result = run_in_child(Recorder().watch({table}), [] {
        no_longer_than(60);
        FirstCallers callers(16);
        return callers.outputs();
    });
    EXPECT_EQ(result.wait_status, 0);
    std::string expected;
    for (int i = 0; i < 16; ++i) expected += "0: true, ";
    EXPECT_EQ(result.output, expected);
    EXPECT_EQ(result.error_text, "");
    EXPECT_EQ(result.acts, in_order({read_acts(table_version), read_acts(table)}));
}

// The child starts a board of its own.
TEST_F(StartUp, ChildOfAParentThatHasNotStartedStartsTheBoard) {
    const ChildResult result = run_in_child([] {
        const std::string child = run_forked([] { return query_es() == "0: true"; });
        return joined({child, query_es()});
    });
    EXPECT_EQ(result.output, "success, 0: true");
}

TEST_F(StartUp, ChildOfAParentThatHasFailedToStartTriesAgain) {
    testing_support::remove(table);
    const ChildResult result = run_in_child([] {
        const std::string text = query_es();
        reset_device();
        const std::string child = run_forked([] { return query_es() == "0: true"; });
        return joined({text, child, query_es()});
    });
    EXPECT_EQ(result.output, "-1 errno 2: untouched, success, 0: true");
}

}  // namespace
