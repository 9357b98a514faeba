// SPDX-License-Identifier: MIT
#include "access/sysfs_pwm.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "support/files_test.h"

using testing::ElementsAre;
using Velmor::SysFSPWM;
using namespace testing_support;

namespace {

constexpr char bad_duty[] = "range_error PWM duty out of range";
constexpr char bad_frequency[] = "range_error PWM frequency out of range";
constexpr char bad_status[] = "range_error PWM status out of range";

class SysFSPWMTest : public FilesTest {
protected:
    SysFSPWMTest() { program("0", "0"); }

    /** Make the channel a running one with these numbers. */
    void program(const std::string& period, const std::string& duty) const {
        put(period_, period + "\n");
        put(duty_, duty + "\n");
        put(status_, "1\n");
    }

    /** A channel at 1000 Hz with this percentage. */
    SysFSPWM at_1000_hz(int percent) const { return {path_, 1000, percent}; }

    void expect_channel(const std::string& period, const std::string& duty, const std::string& status = "1\n") const {
        EXPECT_EQ(content(period_), period);
        EXPECT_EQ(content(duty_), duty);
        EXPECT_EQ(content(status_), status);
    }

    /** What is written, in order: "duty 0"; and that it throws this. */
    template <typename Code>
    void expect_writes(const Recorder& recorder, Code code, const Acts& writes, const std::string& throws) const {
        const ChildResult child = run_in_child(recorder, [&] { return thrown(code); });
        const std::string start = "write " + path_ + "/";
        Acts seen;
        for (const std::string& act : child.acts) {
            if (act.starts_with(start)) seen.push_back(act.substr(start.size()));
        }
        EXPECT_EQ(seen, writes);
        EXPECT_EQ(child.output, throws);
    }

    const std::string path_ = directory_ / "mxc_pwm.1";
    const std::string period_ = path_ + "/period";
    const std::string duty_ = path_ + "/duty";
    const std::string status_ = path_ + "/status";
};

TEST_F(SysFSPWMTest, ConstructionProgramsPeriodAndDutyAndDestructionChangesNothing) {
    {
        const SysFSPWM pwm(path_, 1000, 25);
        expect_channel("1000000", "250000");
    }
    expect_channel("1000000", "250000");
}

TEST_F(SysFSPWMTest, ConstructionKeepsTheDutyForMinusOne) {
    program("2000000", "500000");
    const SysFSPWM pwm(path_, 1000, -1);
    expect_channel("1000000", "250000");
}

TEST_F(SysFSPWMTest, ConstructionThrowsWhatProgrammingThrows) {
    EXPECT_EQ(thrown([&] { SysFSPWM(path_, 0, 50); }), bad_frequency);
    EXPECT_EQ(thrown([&] { SysFSPWM(path_, 1000, 101); }), bad_duty);
    EXPECT_EQ(thrown([&] { SysFSPWM(directory_ / "absent", 1000, 50); }), "stream failure");
}

TEST_F(SysFSPWMTest, DutyIsNanosecondsOfThePresentPeriod) {
    SysFSPWM pwm = at_1000_hz(0);
    const struct {
        const char* period;
        std::uint32_t percent;
        const char* duty;
    } rows[] = {
        {.period = "1000000", .percent = 25, .duty = "250000"},
        {.period = "1000000", .percent = 0, .duty = "0"},
        {.period = "1000000", .percent = 100, .duty = "1000000"},
        {.period = "999", .percent = 50, .duty = "499"},  // truncated
        {.period = "500", .percent = 1, .duty = "5"},
        {.period = "99", .percent = 1, .duty = "0"},
        {.period = "0", .percent = 50, .duty = "0"},
        {.period = "42949672", .percent = 100, .duty = "42949672"},  // the longest period that does not wrap
        {.period = "42949673", .percent = 100, .duty = "0"},         // 4294967300 - 2^32 = 4
        {.period = "1000000000", .percent = 50, .duty = "27553597"},
        {.period = "1000000000", .percent = 100, .duty = "12157521"},
        {.period = "-1", .percent = 2, .duty = "42949672"},  // -1 is 2^32 - 1 here
    };
    for (const auto& row : rows) {
        program(row.period, "0");
        pwm.set_duty(row.percent);
        SCOPED_TRACE(testing::Message() << row.percent << " % of " << row.period);
        expect_channel(std::string(row.period) + "\n", row.duty);
    }
}

TEST_F(SysFSPWMTest, DutyAboveHundredPercentWritesNothing) {
    SysFSPWM pwm = at_1000_hz(25);
    for (const std::uint32_t percent : {101U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { pwm.set_duty(percent); }), bad_duty);
        EXPECT_EQ(content(duty_), "250000");
    }
}

TEST_F(SysFSPWMTest, DutyAboveHundredPercentTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(25);
    expect_acts([&] { pwm.set_duty(101); }, {}, bad_duty);
}

TEST_F(SysFSPWMTest, SettingTheDutyIsOneReadAndOneWrite) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    put(period_, "1000000\n");
    expect_acts([&] { pwm.set_duty(25); }, in_order({read_acts(period_), write_acts(duty_, "250000")}));
}

TEST_F(SysFSPWMTest, PresentDutyIsPercentOfThePeriod) {
    const SysFSPWM pwm = at_1000_hz(0);
    const struct {
        const char* period;
        const char* duty;
        std::uint32_t percent;
    } rows[] = {
        {.period = "1000000", .duty = "250000", .percent = 25},
        {.period = "1000000", .duty = "259999", .percent = 25},  // truncated
        {.period = "1000000", .duty = "0", .percent = 0},
        {.period = "1000000", .duty = "1000000", .percent = 100},
        {.period = "1000", .duty = "2000", .percent = 200},  // passed on unchecked
        {.period = "0", .duty = "0", .percent = 0},
        {.period = "0", .duty = "250000", .percent = 0},
        {.period = "50000000", .duty = "50000000", .percent = 14},  // 5000000000 wraps to 705032704
        {.period = "1", .duty = "42949672", .percent = 4294967200U},
        {.period = "1000", .duty = "-1", .percent = 4294967},  // -1 is 2^32 - 1 here, times 100 is 2^32 - 100
        {.period = "-1", .duty = "42949672", .percent = 0},
    };
    for (const auto& row : rows) {
        program(row.period, row.duty);
        EXPECT_EQ(pwm.get_duty(), row.percent) << row.duty << " of " << row.period;
    }
}

TEST_F(SysFSPWMTest, DutyThatWasSetIsReadBack) {
    SysFSPWM pwm = at_1000_hz(0);
    for (std::uint32_t percent = 0; percent <= 100; ++percent) {
        pwm.set_duty(percent);
        EXPECT_EQ(pwm.get_duty(), percent);
    }
}

TEST_F(SysFSPWMTest, FrequencyIsOneSecondByThePeriod) {
    const SysFSPWM pwm = at_1000_hz(0);
    const struct {
        const char* period;
        int hertz;
    } rows[] = {{"1000000", 1000}, {"500", 2000000},  {"1000000000", 1},   {"999999", 1000},   {"600000000", 1},
                {"0", 0},          {"2147483647", 0}, {"-1", -1000000000}, {"-2147483648", 0}, {"1", 1000000000}};
    for (const auto& row : rows) {
        program(row.period, "0");
        EXPECT_EQ(pwm.get_frequency(), row.hertz) << row.period;
    }
}

TEST_F(SysFSPWMTest, PeriodAndStatusAreReadAsTheyAre) {
    const SysFSPWM pwm = at_1000_hz(0);
    for (const int number : {0, 1, 2, -1, INT_MAX, INT_MIN}) {
        put(period_, std::to_string(number) + "\n");
        put(status_, std::to_string(number) + "\n");
        EXPECT_EQ(pwm.get_period(), number);
        EXPECT_EQ(pwm.is_enabled(), number);
    }
}

TEST_F(SysFSPWMTest, AcceptedFrequenciesAreOneHertzToTwoMegahertz) {
    SysFSPWM pwm = at_1000_hz(0);
    const struct {
        int hertz;
        const char* period;
    } rows[] = {{1, "1000000000"}, {2, "500000000"}, {3, "333333333"}, {1999999, "500"}, {2000000, "500"}};
    for (const auto& row : rows) {
        program("0", "0");
        pwm.set_frequency(row.hertz, -1);
        SCOPED_TRACE(row.hertz);
        expect_channel(row.period, "0\n");
    }
}

TEST_F(SysFSPWMTest, OtherFrequenciesWriteNothing) {
    SysFSPWM pwm = at_1000_hz(0);
    program("1000000", "400000");
    for (const int hertz : {0, -1, INT_MIN, 2000001, 1000000001, INT_MAX}) {
        EXPECT_EQ(thrown([&] { pwm.set_frequency(hertz, 50); }), bad_frequency) << hertz;
        expect_channel("1000000\n", "400000\n");
    }
}

TEST_F(SysFSPWMTest, FrequencyIsCheckedBeforeAnyFileAndBeforeTheDuty) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    expect_acts([&] { pwm.set_frequency(2000001, 101); }, {}, bad_frequency);
}

TEST_F(SysFSPWMTest, LongestPeriodWrapsItsDuty) {
    SysFSPWM pwm = at_1000_hz(0);
    pwm.set_frequency(1, 50);
    expect_channel("1000000000", "27553597");
}

TEST_F(SysFSPWMTest, KeptDutyIsThatOfTheNewPeriod) {
    SysFSPWM pwm = at_1000_hz(40);
    pwm.set_frequency(2000, -1);
    expect_channel("500000", "200000");
}

TEST_F(SysFSPWMTest, NewFrequencyWritesDutyZeroThenThePeriodThenTheDuty) {
    VELMOR_NEEDS_RECORDER();
    const struct {
        const char* present;
        int percent;
        Acts writes;
        const char* throws = "nothing";
    } rows[] = {
        {.present = "400000", .percent = -1, .writes = {"duty 0", "period 500000", "duty 200000"}},
        {.present = "400000", .percent = 75, .writes = {"duty 0", "period 500000", "duty 375000"}},
        {.present = "400000", .percent = 100, .writes = {"duty 0", "period 500000", "duty 500000"}},
        {.present = "400000", .percent = 0, .writes = {"duty 0", "period 500000"}},
        {.present = "0", .percent = -1, .writes = {"period 500000"}},
        {.present = "0", .percent = 0, .writes = {"period 500000"}},
        {.present = "0", .percent = 75, .writes = {"period 500000", "duty 375000"}},
        // Below one percent counts as none, and is not written to.
        {.present = "9999", .percent = 75, .writes = {"period 500000", "duty 375000"}},
        {.present = "9999", .percent = 0, .writes = {"period 500000"}},
        {.present = "9999", .percent = -1, .writes = {"period 500000"}},
        // The new duty is checked when the period has been written.
        {.present = "400000", .percent = 101, .writes = {"duty 0", "period 500000"}, .throws = bad_duty},
        {.present = "0", .percent = 101, .writes = {"period 500000"}, .throws = bad_duty},
        {.present = "9999", .percent = 101, .writes = {"period 500000"}, .throws = bad_duty},
    };
    SysFSPWM pwm = at_1000_hz(0);
    for (const auto& row : rows) {
        program("1000000", row.present);
        SCOPED_TRACE(testing::Message() << row.present << ", " << row.percent << " %");
        expect_writes(
            recorder(), [&] { pwm.set_frequency(2000, row.percent); }, row.writes, row.throws);
    }
}

TEST_F(SysFSPWMTest, NewFrequencyWithDutyOutOfRangeFailsAfterThePeriod) {
    for (const int percent : {101, -2, INT_MAX, INT_MIN}) {
        SysFSPWM pwm = at_1000_hz(40);
        EXPECT_EQ(thrown([&] { pwm.set_frequency(2000, percent); }), bad_duty);
        expect_channel("500000", "0");
    }
}

TEST_F(SysFSPWMTest, KeptDutyAboveHundredPercentFailsAfterThePeriod) {
    SysFSPWM pwm = at_1000_hz(0);
    program("1000", "2000");
    EXPECT_EQ(thrown([&] { pwm.set_frequency(2000, -1); }), bad_duty);
    expect_channel("500000", "0");
}

TEST_F(SysFSPWMTest, FailureInTheMiddleIsNotRolledBack) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    const struct {
        std::string failing;
        int nth;
        Acts writes;
    } rows[] = {
        {.failing = "read " + period_, .nth = 1, .writes = {}},
        {.failing = "read " + duty_, .nth = 1, .writes = {}},
        {.failing = "write " + duty_, .nth = 1, .writes = {"duty 0 = EIO"}},
        {.failing = "write " + period_, .nth = 1, .writes = {"duty 0", "period 500000 = EIO"}},
        {.failing = "read " + period_, .nth = 3, .writes = {"duty 0", "period 500000"}},
        {.failing = "write " + duty_, .nth = 2, .writes = {"duty 0", "period 500000", "duty 200000 = EIO"}},
    };
    for (const auto& row : rows) {
        program("1000000", "400000");
        SCOPED_TRACE(row.failing);
        expect_writes(
            recorder().fail(row.failing, EIO, row.nth), [&] { pwm.set_frequency(2000, -1); }, row.writes,
            "stream failure");
    }
}

TEST_F(SysFSPWMTest, EnableAndDisableWriteTheStatusOnly) {
    SysFSPWM pwm = at_1000_hz(40);
    pwm.disable();
    expect_channel("1000000", "400000", "0");
    pwm.enable();
    expect_channel("1000000", "400000", "1");
}

TEST_F(SysFSPWMTest, StatusIsZeroOrOne) {
    SysFSPWM pwm = at_1000_hz(0);
    pwm.set_status(0);
    EXPECT_EQ(content(status_), "0");
    pwm.set_status(1);
    EXPECT_EQ(content(status_), "1");
    for (const std::uint32_t other : {2U, 256U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { pwm.set_status(other); }), bad_status);
        EXPECT_EQ(content(status_), "1");
    }
}

TEST_F(SysFSPWMTest, SwitchingIsOneWrite) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(40);
    expect_acts([&] { pwm.enable(); }, write_acts(status_, "1"));
    expect_acts([&] { pwm.disable(); }, write_acts(status_, "0"));
}

TEST_F(SysFSPWMTest, UnusableAttributesAreTheStreamFailure) {
    SysFSPWM pwm = at_1000_hz(40);
    put(period_, "none\n");
    EXPECT_THROW(pwm.get_period(), std::ios_base::failure);
    EXPECT_THROW(pwm.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm.set_duty(1), std::ios_base::failure);
    EXPECT_THROW(pwm.set_frequency(1000, 1), std::ios_base::failure);
    EXPECT_EQ(content(duty_), "400000");

    program("1000000", "2147483648");  // more than the largest int
    EXPECT_THROW(pwm.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm.set_frequency(2000, 1), std::ios_base::failure);
    EXPECT_EQ(content(period_), "1000000\n");

    remove(path_);
    EXPECT_THROW(pwm.is_enabled(), std::ios_base::failure);
    EXPECT_THROW(pwm.enable(), std::ios_base::failure);
    EXPECT_THROW(pwm.disable(), std::ios_base::failure);
}

// A stand-in may take the place of single operations; programming goes through it.

class Standin : public SysFSPWM {
public:
    using SysFSPWM::SysFSPWM;

    std::uint32_t get_duty() const override { return 40; }
    void set_duty(std::uint32_t percent) override { percents.push_back(percent); }

    std::vector<std::uint32_t> percents;
};

TEST_F(SysFSPWMTest, ProgrammingAsksAndSetsTheDutyThroughTheStandin) {
    Standin pwm(path_, 1000, 25);
    EXPECT_EQ(content(duty_), "250000");  // under construction it is no stand-in yet
    pwm.set_frequency(2000, -1);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U));
    pwm.set_frequency(2000, 75);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U));
    pwm.set_frequency(2000, 0);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U, 0U));
    EXPECT_EQ(content(duty_), "250000");
    EXPECT_EQ(content(period_), "500000");
}

}  // namespace
