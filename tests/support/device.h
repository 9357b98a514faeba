// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <filesystem>
#include <functional>
#include <string>

#include "support/acts.h"
#include "support/files.h"
#include "support/recorder.h"

namespace testing_support {

/** A test that begins with the device's files as they are in tests/device/tree. */
class DeviceTest : public testing::Test {
protected:
    void SetUp() override { reset_device(); }
};

/** Make a call in a process of its own, whose board has not started: what it returns, its errno and what it prints. */
inline void expect_call(const std::function<int()>& call, int result, int error, const std::string& line) {
    const Outcome outcome = run_unrecorded(call);
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, result);
    EXPECT_EQ(outcome.error, error);
    EXPECT_EQ(outcome.error_text, line);
}

/** Put a script of the test's own where the device has its program. The system's is a link: it is replaced. */
inline void put_program(const std::string& path, const std::string& commands) {
    remove(path);
    put(path, "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/** The path of a file of the GPIO class: gpio("export"). */
inline std::string gpio(const std::string& file) {
    return "/sys/class/gpio/" + file;
}

/** The path of a GPIO line's file: gpio(37, "value"). */
inline std::string gpio(int pin, const std::string& file) {
    return gpio("gpio" + std::to_string(pin) + "/" + file);
}

/** Put a GPIO line as if it had been exported, with empty files to export it and to give it back. */
inline void put_gpio_line(int pin, const std::string& value = "") {
    put(gpio("export"), "");
    put(gpio("unexport"), "");
    put(gpio(pin, "direction"), "");
    put(gpio(pin, "value"), value);
}

/** A whole access to a GPIO line, with these acts on its value. */
inline Acts gpio_acts(int pin, const std::string& direction, const Acts& of_value) {
    const std::string number = std::to_string(pin);
    return in_order({write_acts(gpio("export"), number), write_acts(gpio(pin, "direction"), direction), of_value,
                     write_acts(gpio("unexport"), number)});
}

/** A GPIO line set to a level. */
inline Acts set_gpio_acts(int pin, const std::string& level) {
    return gpio_acts(pin, "out", write_acts(gpio(pin, "value"), level));
}

}  // namespace testing_support
