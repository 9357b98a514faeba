// SPDX-License-Identifier: MIT
// The start of the board by the first call. Its acts, and its failure when one of them fails, are in tests/record.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <thread>

#include "system/system_test.h"

using testing::IsEmpty;
using testing::Not;
using namespace testing_support;

namespace {

constexpr char max_brightness[] = "/sys/class/backlight/pwm-backlight.0/max_brightness";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";
constexpr char period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char table[] = "/proc/platform/pht";
constexpr char table_version[] = "/proc/platform/pht_version";

constexpr char bad_table[] = "002912\n";
constexpr char bad_table_cause[] = "platform hardware table has no \"x\" before its digits";

const Scenario query_twice = in_turn({query_es, query_es});

class StartUp : public DeviceTest {};

TEST_F(StartUp, RunningChannelIsSilencedBeforeItsPeriodChanges) {
    VELMOR_NEEDS_RECORDER();
    put(duty, "250000\n");
    EXPECT_EQ(run_in_child(Recorder().watch({"/sys/devices/"}), query_es).acts,
              in_order({read_acts(period), read_acts(duty), read_acts(period), write_acts(duty, "0"),
                        write_acts(period, "370370"), read_to_end_acts(period), write_acts(duty, "185185")}));
}

TEST_F(StartUp, IsNotRepeatedWhenItsFilesHaveGone) {
    const ChildResult child = run_in_child([] {
        const std::string text = query_es();
        for (const char* path : {table_version, table, "/sys/class", pwm}) testing_support::remove(path);
        return joined({text, query_es()});
    });
    EXPECT_THAT(child, returns({present, present}));
}

TEST_F(StartUp, AnyFunctionCanBeTheFirst) {
    EXPECT_THAT(run_in_child(call(power_suspend)), returns(succeeds()));
    EXPECT_EQ(content(period), "370370");
}

// ---- A start that fails --------------------------------------------------------------------------------------------

struct Failure {
    std::string name;
    void (*break_device)();
    std::string cause = stream_failure;
    CallResult result = refuses(untouched);  // of the call
};

class FailingStartUp : public StartUp, public testing::WithParamInterface<Failure> {
protected:
    void SetUp() override {
        StartUp::SetUp();
        GetParam().break_device();
    }
};

TEST_P(FailingStartUp, PrintsTwoLinesForEachCallAndIsTriedAgainByTheNext) {
    const ChildResult child = run_in_child([] {
        const std::string text = joined({query_es(), result_of(backlight_get, 0)});
        reset_device();
        return joined({text, query_es()});
    });
    const Failure& start = GetParam();
    EXPECT_THAT(child, returns({start.result, start.result, present},
                               start_failed("es_present", start.cause) + start_failed("backlight_get", start.cause)));
    EXPECT_EQ(content(period), "370370");
}

TEST_P(FailingStartUp, StartsFromScratchEachTime) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult once = run_in_child(Recorder(), query_es);
    SetUp();
    const ChildResult twice = run_in_child(Recorder(), query_twice);
    EXPECT_THAT(once.acts, Not(IsEmpty()));
    EXPECT_EQ(twice.acts, in_order({once.acts, once.acts}));
}

template <const char* path>
Failure missing(const std::string& name) {
    return {name, [] { testing_support::remove(path); }, stream_failure, file_fails_with(ENOENT, untouched)};
}

const Failure failures[] = {
    missing<table_version>("MissingTableVersion"),
    missing<table>("MissingTable"),
    missing<max_brightness>("MissingMaxBrightness"),
    missing<period>("MissingPeriod"),
    missing<duty>("MissingDuty"),
    missing<pwm>("MissingChannel"),
    {"TableVersionThatIsNoNumber", [] { put(table_version, "one\n"); }},
    {"UnknownTableVersion", [] { put(table_version, "4\n"); }, "Invalid PHT table version 4: No such device"},
    {"EmptyTable", [] { put(table, ""); }},
    {"TableWithoutX", [] { put(table, bad_table); }, bad_table_cause},
    {"MaxBrightnessThatIsNoNumber", [] { put(max_brightness, "full\n"); }},
};

INSTANTIATE_TEST_SUITE_P(Board, FailingStartUp, testing::ValuesIn(failures),
                         [](const auto& instance) { return instance.param.name; });

// ---- Several threads -----------------------------------------------------------------------------------------------

/** Threads that all make their first call. */
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

    /** What the calls return, in alphabetical order. */
    std::string outputs() {
        for (std::thread& thread : threads_) thread.join();
        std::sort(outputs_.begin(), outputs_.end());
        std::string text;
        for (const std::string& each : outputs_) text = joined({text, each});
        return text;
    }

private:
    std::vector<std::string> outputs_;
    std::vector<std::thread> threads_;
    std::atomic<std::size_t> calling_{0};
    std::atomic<std::size_t> finished_{0};
};

/** Two first callers. The first start reads the first table, and another start the second, if there is one. */
ChildResult run_two_callers(const std::string& first_table, const std::string& second_table = "") {
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

const CallResult not_started = refuses(untouched);

// A second start would wait for the FIFO to be fed again.
TEST_F(StartUp, IsMadeOnceForTwoThreads) {
    EXPECT_THAT(run_two_callers(content(table)), returns({present, present}));
}

TEST_F(StartUp, ThatFailsIsMadeByEachOfTwoThreads) {
    EXPECT_THAT(run_two_callers(bad_table, bad_table),
                returns({not_started, not_started},
                        start_failed("es_present", bad_table_cause) + start_failed("es_present", bad_table_cause)));
}

TEST_F(StartUp, IsMadeByTheSecondThreadIfTheFirstHasFailed) {
    EXPECT_THAT(run_two_callers(bad_table, content(table)),
                returns({not_started, present}, start_failed("es_present", bad_table_cause)));
}

TEST_F(StartUp, IsMadeOnceForManyThreads) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(Recorder().watch({table}), [] {
        no_longer_than(60);
        FirstCallers callers(16);
        return callers.outputs();
    });
    std::string expected;
    for (int i = 0; i < 16; ++i) expected = joined({expected, present});
    EXPECT_THAT(child, returns(expected));
    EXPECT_EQ(child.acts, in_order({read_acts(table_version), read_acts(table)}));
}

// ---- Forked children -----------------------------------------------------------------------------------------------

std::string query_in_a_forked_child() {
    return run_forked([] { return query_es() == present; });
}

TEST_F(StartUp, OfAForkedChildIsItsOwn) {
    EXPECT_THAT(run_in_child(in_turn({query_in_a_forked_child, query_es})), returns(joined({"success", present})));
}

TEST_F(StartUp, OfAForkedChildIsTriedAgainAfterItsParentsHasFailed) {
    testing_support::remove(table);
    const ChildResult child = run_in_child([] {
        const std::string text = query_es();
        reset_device();
        return joined({text, query_in_a_forked_child(), query_es()});
    });
    EXPECT_THAT(child, returns(joined({file_fails_with(ENOENT, untouched), "success", present}),
                               start_failed("es_present", stream_failure)));
}

}  // namespace
