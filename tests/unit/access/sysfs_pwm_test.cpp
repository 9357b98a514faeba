// SPDX-License-Identifier: MIT
#include "access/sysfs_pwm.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/pwm_channel_test.h"

using testing::ElementsAre;
using Velmor::SysFSPWM;
using namespace testing_support;

namespace {

class SysFSPWMTest : public PwmChannelTest {
protected:
    /** Expects these writes, "duty 0" and the like, and that the code throws this. */
    template <typename Code>
    void expect_writes(const Recorder& recorder, Code code, const Acts& writes, const std::string& throws) const {
        const ChildResult child = run_in_child(recorder, [&] { return thrown(code); });
        EXPECT_EQ(acts_after("write " + path_ + "/", child.acts), writes);
        EXPECT_EQ(child.output, throws);
    }

    SysFSPWM pwm_{path_, 1000, 40};  // 400000 ns of 1000000
};

using SysFSPWMActs = Recorded<SysFSPWMTest>;

TEST_F(SysFSPWMTest, ConstructionProgramsPeriodAndDutyAndDestructionChangesNothing) {
    expect_channel("1000000", "400000");
    { const SysFSPWM pwm(path_, 2000, 25); }
    expect_channel("500000", "125000");
    put_channel("2000000", "500000");
    const SysFSPWM with_the_same_duty(path_, 1000, -1);
    expect_channel("1000000", "250000");
}

TEST_F(SysFSPWMTest, ConstructionThrowsWhatSettingTheFrequencyThrows) {
    EXPECT_EQ(thrown([&] { SysFSPWM(path_, 0, 50); }), bad_frequency);
    EXPECT_EQ(thrown([&] { SysFSPWM(path_, 1000, 101); }), bad_duty);
    EXPECT_EQ(thrown([&] { SysFSPWM(directory_ / "absent", 1000, 50); }), "stream failure");
}

TEST_F(SysFSPWMTest, DutyIsSetInNanosecondsOfTheCurrentPeriod) {
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
        put_channel(row.period, "0");
        pwm_.set_duty(row.percent);
        SCOPED_TRACE(testing::Message() << row.percent << " % of " << row.period);
        expect_channel(std::string(row.period) + "\n", row.duty);
    }
}

TEST_F(SysFSPWMTest, DutyAboveHundredPercentWritesNothing) {
    for (const std::uint32_t percent : {101U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(thrown([&] { pwm_.set_duty(percent); }), bad_duty);
        EXPECT_EQ(content(duty_), "400000");
    }
}

TEST_F(SysFSPWMTest, DutyIsReadInPercentOfThePeriod) {
    const struct {
        const char* period;
        const char* duty;
        std::uint32_t percent;
    } rows[] = {
        {.period = "1000000", .duty = "250000", .percent = 25},
        {.period = "1000000", .duty = "259999", .percent = 25},  // truncated
        {.period = "1000000", .duty = "0", .percent = 0},
        {.period = "1000000", .duty = "1000000", .percent = 100},
        {.period = "1000", .duty = "2000", .percent = 200},  // not checked
        {.period = "0", .duty = "0", .percent = 0},
        {.period = "0", .duty = "250000", .percent = 0},
        {.period = "50000000", .duty = "50000000", .percent = 14},  // 5000000000 wraps to 705032704
        {.period = "1", .duty = "42949672", .percent = 4294967200U},
        {.period = "1000", .duty = "-1", .percent = 4294967},  // -1 is 2^32 - 1 here, times 100 is 2^32 - 100
        {.period = "-1", .duty = "42949672", .percent = 0},
    };
    for (const auto& row : rows) {
        put_channel(row.period, row.duty);
        EXPECT_EQ(pwm_.get_duty(), row.percent) << row.duty << " of " << row.period;
    }
}

TEST_F(SysFSPWMTest, EveryDutyIsReadBackAsItWasSet) {
    for (std::uint32_t percent = 0; percent <= 100; ++percent) {
        pwm_.set_duty(percent);
        EXPECT_EQ(pwm_.get_duty(), percent);
    }
}

TEST_F(SysFSPWMTest, FrequencyIsOneSecondDividedByThePeriod) {
    const std::pair<const char*, int> rows[] = {
        {"1000000", 1000}, {"500", 2000000},  {"1000000000", 1},   {"999999", 1000},   {"600000000", 1},
        {"0", 0},          {"2147483647", 0}, {"-1", -1000000000}, {"-2147483648", 0}, {"1", 1000000000}};
    for (const auto& [period, hertz] : rows) {
        put_channel(period, "0");
        EXPECT_EQ(pwm_.get_frequency(), hertz) << period;
    }
}

TEST_F(SysFSPWMTest, PeriodAndStatusAreReadUnchanged) {
    for (const int number : {0, 1, 2, -1, INT_MAX, INT_MIN}) {
        put_channel(std::to_string(number), "0", std::to_string(number));
        EXPECT_EQ(pwm_.get_period(), number);
        EXPECT_EQ(pwm_.is_enabled(), number);
    }
}

TEST_F(SysFSPWMTest, StatusIsSetToZeroOrOneAndNothingElseIsWritten) {
    pwm_.disable();
    expect_channel("1000000", "400000", "0");
    pwm_.enable();
    expect_channel("1000000", "400000", "1");
    pwm_.set_status(0);
    EXPECT_EQ(content(status_), "0");
    pwm_.set_status(1);
    for (const std::uint32_t other : {2U, 256U, 0xFFFFFFFFU}) {
        EXPECT_EQ(content(status_), "1");
        EXPECT_EQ(thrown([&] { pwm_.set_status(other); }), "range_error PWM status out of range");
    }
    EXPECT_EQ(content(status_), "1");
}

TEST_F(SysFSPWMActs, DutyIsOneReadAndOneWriteAndTheStatusOneWrite) {
    put(period_, "1000000\n");
    expect_acts([&] { pwm_.set_duty(25); }, in_order({read_acts(period_), write_acts(duty_, "250000")}));
    expect_acts([&] { pwm_.enable(); }, write_acts(status_, "1"));
    expect_acts([&] { pwm_.disable(); }, write_acts(status_, "0"));
    // A value out of range touches no file.
    expect_acts([&] { pwm_.set_duty(101); }, {}, bad_duty);
    expect_acts([&] { pwm_.set_frequency(2000001, 101); }, {}, bad_frequency);  // checked before the duty
}

TEST_F(SysFSPWMTest, FrequencySetsThePeriodAndThenTheDuty) {
    const struct {
        int hertz;
        int percent;
        const char* period;
        const char* duty;
    } rows[] = {
        {.hertz = 1, .percent = -1, .period = "1000000000", .duty = "0\n"},
        {.hertz = 1, .percent = 50, .period = "1000000000", .duty = "27553597"},  // wraps
        {.hertz = 2, .percent = -1, .period = "500000000", .duty = "0\n"},
        {.hertz = 3, .percent = -1, .period = "333333333", .duty = "0\n"},
        {.hertz = 1999999, .percent = -1, .period = "500", .duty = "0\n"},
        {.hertz = 2000000, .percent = -1, .period = "500", .duty = "0\n"},
    };
    for (const auto& row : rows) {
        put_channel("0", "0");
        pwm_.set_frequency(row.hertz, row.percent);
        SCOPED_TRACE(testing::Message() << row.hertz << " Hz, " << row.percent << " %");
        expect_channel(row.period, row.duty);
    }
    put_channel("1000000", "400000");
    pwm_.set_frequency(2000, -1);
    expect_channel("500000", "200000");  // 40 % are kept
}

TEST_F(SysFSPWMTest, DutyOutOfRangeFailsAfterThePeriodHasBeenWritten) {
    for (const int percent : {101, -2, INT_MAX, INT_MIN}) {
        put_channel("1000000", "400000");
        EXPECT_EQ(thrown([&] { pwm_.set_frequency(2000, percent); }), bad_duty);
        expect_channel("500000", "0");
    }
    put_channel("1000", "2000");  // 200 % is not kept
    EXPECT_EQ(thrown([&] { pwm_.set_frequency(2000, -1); }), bad_duty);
    expect_channel("500000", "0");
}

TEST_F(SysFSPWMTest, FrequencyOutOfRangeWritesNothing) {
    put_channel("1000000", "400000");
    for (const int hertz : {0, -1, INT_MIN, 2000001, 1000000001, INT_MAX}) {
        EXPECT_EQ(thrown([&] { pwm_.set_frequency(hertz, 50); }), bad_frequency) << hertz;
        expect_channel("1000000\n", "400000\n");
    }
}

TEST_F(SysFSPWMActs, FrequencyWritesDutyZeroThenThePeriodThenTheDuty) {
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
        // A duty below one percent reads as 0 and is not set to 0.
        {.present = "9999", .percent = 75, .writes = {"period 500000", "duty 375000"}},
        {.present = "9999", .percent = 0, .writes = {"period 500000"}},
        {.present = "9999", .percent = -1, .writes = {"period 500000"}},
        // The new duty is checked after the period has been written.
        {.present = "400000", .percent = 101, .writes = {"duty 0", "period 500000"}, .throws = bad_duty},
        {.present = "0", .percent = 101, .writes = {"period 500000"}, .throws = bad_duty},
        {.present = "9999", .percent = 101, .writes = {"period 500000"}, .throws = bad_duty},
    };
    for (const auto& row : rows) {
        put_channel("1000000", row.present);
        SCOPED_TRACE(testing::Message() << row.present << ", " << row.percent << " %");
        expect_writes(
            recorder(), [&] { pwm_.set_frequency(2000, row.percent); }, row.writes, row.throws);
    }
}

TEST_F(SysFSPWMActs, FailureHalfwayIsNotRolledBack) {
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
        put_channel("1000000", "400000");
        SCOPED_TRACE(row.failing);
        expect_writes(
            recorder().fail(row.failing, EIO, row.nth), [&] { pwm_.set_frequency(2000, -1); }, row.writes,
            "stream failure");
    }
}

TEST_F(SysFSPWMTest, AttributeThatIsNoNumberOrIsMissingIsAStreamFailure) {
    put(period_, "none\n");
    EXPECT_THROW(pwm_.get_period(), std::ios_base::failure);
    EXPECT_THROW(pwm_.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm_.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm_.set_duty(1), std::ios_base::failure);
    EXPECT_THROW(pwm_.set_frequency(1000, 1), std::ios_base::failure);
    EXPECT_EQ(content(duty_), "400000");

    put_channel("1000000", "2147483648");  // more than the largest int
    EXPECT_THROW(pwm_.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm_.set_frequency(2000, 1), std::ios_base::failure);
    EXPECT_EQ(content(period_), "1000000\n");

    remove(path_);
    EXPECT_THROW(pwm_.is_enabled(), std::ios_base::failure);
    EXPECT_THROW(pwm_.enable(), std::ios_base::failure);
    EXPECT_THROW(pwm_.disable(), std::ios_base::failure);
}

class WithOtherDuty : public SysFSPWM {
public:
    using SysFSPWM::SysFSPWM;

    std::uint32_t get_duty() const override { return 40; }
    void set_duty(std::uint32_t percent) override { percents.push_back(percent); }

    std::vector<std::uint32_t> percents;
};

TEST_F(SysFSPWMTest, FrequencyGoesThroughOverriddenDutyOperationsOnceConstructed) {
    WithOtherDuty pwm(path_, 1000, 25);
    EXPECT_EQ(content(duty_), "250000");
    pwm.set_frequency(2000, -1);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U));
    pwm.set_frequency(2000, 75);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U));
    pwm.set_frequency(2000, 0);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U, 0U));
    expect_channel("500000", "250000");
}

}  // namespace
