// SPDX-License-Identifier: MIT
#include "access/io_pwm.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

#include "support/files_test.h"

using Velmor::IO;
using Velmor::IOPWM;
using Velmor::PWM;
using Velmor::Resource;
using namespace testing_support;

namespace {

class IOPWMTest : public FilesTest {
protected:
    IOPWMTest() : line_(make_channel(), 1000, 25) {}

    const std::string& make_channel() const {
        for (const char* attribute : {"period", "duty", "status"}) put(directory_ / attribute, "0\n");
        return directory_.path();
    }

    std::string attribute(const std::string& name) const { return content(directory_ / name); }

    const std::string status_ = directory_ / "status";
    IOPWM line_;
    IO& io_ = line_;
    PWM& pwm_ = line_;
};

TEST_F(IOPWMTest, ConstructionProgramsTheChannelAndLeavesTheStatus) {
    EXPECT_EQ(attribute("period"), "1000000");
    EXPECT_EQ(attribute("duty"), "250000");
    EXPECT_EQ(attribute("status"), "0\n");
}

TEST_F(IOPWMTest, ConstructionThrowsWhatProgrammingThrows) {
    EXPECT_EQ(thrown([&] { IOPWM(directory_.path(), 0, 50); }), "range_error PWM frequency out of range");
    EXPECT_EQ(thrown([&] { IOPWM(directory_ / "absent", 1000, 50); }), "stream failure");
}

TEST_F(IOPWMTest, IsAResourceThatIsLineAndChannel) {
    Resource& resource = line_;
    EXPECT_EQ(dynamic_cast<IO*>(&resource), &io_);
    EXPECT_EQ(dynamic_cast<PWM*>(&resource), &pwm_);
}

TEST_F(IOPWMTest, SetOneStartsAndSetZeroStops) {
    io_.set(1);
    EXPECT_EQ(attribute("status"), "1");
    io_.set(0);
    EXPECT_EQ(attribute("status"), "0");
    EXPECT_EQ(attribute("period"), "1000000");
    EXPECT_EQ(attribute("duty"), "250000");
}

TEST_F(IOPWMTest, SetOfAnotherLevelDoesNothing) {
    for (const io_value_t level : {2, -1, 256, INT_MAX, INT_MIN}) {
        EXPECT_EQ(thrown([&] { io_.set(level); }), "nothing");
        EXPECT_EQ(attribute("status"), "0\n");
    }
}

TEST_F(IOPWMTest, SetOfAnotherLevelTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    expect_acts([&] { io_.set(2); }, {});
}

TEST_F(IOPWMTest, SetAndGetAreOneAccessToTheStatus) {
    VELMOR_NEEDS_RECORDER();
    put(status_, "1\n");
    const ChildResult child = run_in_child(recorder(), [&] {
        const io_value_t level = io_.get();
        io_.set(0);
        return std::to_string(level);
    });
    EXPECT_EQ(child.output, "1");
    EXPECT_EQ(child.acts, in_order({read_acts(status_), write_acts(status_, "0")}));
}

TEST_F(IOPWMTest, GetIsOneForStatusOneOnly) {
    put(status_, "1\n");
    EXPECT_EQ(io_.get(), 1);
    for (const char* status : {"0\n", "2\n", "-1\n", "2147483647\n"}) {
        put(status_, status);
        EXPECT_EQ(io_.get(), 0) << status;
    }
}

TEST_F(IOPWMTest, UnusableStatusIsTheStreamFailure) {
    put(status_, "on\n");
    EXPECT_THROW(io_.get(), std::ios_base::failure);
    remove(directory_.path());
    EXPECT_THROW(io_.set(1), std::ios_base::failure);
    EXPECT_THROW(io_.set(0), std::ios_base::failure);
}

TEST_F(IOPWMTest, ChannelOperationsReachTheChannel) {
    pwm_.set_frequency(2000, -1);
    EXPECT_EQ(attribute("period"), "500000");
    EXPECT_EQ(attribute("duty"), "125000");
    pwm_.set_duty(50);
    EXPECT_EQ(attribute("duty"), "250000");
    EXPECT_EQ(pwm_.get_duty(), 50U);
    EXPECT_EQ(pwm_.get_frequency(), 2000);
    pwm_.enable();
    EXPECT_EQ(attribute("status"), "1");
    pwm_.disable();
    EXPECT_EQ(attribute("status"), "0");
}

TEST_F(IOPWMTest, ChannelFailuresPassUnchanged) {
    EXPECT_EQ(thrown([&] { pwm_.set_duty(101); }), "range_error PWM duty out of range");
    EXPECT_EQ(thrown([&] { pwm_.set_frequency(2000001, 1); }), "range_error PWM frequency out of range");
    put(directory_ / "period", "");
    EXPECT_THROW(pwm_.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm_.get_duty(), std::ios_base::failure);
}

}  // namespace
