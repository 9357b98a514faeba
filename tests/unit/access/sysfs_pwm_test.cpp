// SPDX-License-Identifier: MIT
#include "access/sysfs_pwm.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;
using testing::ThrowsMessage;
using testing_support::content;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::SysFSPWM;

namespace {

constexpr char bad_duty[] = "PWM duty out of range";
constexpr char bad_frequency[] = "PWM frequency out of range";
constexpr char bad_status[] = "PWM status out of range";

class SysFSPWMTest : public testing::Test {
protected:
    SysFSPWMTest() { program("0", "0"); }

    /** Make the channel a running one with these numbers. */
    void program(const std::string& period, const std::string& duty) const {
        put(path_ + "/period", period + "\n");
        put(path_ + "/duty", duty + "\n");
        put(path_ + "/status", "1\n");
    }

    /** A channel at 1000 Hz with this percentage. */
    SysFSPWM at_1000_hz(int percent) const { return {path_, 1000, percent}; }

    std::string period() const { return content(path_ + "/period"); }
    std::string duty() const { return content(path_ + "/duty"); }
    std::string status() const { return content(path_ + "/status"); }

    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

    /** What was written, in order: "duty 0". */
    std::vector<std::string> writes(const Outcome& outcome) const {
        const std::string start = "write " + path_ + "/";
        std::vector<std::string> result;
        for (const std::string& act : outcome.acts) {
            if (act.starts_with(start)) result.push_back(act.substr(start.size()));
        }
        return result;
    }

    std::vector<std::string> writes_of(const std::function<void()>& code) const {
        return writes(recorder().run([&] {
            code();
            return 0;
        }));
    }

    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "mxc_pwm.1";
};

/** 1 for the stream failure, 0 for none. */
int failure_of(const std::function<void()>& code) {
    try {
        code();
        return 0;
    } catch (const std::ios_base::failure&) {
        return 1;
    }
}

/** The text of the range error that this code throws. */
std::string range_error_of(const std::function<void()>& code) {
    try {
        code();
        return "";
    } catch (const std::range_error& error) {
        return error.what();
    }
}

TEST_F(SysFSPWMTest, ConstructionProgramsPeriodAndDutyAndLeavesTheStatus) {
    const SysFSPWM pwm(path_, 1000, 25);
    EXPECT_EQ(period(), "1000000");
    EXPECT_EQ(duty(), "250000");
    EXPECT_EQ(status(), "1\n");
}

TEST_F(SysFSPWMTest, ConstructionKeepsTheDutyForMinusOne) {
    program("2000000", "500000");
    const SysFSPWM pwm(path_, 1000, -1);
    EXPECT_EQ(period(), "1000000");
    EXPECT_EQ(duty(), "250000");
}

TEST_F(SysFSPWMTest, ConstructionThrowsWhatProgrammingThrows) {
    EXPECT_EQ(range_error_of([&] { const SysFSPWM pwm(path_, 0, 50); }), bad_frequency);
    EXPECT_EQ(range_error_of([&] { const SysFSPWM pwm(path_, 1000, 101); }), bad_duty);
    EXPECT_THROW(SysFSPWM(directory_ / "absent", 1000, 50), std::ios_base::failure);
}

TEST_F(SysFSPWMTest, DestructionChangesNothing) {
    { const SysFSPWM pwm(path_, 1000, 25); }
    EXPECT_EQ(period(), "1000000");
    EXPECT_EQ(duty(), "250000");
    EXPECT_EQ(status(), "1\n");
}

TEST_F(SysFSPWMTest, DutyIsNanosecondsOfThePresentPeriod) {
    SysFSPWM pwm = at_1000_hz(0);
    const struct {
        const char* period;
        std::uint32_t percent;
        const char* duty;
    } rows[] = {
        {"1000000", 25, "250000"},
        {"1000000", 0, "0"},
        {"1000000", 100, "1000000"},
        {"999", 50, "499"},  // truncated
        {"500", 1, "5"},
        {"99", 1, "0"},
        {"0", 50, "0"},
        {"42949672", 100, "42949672"},  // the longest period that does not wrap
        {"42949673", 100, "0"},         // 4294967300 - 2^32 = 4
        {"1000000000", 50, "27553597"},
        {"1000000000", 100, "12157521"},
        {"-1", 2, "42949672"},  // -1 is 2^32 - 1 here
    };
    for (const auto& row : rows) {
        program(row.period, "0");
        pwm.set_duty(row.percent);
        EXPECT_EQ(duty(), row.duty) << row.percent << " % of " << row.period;
        EXPECT_EQ(period(), std::string(row.period) + "\n");
        EXPECT_EQ(status(), "1\n");
    }
}

TEST_F(SysFSPWMTest, DutyAboveHundredPercentWritesNothing) {
    SysFSPWM pwm = at_1000_hz(25);
    for (const std::uint32_t percent : {101U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_THAT([&] { pwm.set_duty(percent); }, ThrowsMessage<std::range_error>(StrEq(bad_duty)));
        EXPECT_EQ(duty(), "250000");
    }
}

TEST_F(SysFSPWMTest, DutyAboveHundredPercentTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(25);
    const Outcome outcome = recorder().run([&] { return range_error_of([&] { pwm.set_duty(101); }) == bad_duty; });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, IsEmpty());
}

TEST_F(SysFSPWMTest, SettingTheDutyIsOneReadAndOneWrite) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    put(path_ + "/period", "1000000\n");
    const Outcome outcome = recorder().run([&] {
        pwm.set_duty(25);
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + "/period r", "read " + path_ + "/period",
                                          "close " + path_ + "/period", "open " + path_ + "/duty w",
                                          "write " + path_ + "/duty 250000", "close " + path_ + "/duty"));
}

TEST_F(SysFSPWMTest, PresentDutyIsPercentOfThePeriod) {
    const SysFSPWM pwm = at_1000_hz(0);
    const struct {
        const char* period;
        const char* duty;
        std::uint32_t percent;
    } rows[] = {
        {"1000000", "250000", 25},
        {"1000000", "259999", 25},  // truncated
        {"1000000", "0", 0},
        {"1000000", "1000000", 100},
        {"1000", "2000", 200},  // passed on unchecked
        {"0", "0", 0},
        {"0", "250000", 0},
        {"50000000", "50000000", 14},  // 5000000000 wraps to 705032704
        {"1", "42949672", 4294967200U},
        {"1000", "-1", 4294967},  // -1 is 2^32 - 1 here, times 100 is 2^32 - 100
        {"-1", "42949672", 0},
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
        put(path_ + "/period", std::to_string(number) + "\n");
        put(path_ + "/status", std::to_string(number) + "\n");
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
        EXPECT_EQ(period(), row.period) << row.hertz;
        EXPECT_EQ(duty(), "0\n");
    }
}

TEST_F(SysFSPWMTest, OtherFrequenciesWriteNothing) {
    SysFSPWM pwm = at_1000_hz(0);
    program("1000000", "400000");
    for (const int hertz : {0, -1, INT_MIN, 2000001, 1000000001, INT_MAX}) {
        EXPECT_THAT([&] { pwm.set_frequency(hertz, 50); }, ThrowsMessage<std::range_error>(StrEq(bad_frequency)))
            << hertz;
        EXPECT_EQ(period(), "1000000\n");
        EXPECT_EQ(duty(), "400000\n");
    }
}

TEST_F(SysFSPWMTest, FrequencyIsCheckedBeforeAnyFileAndBeforeTheDuty) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    const Outcome outcome =
        recorder().run([&] { return range_error_of([&] { pwm.set_frequency(2000001, 101); }) == bad_frequency; });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, IsEmpty());
}

TEST_F(SysFSPWMTest, LongestPeriodWrapsItsDuty) {
    SysFSPWM pwm = at_1000_hz(0);
    pwm.set_frequency(1, 50);
    EXPECT_EQ(period(), "1000000000");
    EXPECT_EQ(duty(), "27553597");
}

TEST_F(SysFSPWMTest, KeptDutyIsThatOfTheNewPeriod) {
    SysFSPWM pwm = at_1000_hz(40);
    pwm.set_frequency(2000, -1);
    EXPECT_EQ(period(), "500000");
    EXPECT_EQ(duty(), "200000");
    EXPECT_EQ(status(), "1\n");
}

TEST_F(SysFSPWMTest, NewFrequencyWritesDutyZeroThenThePeriodThenTheDuty) {
    VELMOR_NEEDS_RECORDER();
    const struct {
        const char* present;
        int percent;
        std::vector<std::string> writes;
    } rows[] = {
        {"400000", -1, {"duty 0", "period 500000", "duty 200000"}},
        {"400000", 75, {"duty 0", "period 500000", "duty 375000"}},
        {"400000", 100, {"duty 0", "period 500000", "duty 500000"}},
        {"400000", 0, {"duty 0", "period 500000"}},
        {"0", -1, {"period 500000"}},
        {"0", 0, {"period 500000"}},
        {"0", 75, {"period 500000", "duty 375000"}},
        // Below one percent counts as none, and is not written to.
        {"9999", 75, {"period 500000", "duty 375000"}},
        {"9999", 0, {"period 500000"}},
        {"9999", -1, {"period 500000"}},
    };
    SysFSPWM pwm = at_1000_hz(0);
    for (const auto& row : rows) {
        program("1000000", row.present);
        EXPECT_EQ(writes_of([&] { pwm.set_frequency(2000, row.percent); }), row.writes)
            << row.present << ", " << row.percent << " %";
    }
}

TEST_F(SysFSPWMTest, NewFrequencyWithDutyOutOfRangeFailsAfterThePeriod) {
    for (const int percent : {101, -2, INT_MAX, INT_MIN}) {
        SysFSPWM pwm = at_1000_hz(40);
        EXPECT_THAT([&] { pwm.set_frequency(2000, percent); }, ThrowsMessage<std::range_error>(StrEq(bad_duty)));
        EXPECT_EQ(period(), "500000");
        EXPECT_EQ(duty(), "0");
    }
}

TEST_F(SysFSPWMTest, NewFrequencyWithDutyOutOfRangeWritesDutyZeroOnlyWhereItWasNot) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    program("1000000", "400000");
    EXPECT_THAT(writes_of([&] { range_error_of([&] { pwm.set_frequency(2000, 101); }); }),
                ElementsAre("duty 0", "period 500000"));
    for (const char* none : {"0", "9999"}) {
        program("1000000", none);
        EXPECT_THAT(writes_of([&] { range_error_of([&] { pwm.set_frequency(2000, 101); }); }),
                    ElementsAre("period 500000"))
            << none;
    }
}

TEST_F(SysFSPWMTest, KeptDutyAboveHundredPercentFailsAfterThePeriod) {
    SysFSPWM pwm = at_1000_hz(0);
    program("1000", "2000");
    EXPECT_EQ(range_error_of([&] { pwm.set_frequency(2000, -1); }), bad_duty);
    EXPECT_EQ(period(), "500000");
    EXPECT_EQ(duty(), "0");
}

TEST_F(SysFSPWMTest, FailureInTheMiddleIsNotRolledBack) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(0);
    const struct {
        std::string act;
        int nth;
        std::vector<std::string> writes;
    } rows[] = {
        {"read " + path_ + "/period", 1, {}},
        {"read " + path_ + "/duty", 1, {}},
        {"write " + path_ + "/duty", 1, {"duty 0 = EIO"}},
        {"write " + path_ + "/period", 1, {"duty 0", "period 500000 = EIO"}},
        {"read " + path_ + "/period", 3, {"duty 0", "period 500000"}},
        {"write " + path_ + "/duty", 2, {"duty 0", "period 500000", "duty 200000 = EIO"}},
    };
    for (const auto& row : rows) {
        program("1000000", "400000");
        const Outcome outcome = recorder().fail(row.act, EIO, row.nth).run([&] {
            return failure_of([&] { pwm.set_frequency(2000, -1); });
        });
        EXPECT_EQ(outcome.result, 1) << row.act;
        EXPECT_EQ(writes(outcome), row.writes) << row.act;
    }
}

TEST_F(SysFSPWMTest, EnableAndDisableWriteTheStatusOnly) {
    SysFSPWM pwm = at_1000_hz(40);
    pwm.disable();
    EXPECT_EQ(status(), "0");
    pwm.enable();
    EXPECT_EQ(status(), "1");
    EXPECT_EQ(period(), "1000000");
    EXPECT_EQ(duty(), "400000");
}

TEST_F(SysFSPWMTest, StatusIsZeroOrOne) {
    SysFSPWM pwm = at_1000_hz(0);
    pwm.set_status(0);
    EXPECT_EQ(status(), "0");
    pwm.set_status(1);
    EXPECT_EQ(status(), "1");
    for (const std::uint32_t other : {2U, 256U, 0xFFFFFFFFU}) {
        EXPECT_THAT([&] { pwm.set_status(other); }, ThrowsMessage<std::range_error>(StrEq(bad_status)));
        EXPECT_EQ(status(), "1");
    }
}

TEST_F(SysFSPWMTest, SwitchingIsOneWrite) {
    VELMOR_NEEDS_RECORDER();
    SysFSPWM pwm = at_1000_hz(40);
    const Outcome outcome = recorder().run([&] {
        pwm.enable();
        pwm.disable();
        return 0;
    });
    const std::string file = path_ + "/status";
    EXPECT_THAT(outcome.acts, ElementsAre("open " + file + " w", "write " + file + " 1", "close " + file,
                                          "open " + file + " w", "write " + file + " 0", "close " + file));
}

TEST_F(SysFSPWMTest, UnusableAttributesAreTheStreamFailure) {
    SysFSPWM pwm = at_1000_hz(40);
    put(path_ + "/period", "none\n");
    EXPECT_THROW(pwm.get_period(), std::ios_base::failure);
    EXPECT_THROW(pwm.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm.set_duty(1), std::ios_base::failure);
    EXPECT_THROW(pwm.set_frequency(1000, 1), std::ios_base::failure);
    EXPECT_EQ(duty(), "400000");

    program("1000000", "2147483648");  // more than the largest int
    EXPECT_THROW(pwm.get_duty(), std::ios_base::failure);
    EXPECT_THROW(pwm.set_frequency(2000, 1), std::ios_base::failure);
    EXPECT_EQ(period(), "1000000\n");

    testing_support::remove(path_);
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
    EXPECT_EQ(duty(), "250000");  // under construction it is no stand-in yet
    pwm.set_frequency(2000, -1);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U));
    pwm.set_frequency(2000, 75);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U));
    pwm.set_frequency(2000, 0);
    EXPECT_THAT(pwm.percents, ElementsAre(0U, 40U, 0U, 75U, 0U));
    EXPECT_EQ(duty(), "250000");
    EXPECT_EQ(period(), "500000");
}

}  // namespace
