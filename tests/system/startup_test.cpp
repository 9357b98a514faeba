// SPDX-License-Identifier: MIT
// The start of the board by the first call.

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/fifo.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::Fifo;
using testing_support::joined;
using testing_support::no_longer_than;
using testing_support::Out;
using testing_support::put;
using testing_support::Recorder;
using testing_support::reset_device;
using testing_support::run_in_child;
using testing_support::stream_failure;
using testing_support::wait_until;

namespace {

constexpr char max_brightness[] = "/sys/class/backlight/pwm-backlight.0/max_brightness";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";
constexpr char period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char table[] = "/proc/platform/pht";
constexpr char table_version[] = "/proc/platform/pht_version";

std::string lines_of_failed_start(const std::string& cause, const std::string& function) {
    return "cannot set board resources: " + cause + "\n" + function + " failed: cannot initialize board data\n";
}

/** A call that touches nothing but the board. */
std::string ask_es() {
    Out<bool> present;
    return answer([&] { return es_present(present); }, present);
}

class StartUp : public testing::Test {
protected:
    void SetUp() override { reset_device(); }
};

/** The acts of an attribute that is read, and of one that these bytes are written to. */
std::vector<std::string> reading(const std::string& path) {
    return {"open " + path + " r", "read " + path, "close " + path};
}

/** A file as the library has written it: a number that no newline ends is read up to the end of the file. */
std::vector<std::string> reading_back(const std::string& path) {
    return {"open " + path + " r", "read " + path, "read " + path, "close " + path};
}

std::vector<std::string> writing(const std::string& path, const std::string& bytes) {
    return {"open " + path + " w", "write " + path + " " + bytes, "close " + path};
}

std::vector<std::string> in_order(std::initializer_list<std::vector<std::string>> pieces) {
    std::vector<std::string> acts;
    for (const auto& piece : pieces) acts.insert(acts.end(), piece.begin(), piece.end());
    return acts;
}

TEST_F(StartUp, FirstCallDoesExactlyTheseActsAndLaterCallsRepeatNone) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult result = run_in_child(Recorder(), [] { return joined({ask_es(), ask_es(), ask_es()}); });
    EXPECT_EQ(result.output, "0: true, 0: true, 0: true");
    const std::string thermal = "/sys/class/thermal/thermal_zone0/trip_point_";
    EXPECT_EQ(result.acts, in_order({reading(table_version), reading(table), reading(max_brightness), reading(period),
                                     reading(duty), writing(period, "370370"), reading_back(period),
                                     writing(duty, "185185"), reading(thermal + "0_type"), reading(thermal + "1_type"),
                                     reading(thermal + "2_type"), reading(thermal + "3_type")}));
}

TEST_F(StartUp, RunningChannelIsSilencedBeforeItsPeriodChanges) {
    VELMOR_NEEDS_RECORDER();
    put(duty, "250000\n");
    const ChildResult result = run_in_child(Recorder().watch({"/sys/devices/"}), ask_es);
    EXPECT_EQ(result.acts, in_order({reading(period), reading(duty), reading(period), writing(duty, "0"),
                                     writing(period, "370370"), reading_back(period), writing(duty, "185185")}));
}

TEST_F(StartUp, IsNotRepeatedWhenItsFilesHaveGone) {
    const ChildResult result = run_in_child([] {
        const std::string text = ask_es();
        for (const char* path : {table_version, table, "/sys/class", pwm}) testing_support::remove(path);
        return joined({text, ask_es()});
    });
    EXPECT_EQ(result.output, "0: true, 0: true");
    EXPECT_EQ(result.error_text, "");
}

TEST_F(StartUp, AnyFunctionCanBeTheFirst) {
    const ChildResult result = run_in_child([] { return answer([] { return power_suspend(); }); });
    EXPECT_EQ(result.output, "0");
    EXPECT_EQ(content(period), "370370");
}

// ---- A start that fails --------------------------------------------------------------------------------------------

struct Failure {
    std::string name;
    void (*break_device)();
    std::string cause;
    std::string errno_text;  // of the two calls: what the failing access has left in errno
};

class FailingStartUp : public testing::TestWithParam<Failure> {
protected:
    void SetUp() override {
        reset_device();
        GetParam().break_device();
    }

    std::string broken_answer() const { return "-1" + GetParam().errno_text + ": untouched"; }
};

TEST_P(FailingStartUp, PrintsTwoLinesACallAndIsTriedAgainByTheNext) {
    const ChildResult result = run_in_child([] {
        Out<uint32_t> level;
        const std::string text = joined({ask_es(), answer([&] { return backlight_get(0, level); }, level)});
        reset_device();
        return joined({text, ask_es()});
    });
    EXPECT_EQ(result.output, broken_answer() + ", " + broken_answer() + ", 0: true");
    EXPECT_EQ(result.error_text, lines_of_failed_start(GetParam().cause, "es_present") +
                                     lines_of_failed_start(GetParam().cause, "backlight_get"));
    EXPECT_EQ(content(period), "370370");
}

TEST_P(FailingStartUp, StartsFromScratchEachTime) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult once = run_in_child(Recorder(), ask_es);
    SetUp();
    const ChildResult twice = run_in_child(Recorder(), [] { return joined({ask_es(), ask_es()}); });
    EXPECT_THAT(once.acts, testing::Not(IsEmpty()));
    EXPECT_EQ(twice.acts, in_order({once.acts, once.acts}));
}

INSTANTIATE_TEST_SUITE_P(
    Board, FailingStartUp,
    testing::Values(
        Failure{"MissingTableVersion", [] { testing_support::remove(table_version); }, stream_failure, " errno 2"},
        Failure{"TableVersionThatIsNoNumber", [] { put(table_version, "one\n"); }, stream_failure, ""},
        Failure{"UnknownTableVersion", [] { put(table_version, "4\n"); }, "Invalid PHT table version 4: No such device",
                ""},
        Failure{"MissingTable", [] { testing_support::remove(table); }, stream_failure, " errno 2"},
        Failure{"EmptyTable", [] { put(table, ""); }, stream_failure, ""},
        Failure{"TableWithoutX", [] { put(table, "002912\n"); },
                "platform hardware table has no \"x\" before its digits", ""},
        Failure{"MissingMaxBrightness", [] { testing_support::remove(max_brightness); }, stream_failure, " errno 2"},
        Failure{"MaxBrightnessThatIsNoNumber", [] { put(max_brightness, "full\n"); }, stream_failure, ""},
        Failure{"MissingPeriod", [] { testing_support::remove(period); }, stream_failure, " errno 2"},
        Failure{"MissingDuty", [] { testing_support::remove(duty); }, stream_failure, " errno 2"},
        Failure{"MissingChannel", [] { testing_support::remove(pwm); }, stream_failure, " errno 2"}),
    [](const auto& instance) { return instance.param.name; });

TEST(StartUpWithFailingActs, EveryActThatMattersFailsTheStart) {
    VELMOR_NEEDS_RECORDER();
    const std::string thermal = "/sys/class/thermal/";
    reset_device();
    const std::vector<std::string> acts = run_in_child(Recorder(), ask_es).acts;
    std::map<std::string, int> nth;
    for (const std::string& act : acts) {
        std::string match = act;
        if (act.starts_with("write ")) match = act.substr(0, act.find(' ', 6));
        reset_device();
        const ChildResult result = run_in_child(Recorder().fail(match, EIO, ++nth[match]), [] {
            const std::string first = ask_es();
            reset_device();  // what a refused write has emptied is a driver's attribute on the device
            return joined({first, ask_es()});
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
    explicit FirstCallers(std::size_t count) : answers_(count) {
        for (std::string& text : answers_) {
            threads_.emplace_back([this, &text] {
                ++calling_;
                text = ask_es();
                ++finished_;
            });
        }
        wait_until([this] { return calling_ == threads_.size(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets them run into the mutex
    }

    std::size_t finished() const { return finished_; }

    std::string answers() {
        for (std::thread& thread : threads_) thread.join();
        std::sort(answers_.begin(), answers_.end());
        std::string text;
        for (const std::string& each : answers_) text += each + ", ";
        return text;
    }

private:
    std::vector<std::string> answers_;
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
    void SetUp() override {
        StartUp::SetUp();
        good_table = content(table);
    }

    std::string good_table;
};

// A second start would wait for the FIFO to be fed again.
TEST_F(FirstCallsAtOnce, StartTheBoardOnce) {
    const ChildResult result = run_in_child([this] {
        no_longer_than(20);
        Fifo fifo(table);
        FirstCallers callers(2);
        fifo.hold();
        fifo.feed(good_table);
        return callers.answers();
    });
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "0: true, 0: true, ");
    EXPECT_EQ(result.error_text, "");
}

TEST_F(FirstCallsAtOnce, EachSeesAFailureOfItsOwn) {
    const ChildResult result = run_in_child([] {
        no_longer_than(20);
        Fifo fifo(table);
        FirstCallers callers(2);
        fifo.hold();
        fifo.feed("002912\n");
        wait_until([&] { return callers.finished() == 1; });
        fifo.hold();
        fifo.feed("002912\n");
        return callers.answers();
    });
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "-1: untouched, -1: untouched, ");
    constexpr char start[] = "cannot set board resources: platform hardware table has no \"x\" before its digits";
    constexpr char call[] = "es_present failed: cannot initialize board data";
    EXPECT_THAT(sorted_lines(result.error_text), ElementsAre(start, start, call, call));
}

TEST_F(FirstCallsAtOnce, TheSecondStartsTheBoardWhereTheFirstHasFailed) {
    const ChildResult result = run_in_child([this] {
        no_longer_than(20);
        Fifo fifo(table);
        FirstCallers callers(2);
        fifo.hold();
        fifo.feed("002912\n");
        wait_until([&] { return callers.finished() == 1; });
        fifo.hold();
        fifo.feed(good_table);
        return callers.answers();
    });
    EXPECT_EQ(result.wait_status, 0);
    EXPECT_EQ(result.output, "-1: untouched, 0: true, ");
}

TEST_F(FirstCallsAtOnce, ManyThreadsGetOneBoard) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult result = run_in_child(Recorder().watch({table}), [] {
        no_longer_than(60);
        FirstCallers callers(16);
        return callers.answers();
    });
    EXPECT_EQ(result.wait_status, 0);
    std::string answers;
    for (int i = 0; i < 16; ++i) answers += "0: true, ";
    EXPECT_EQ(result.output, answers);
    EXPECT_EQ(result.error_text, "");
    EXPECT_EQ(result.acts, in_order({reading(table_version), reading(table)}));
}

// The child starts a board of its own.
TEST_F(StartUp, ChildOfAParentThatHasNotStartedStartsTheBoard) {
    const ChildResult result = run_in_child([] {
        const pid_t child = fork();
        if (child == 0) _exit(ask_es() == "0: true" ? 42 : 43);
        int status = 0;
        waitpid(child, &status, 0);
        return joined({std::to_string(WEXITSTATUS(status)), ask_es()});
    });
    EXPECT_EQ(result.output, "42, 0: true");
}

TEST_F(StartUp, ChildOfAParentThatHasFailedToStartTriesAgain) {
    testing_support::remove(table);
    const ChildResult result = run_in_child([] {
        const std::string text = ask_es();
        reset_device();
        const pid_t child = fork();
        if (child == 0) _exit(ask_es() == "0: true" ? 42 : 43);
        int status = 0;
        waitpid(child, &status, 0);
        return joined({text, std::to_string(WEXITSTATUS(status)), ask_es()});
    });
    EXPECT_EQ(result.output, "-1 errno 2: untouched, 42, 0: true");
}

}  // namespace
