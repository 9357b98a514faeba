// SPDX-License-Identifier: MIT
#include "access/io_pwm.h"

#include <gmock/gmock.h>

#include <climits>

#include "support/pwm_channel_test.h"

using Velmor::IO;
using Velmor::IOPWM;
using Velmor::PWM;
using Velmor::Resource;
using namespace testing_support;

namespace {

class IOPWMTest : public PwmChannelTest {
protected:
    IOPWM line_{path_, 1000, 25};
    IO& io_ = line_;
    PWM& pwm_ = line_;
};

using IOPWMActs = Recorded<IOPWMTest>;

TEST_F(IOPWMTest, ConstructionProgramsTheChannelAndLeavesTheStatus) {
    expect_channel("1000000", "250000", "0\n");
}

TEST_F(IOPWMTest, ConstructionThrowsWhatSettingTheFrequencyThrows) {
    EXPECT_EQ(thrown([&] { IOPWM(path_, 0, 50); }), bad_frequency);
    EXPECT_EQ(thrown([&] { IOPWM(directory_ / "absent", 1000, 50); }), "stream failure");
}

TEST_F(IOPWMTest, IsAResourceAndAnIOLineAndAPWMChannel) {
    Resource& resource = line_;
    EXPECT_EQ(dynamic_cast<IO*>(&resource), &io_);
    EXPECT_EQ(dynamic_cast<PWM*>(&resource), &pwm_);
}

TEST_F(IOPWMTest, LevelOneStartsAndLevelZeroStopsAndAnyOtherDoesNothing) {
    io_.set(1);
    expect_channel("1000000", "250000", "1");
    io_.set(0);
    expect_channel("1000000", "250000", "0");
    put(status_, "0\n");
    for (const io_value_t level : {2, -1, 256, INT_MAX, INT_MIN}) {
        EXPECT_EQ(thrown([&] { io_.set(level); }), "nothing");
        expect_channel("1000000", "250000", "0\n");
    }
}

TEST_F(IOPWMActs, LevelIsOneAccessToTheStatus) {
    put(status_, "1\n");
    expect_acts([&] { return io_.get(); }, read_acts(status_), "1");
    expect_acts([&] { io_.set(0); }, write_acts(status_, "0"));
    expect_acts([&] { io_.set(2); }, {});
}

TEST_F(IOPWMTest, LevelIsOneOnlyIfTheStatusIsOne) {
    put(status_, "1\n");
    EXPECT_EQ(io_.get(), 1);
    for (const char* status : {"0\n", "2\n", "-1\n", "2147483647\n"}) {
        put(status_, status);
        EXPECT_EQ(io_.get(), 0) << status;
    }
}

TEST_F(IOPWMTest, StatusThatIsNoNumberOrIsMissingIsAStreamFailure) {
    put(status_, "on\n");
    EXPECT_THROW(io_.get(), std::ios_base::failure);
    remove(path_);
    EXPECT_THROW(io_.set(1), std::ios_base::failure);
    EXPECT_THROW(io_.set(0), std::ios_base::failure);
}

TEST_F(IOPWMTest, ChannelOperationsReachTheChannelAndTheirFailuresPassUnchanged) {
    pwm_.set_frequency(2000, -1);
    expect_channel("500000", "125000");
    pwm_.set_duty(50);
    EXPECT_EQ(pwm_.get_duty(), 50U);
    EXPECT_EQ(pwm_.get_frequency(), 2000);
    pwm_.enable();
    expect_channel("500000", "250000", "1");
    pwm_.disable();
    expect_channel("500000", "250000", "0");
    EXPECT_EQ(thrown([&] { pwm_.set_duty(101); }), bad_duty);
    EXPECT_EQ(thrown([&] { pwm_.set_frequency(2000001, 1); }), bad_frequency);
    put(period_, "");
    EXPECT_THROW(pwm_.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm_.get_duty(), std::ios_base::failure);
}

}  // namespace
