// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>
#include <cstddef>
#include <filesystem>
#include <string>

#include "support/acts.h"
#include "support/files.h"
#include "support/matchers.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "support/thrown.h"

namespace testing_support {

/** A test that begins with the device's files as they are in tests/device/tree. */
class DeviceTest : public testing::Test {
protected:
    void SetUp() override { reset_device(); }

    /** Runs this code in a child process and expects these acts, and that it throws this. */
    template <typename Code>
    static void expect_acts(const Recorder& recorder, Code code, const Acts& acts, const std::string& throws) {
        const ChildResult child = run_in_child(recorder, [&] { return thrown(code); });
        EXPECT_EQ(child.acts, acts);
        EXPECT_EQ(child.output, throws);
    }

    template <typename Code>
    static void expect_acts(Code code, const Acts& acts, const std::string& throws = "nothing") {
        expect_acts(Recorder(), code, acts, throws);
    }
};

/** Put a directory in place of a file: it can be neither read nor written. */
inline void put_directory(const std::string& path) {
    remove(path);
    std::filesystem::create_directories(path);
}

/** Put a script in place of one of the device's programs. The system's own program is only a link here: it stays. */
inline void put_program(const std::string& path, const std::string& commands) {
    remove(path);
    put(path, "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/** Change one byte of the hardware table. Field 10 is in byte 4, field 24 in byte 18, field 27 in byte 19. */
inline void put_hardware_table_byte(std::size_t index, const std::string& digits) {
    constexpr char table[] = "/proc/platform/pht";
    std::string text = content(table);
    text.replace(2 + 2 * index, 2, digits);
    put(table, text);
}

/** The path of a file of the GPIO class: gpio("export"). */
inline std::string gpio(const std::string& file) {
    return "/sys/class/gpio/" + file;
}

/** The path of a GPIO line's file: gpio(37, "value"). */
inline std::string gpio(int pin, const std::string& file) {
    return gpio("gpio" + std::to_string(pin) + "/" + file);
}

/** Put the files of an exported GPIO line, and those to export and unexport it. All but the value are empty. */
inline void put_gpio_line(int pin, const std::string& value = "") {
    put(gpio("export"), "");
    put(gpio("unexport"), "");
    put(gpio(pin, "direction"), "");
    put(gpio(pin, "value"), value);
}

/** One access to a GPIO line, from its export to its unexport, with these acts on its value. */
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
