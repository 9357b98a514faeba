// SPDX-License-Identifier: MIT
// What a failure leaves of a line: the kernel's state, where the acts themselves are in sequences_test.cpp.

#include <gmock/gmock.h>
#include <filesystem>
#include <fstream>
#include <string>

#include "families/table.h"
#include "families/virtual_device.h"
#include "support/scenario.h"
#include "velmor.h"

using families::Fault;
using families::hardware;
using families::Kind;
using families::proves;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::joined;
using testing_support::Out;
using testing_support::run_in_child;

namespace {

const std::string gpio = "/sys/class/gpio/";

bool is_exported(int pin) {
    return std::filesystem::exists(gpio + "gpio" + std::to_string(pin));
}

void give_back(int pin) {
    std::ofstream(gpio + "unexport") << pin << std::flush;
}

std::string set() {
    return answer([] { return io_set(1, 1); });
}

std::string get() {
    Out<io_value_t> value;
    return answer([&] { return io_get(2, value); }, value);
}

TEST(GpioLine, WhoseDirectionIsRefusedStaysExported) {
    proves("io_set", Kind::bad_input);
    {
        const Fault fault(gpio + "gpio37/direction:write:EIO");
        EXPECT_EQ(run_in_child(set).output, "-1 errno 5");
    }
    EXPECT_TRUE(is_exported(37));
    EXPECT_EQ(run_in_child(set).output, "-1 errno 16");
    give_back(37);
    EXPECT_EQ(run_in_child(set).output, "0");
    EXPECT_FALSE(is_exported(37));
}

TEST(GpioLine, WhoseLevelIsRefusedIsGivenBack) {
    proves("io_set", Kind::bad_input);
    proves("io_get", Kind::bad_input);
    EXPECT_EQ(run_in_child([] { return answer([] { return io_set(1, 0); }); }).output, "0");
    hardware({"set", "gpio.38", "1"});
    for (const char* operation : {"open", "write", "read"}) {
        const Fault fault(gpio + "gpio3[78]/value:" + operation + ":EIO");
        const ChildResult child = run_in_child([] { return joined({set(), get()}); });
        const std::string failed = "-1 errno 5";
        EXPECT_EQ(child.output, joined({std::string(operation) == "read" ? "0" : failed,
                                        std::string(operation) == "write" ? "0: 1" : failed + ": untouched"}))
            << operation;
        EXPECT_FALSE(is_exported(37)) << operation;
        EXPECT_FALSE(is_exported(38)) << operation;
    }
}

// The level is on the line by then.
TEST(GpioLine, WhoseLevelFailsInItsCloseIsGivenBack) {
    proves("io_set", Kind::bad_input);
    proves("io_get", Kind::bad_input);
    EXPECT_EQ(run_in_child([] { return answer([] { return io_set(1, 0); }); }).output, "0");
    {
        const Fault fault(gpio + "gpio*/value:close:EIO");
        const ChildResult child = run_in_child([] { return joined({set(), get()}); });
        EXPECT_EQ(child.output, "-1 errno 5, -1 errno 5: untouched");
        EXPECT_EQ(child.error_text,
                  "io_set failed: basic_ios::clear: iostream error\n"
                  "io_get failed: basic_ios::clear: iostream error\n");
    }
    EXPECT_EQ(hardware({"get", "gpio.37"}), "1");
    EXPECT_FALSE(is_exported(37));
    EXPECT_FALSE(is_exported(38));
}

TEST(GpioLine, ThatCannotBeGivenBackEitherTellsTheFirstFailure) {
    proves("io_get", Kind::bad_input);
    {
        const Fault level(gpio + "gpio38/value:read:EIO");
        const Fault unexport(gpio + "unexport:write:ENOSPC");
        const ChildResult child = run_in_child(get);
        EXPECT_EQ(child.output, "-1 errno 28: untouched");
        EXPECT_EQ(child.error_text,
                  "io_get failed: basic_filebuf::underflow error reading the file: Input/output error\n");
    }
    EXPECT_TRUE(is_exported(38));
    give_back(38);
}

// The select lines before the one that fails keep their new levels, those behind it their old ones.
TEST(GpioLine, MuxThatFailsHalfwayIsNotRolledBack) {
    proves("serial_mux", Kind::bad_input);
    EXPECT_EQ(run_in_child([] { return answer([] { return serial_mux(0, 0); }); }).output, "0");
    std::ofstream(gpio + "export") << 43 << std::flush;  // another program holds the second line
    const ChildResult child = run_in_child([] { return answer([] { return serial_mux(0, 2); }); });
    give_back(43);
    EXPECT_EQ(child.output, "-1 errno 16");
    EXPECT_EQ(hardware({"get", "gpio.42"}), "1");
    EXPECT_EQ(hardware({"get", "gpio.43"}), "0");
}

}  // namespace
