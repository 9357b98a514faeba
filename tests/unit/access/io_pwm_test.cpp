// SPDX-License-Identifier: MIT
#include "access/io_pwm.h"

#include <gmock/gmock.h>

#include <climits>
#include <stdexcept>
#include <string>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;
using testing::ThrowsMessage;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::IO;
using Velmor::IOPWM;
using Velmor::PWM;
using Velmor::Resource;

namespace {

class IOPWMTest : public testing::Test {
protected:
    IOPWMTest() : path_(make_channel(directory_)), line_(path_, 1000, 25) {}

    static std::string make_channel(const TemporaryDirectory& directory) {
        for (const char* attribute : {"period", "duty", "status"}) put(directory / attribute, "0\n");
        return directory.path();
    }

    std::string attribute(const std::string& name) const { return content(path_ + "/" + name); }

    TemporaryDirectory directory_;
    const std::string path_;
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
    EXPECT_THAT([&] { const IOPWM line(path_, 0, 50); },
                ThrowsMessage<std::range_error>(StrEq("PWM frequency out of range")));
    EXPECT_THROW(IOPWM(directory_ / "absent", 1000, 50), std::ios_base::failure);
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
        EXPECT_NO_THROW(io_.set(level));
        EXPECT_EQ(attribute("status"), "0\n");
    }
}

TEST_F(IOPWMTest, SetOfAnotherLevelTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        io_.set(2);
        return 0;
    });
    EXPECT_THAT(outcome.acts, IsEmpty());
}

TEST_F(IOPWMTest, SetAndGetAreOneAccessToTheStatus) {
    VELMOR_NEEDS_RECORDER();
    put(path_ + "/status", "1\n");
    const auto outcome = Recorder().watch({directory_.path()}).run([&] {
        const io_value_t level = io_.get();
        io_.set(0);
        return level;
    });
    const std::string file = path_ + "/status";
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + file + " r", "read " + file, "close " + file, "open " + file + " w",
                                          "write " + file + " 0", "close " + file));
}

TEST_F(IOPWMTest, GetIsOneForStatusOneOnly) {
    put(path_ + "/status", "1\n");
    EXPECT_EQ(io_.get(), 1);
    for (const char* status : {"0\n", "2\n", "-1\n", "2147483647\n"}) {
        put(path_ + "/status", status);
        EXPECT_EQ(io_.get(), 0) << status;
    }
}

TEST_F(IOPWMTest, UnusableStatusIsTheStreamFailure) {
    put(path_ + "/status", "on\n");
    EXPECT_THROW(io_.get(), std::ios_base::failure);
    testing_support::remove(path_);
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
    EXPECT_THAT([&] { pwm_.set_duty(101); }, ThrowsMessage<std::range_error>(StrEq("PWM duty out of range")));
    EXPECT_THAT([&] { pwm_.set_frequency(2000001, 1); },
                ThrowsMessage<std::range_error>(StrEq("PWM frequency out of range")));
    put(path_ + "/period", "");
    EXPECT_THROW(pwm_.get_frequency(), std::ios_base::failure);
    EXPECT_THROW(pwm_.get_duty(), std::ios_base::failure);
}

}  // namespace
