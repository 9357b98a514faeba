// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "support/files_test.h"

namespace testing_support {

inline constexpr char bad_duty[] = "range_error PWM duty out of range";
inline constexpr char bad_frequency[] = "range_error PWM frequency out of range";

/** Tests on the files of a PWM channel, which read 0 at first. */
class PwmChannelTest : public FilesTest {
protected:
    PwmChannelTest() { put_channel("0", "0"); }

    void put_channel(const std::string& period, const std::string& duty, const std::string& status = "0") const {
        put(period_, period + "\n");
        put(duty_, duty + "\n");
        put(status_, status + "\n");
    }

    /** The exact text of each file: a number without a newline has been written by the library. */
    void expect_channel(const std::string& period, const std::string& duty, const std::string& status = "0\n") const {
        EXPECT_EQ(content(period_), period);
        EXPECT_EQ(content(duty_), duty);
        EXPECT_EQ(content(status_), status);
    }

    const std::string path_ = directory_ / "channel";
    const std::string period_ = path_ + "/period";
    const std::string duty_ = path_ + "/duty";
    const std::string status_ = path_ + "/status";
};

}  // namespace testing_support
