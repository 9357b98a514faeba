// SPDX-License-Identifier: MIT
// What a failure leaves of a line: the kernel's state, where the acts themselves are in functions_test.cpp.

#include <gmock/gmock.h>
#include <cerrno>
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
using namespace testing_support;

namespace {

const std::string gpio = "/sys/class/gpio/";

bool is_exported(int pin) {
    return std::filesystem::exists(gpio + "gpio" + std::to_string(pin));
}

void give_back(int pin) {
    std::ofstream(gpio + "unexport") << pin << std::flush;
}

/** Lines 37, an output, and 38, an input. */
const auto set = call(io_set, 1, 1);
const auto clear = call(io_set, 1, 0);
const auto get = call(io_get, 2);

ChildResult set_and_get() {
    return run_in_child([] { return joined({set(), get()}); });
}

TEST(GpioLine, WhoseDirectionIsRefusedStaysExported) {
    proves("io_set", Kind::bad_input);
    {
        const Fault fault(gpio + "gpio37/direction:write:EIO");
        EXPECT_EQ(run_in_child(set).output, file_fails_with(EIO));
    }
    EXPECT_TRUE(is_exported(37));
    EXPECT_EQ(run_in_child(set).output, file_fails_with(EBUSY));
    give_back(37);
    EXPECT_EQ(run_in_child(set).output, succeeds());
    EXPECT_FALSE(is_exported(37));
}

TEST(GpioLine, WhoseLevelIsRefusedIsGivenBack) {
    proves("io_set", Kind::bad_input);
    proves("io_get", Kind::bad_input);
    EXPECT_EQ(run_in_child(clear).output, succeeds());
    hardware({"set", "gpio.38", "1"});
    for (const std::string operation : {"open", "write", "read"}) {
        const Fault fault(gpio + "gpio3[78]/value:" + operation + ":EIO");
        EXPECT_EQ(set_and_get().output,
                  joined({operation == "read" ? succeeds() : file_fails_with(EIO),
                          operation == "write" ? succeeds("1") : file_fails_with(EIO, untouched)}))
            << operation;
        EXPECT_FALSE(is_exported(37)) << operation;
        EXPECT_FALSE(is_exported(38)) << operation;
    }
}

// The level is on the line by then.
TEST(GpioLine, WhoseLevelFailsInItsCloseIsGivenBack) {
    proves("io_set", Kind::bad_input);
    proves("io_get", Kind::bad_input);
    EXPECT_EQ(run_in_child(clear).output, succeeds());
    {
        const Fault fault(gpio + "gpio*/value:close:EIO");
        const ChildResult child = set_and_get();
        EXPECT_EQ(child.output, joined({file_fails_with(EIO), file_fails_with(EIO, untouched)}));
        EXPECT_EQ(child.error_text, failed("io_set", stream_failure) + failed("io_get", stream_failure));
    }
    EXPECT_EQ(hardware({"get", "gpio.37"}), "1");
    EXPECT_FALSE(is_exported(37));
    EXPECT_FALSE(is_exported(38));
}

TEST(GpioLine, ThatCannotBeGivenBackEitherReportsTheFirstFailure) {
    proves("io_get", Kind::bad_input);
    {
        const Fault level(gpio + "gpio38/value:read:EIO");
        const Fault unexport(gpio + "unexport:write:ENOSPC");
        const ChildResult child = run_in_child(get);
        EXPECT_EQ(child.output, file_fails_with(ENOSPC, untouched));
        EXPECT_EQ(child.error_text, failed("io_get", read_failure));
    }
    EXPECT_TRUE(is_exported(38));
    give_back(38);
}

// The select lines before the one that fails keep their new levels, those behind it their old ones.
TEST(GpioLine, MuxThatFailsHalfwayIsNotRolledBack) {
    proves("serial_mux", Kind::bad_input);
    EXPECT_EQ(run_in_child(call(serial_mux, 0, 0)).output, succeeds());
    std::ofstream(gpio + "export") << 43 << std::flush;  // another program holds the second line
    const ChildResult child = run_in_child(call(serial_mux, 0, 2));
    give_back(43);
    EXPECT_EQ(child.output, file_fails_with(EBUSY));
    EXPECT_EQ(hardware({"get", "gpio.42"}), "1");
    EXPECT_EQ(hardware({"get", "gpio.43"}), "0");
}

}  // namespace
