// SPDX-License-Identifier: MIT
// The state in which a failure leaves a line. The acts themselves are in functions_test.cpp.

#include <filesystem>
#include <fstream>

#include "families/families_test.h"

using namespace families;
using namespace testing_support;

namespace {

const std::string gpio_class = "/sys/class/gpio/";

bool is_exported(int pin) {
    return std::filesystem::exists(gpio_class + "gpio" + std::to_string(pin));
}

// Line 37 is an output, line 38 an input.
const Scenario set = call(io_set, 1, 1);
const Scenario clear = call(io_set, 1, 0);
const Scenario get = call(io_get, 2);
const Scenario set_and_get = in_turn({set, get});

const CallResult failed_set = file_fails_with(EIO);
const CallResult failed_get = file_fails_with(EIO, untouched);

TEST(GpioLine, StaysExportedIfItsDirectionIsRefused) {
    {
        const Fault fault(gpio_class + "gpio37/direction:write:EIO");
        EXPECT_THAT(run_in_child(set), returns(failed_set, failed("io_set", stream_failure)));
    }
    EXPECT_TRUE(is_exported(37));
    EXPECT_THAT(run_in_child(set), returns(file_fails_with(EBUSY), failed("io_set", stream_failure)));
    give_lines_back();
    EXPECT_THAT(run_in_child(set), returns(succeeds()));
    EXPECT_FALSE(is_exported(37));
}

TEST(GpioLine, IsGivenBackIfItsLevelIsRefused) {
    EXPECT_THAT(run_in_child(clear), returns(succeeds()));
    set_hardware("gpio.38=1");
    for (const std::string operation : {"open", "write", "read"}) {
        const Fault fault(std::string(gpio_class).append("gpio3[78]/value:").append(operation).append(":EIO"));
        EXPECT_EQ(run_in_child(set_and_get).output, joined({operation == "read" ? succeeds() : failed_set,
                                                            operation == "write" ? succeeds("1") : failed_get}))
            << operation;
        EXPECT_FALSE(is_exported(37) || is_exported(38)) << operation;
    }
}

TEST(GpioLine, IsGivenBackWithItsNewLevelIfTheCloseFails) {
    EXPECT_THAT(run_in_child(clear), returns(succeeds()));
    {
        const Fault fault(gpio_class + "gpio*/value:close:EIO");
        EXPECT_THAT(run_in_child(set_and_get), returns({failed_set, failed_get}, failed("io_set", stream_failure) +
                                                                                     failed("io_get", stream_failure)));
    }
    EXPECT_EQ(hardware({"get", "gpio.37"}), "1");
    EXPECT_FALSE(is_exported(37) || is_exported(38));
}

TEST(GpioLine, ReportsTheFirstFailureIfItCannotBeGivenBackEither) {
    {
        const Fault level(gpio_class + "gpio38/value:read:EIO");
        const Fault unexport(gpio_class + "unexport:write:ENOSPC");
        EXPECT_THAT(run_in_child(get), returns(file_fails_with(ENOSPC, untouched), failed("io_get", read_failure)));
    }
    EXPECT_TRUE(is_exported(38));
    give_lines_back();
}

// The select lines before the failure keep their new levels, those after it their old ones.
TEST(GpioLine, OfAMuxIsNotRolledBackIfTheNextOneFails) {
    EXPECT_THAT(run_in_child(call(serial_mux, 0, 0)), returns(succeeds()));
    std::ofstream(gpio_class + "export") << 43 << std::flush;  // another program holds the second line
    const ChildResult child = run_in_child(call(serial_mux, 0, 2));
    give_lines_back();
    EXPECT_THAT(child, returns(file_fails_with(EBUSY), failed("serial_mux", stream_failure)));
    EXPECT_EQ(hardware({"get", "gpio.42"}), "1");
    EXPECT_EQ(hardware({"get", "gpio.43"}), "0");
}

}  // namespace
