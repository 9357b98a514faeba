// SPDX-License-Identifier: MIT
#include "access/gpio.h"

#include <gmock/gmock.h>

#include <climits>
#include <ios>
#include <memory>
#include <sstream>
#include <string>

#include "access/sysfs.h"
#include "support/device.h"

using Velmor::GPIO;
using namespace testing_support;

namespace {

const std::string export_file = gpio("export");
const std::string unexport_file = gpio("unexport");
const std::string direction_file = gpio(37, "direction");
const std::string value_file = gpio(37, "value");

constexpr char bad_direction[] = "invalid_argument GPIO direction not valid";

void set() {
    GPIO(37, "out").set(1);
}

void get() {
    GPIO(37, "in").get();
}

class GPIOTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put_gpio_line(37, "0\n");
    }

    struct Texts {
        std::string exported = {};
        std::string direction = {};
        std::string value = "0\n";
        std::string unexported = {};
    };

    /** The four files of a line hold these texts. */
    static void expect_files(const Texts& texts, GPIO::pin pin = 37) {
        EXPECT_EQ(content(export_file), texts.exported);
        EXPECT_EQ(content(gpio(pin, "direction")), texts.direction);
        EXPECT_EQ(content(gpio(pin, "value")), texts.value);
        EXPECT_EQ(content(unexport_file), texts.unexported);
    }

    static void expect_failure(void (*access)()) { EXPECT_EQ(thrown(access), "stream failure"); }
};

TEST_F(GPIOTest, SetExportsSetsDirectionWritesLevelAndUnexports) {
    VELMOR_NEEDS_RECORDER();
    expect_acts(set, set_gpio_acts(37, "1"));
}

TEST_F(GPIOTest, GetExportsSetsDirectionReadsLevelAndUnexports) {
    VELMOR_NEEDS_RECORDER();
    put(value_file, "1\n");
    const ChildResult child = run_in_child(Recorder(), [] { return std::to_string(GPIO(37, "in").get()); });
    EXPECT_EQ(child.output, "1");
    EXPECT_EQ(child.acts, gpio_acts(37, "in", read_acts(value_file)));
}

TEST_F(GPIOTest, LevelIsPassedOnUnchecked) {
    GPIO output(37, "out");
    GPIO input(37, "in");
    for (const io_value_t level : {1, 0, 5, -1, INT_MAX, INT_MIN}) {
        const std::string text = std::to_string(level);
        SetUp();
        output.set(level);
        expect_files({.exported = "37", .direction = "out", .value = text, .unexported = "37"});
        SetUp();
        put(value_file, text + "\n");
        EXPECT_EQ(input.get(), level);
        expect_files({.exported = "37", .direction = "in", .value = text + "\n", .unexported = "37"});
    }
}

TEST_F(GPIOTest, EveryPinHasItsOwnDirectory) {
    for (const GPIO::pin pin : {0, 5, 1234567, INT_MAX, -1}) {
        put_gpio_line(pin);
        GPIO(pin, "out").set(1);
        const std::string number = std::to_string(pin);
        expect_files({.exported = number, .direction = "out", .value = "1", .unexported = number}, pin);
    }
}

TEST_F(GPIOTest, ConstructionRefusesEveryOtherDirection) {
    for (const char* direction : {"OUT", "IN", "Out", "In", "", " in", "in ", "out\n", "high", "low", "inout"})
        EXPECT_EQ(thrown([&] { GPIO(37, direction); }), bad_direction) << direction;
    EXPECT_EQ(thrown([] { GPIO(37, std::string("in\0", 3)); }), bad_direction);
}

TEST_F(GPIOTest, ConstructionTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    expect_acts([] { GPIO(37, "out"); }, {});
    expect_acts([] { GPIO(37, "in"); }, {});
    expect_acts([] { GPIO(37, "OUT"); }, {}, bad_direction);
}

TEST_F(GPIOTest, AccessInTheOtherDirectionIsRefused) {
    EXPECT_EQ(thrown([] { GPIO(37, "in").set(1); }), bad_direction);
    EXPECT_EQ(thrown([] { GPIO(37, "out").get(); }), bad_direction);
    expect_files({});
}

TEST_F(GPIOTest, DirectionMayBeATemporaryString) {
    std::string direction = "out";
    GPIO output(37, direction);
    direction = "changed afterwards, and too long for the string object itself";
    output.set(1);
    EXPECT_EQ(content(direction_file), "out");

    GPIO input(37, std::string("i") + "n");
    EXPECT_EQ(input.get(), 1);
    EXPECT_EQ(content(direction_file), "in");
}

TEST_F(GPIOTest, SharedDirectionsAreAccepted) {
    GPIO(37, GPIO::out()).set(1);
    EXPECT_EQ(content(direction_file), "out");
    EXPECT_EQ(GPIO(37, GPIO::in()).get(), 1);
    EXPECT_EQ(content(direction_file), "in");
}

TEST_F(GPIOTest, CopyHasTheSameDirection) {
    GPIO copy = GPIO(37, std::string("out"));
    const auto original = std::make_unique<GPIO>(copy);
    GPIO second = *original;
    second.set(1);
    EXPECT_EQ(content(direction_file), "out");
}

// ---- Accesses that fail: each act in turn is in tests/families ------------------------------------------------------

TEST_F(GPIOTest, FailedExportIsTheOnlyStep) {
    put_directory(export_file);
    expect_failure(set);
    expect_failure(get);
    EXPECT_EQ(content(direction_file), "");
    EXPECT_EQ(content(value_file), "0\n");
    EXPECT_EQ(content(unexport_file), "");
}

TEST_F(GPIOTest, LineWhoseDirectionCannotBeSetStaysExported) {
    testing_support::remove("/sys/class/gpio/gpio37");
    expect_failure(set);
    expect_failure(get);
    EXPECT_EQ(content(export_file), "37");
    EXPECT_EQ(content(unexport_file), "");
}

TEST_F(GPIOTest, LineWhoseLevelCannotBeTransferredIsUnexported) {
    remove(value_file);
    expect_failure(get);
    EXPECT_EQ(content(unexport_file), "37");

    put(unexport_file, "");
    put_directory(value_file);
    expect_failure(set);
    EXPECT_EQ(content(unexport_file), "37");
}

TEST_F(GPIOTest, LineWhoseLevelIsNoNumberIsUnexported) {
    for (const char* text : {"", "high\n", "2147483648\n"}) {
        SCOPED_TRACE(text);
        put(unexport_file, "");
        put(value_file, text);
        expect_failure(get);
        EXPECT_EQ(content(unexport_file), "37");
    }
}

TEST_F(GPIOTest, FailedUnexportIsAFailure) {
    put_directory(unexport_file);
    expect_failure(set);
    EXPECT_EQ(content(value_file), "1");
    expect_failure(get);
}

// A directory can be opened for reading, so the two failures have different texts.
TEST_F(GPIOTest, FailureOfTheLevelIsReportedAndNotThatOfTheUnexport) {
    put_directory(value_file);
    put_directory(unexport_file);
    const auto text_of = [](const auto& code) -> std::string {
        try {
            code();
            return "";
        } catch (const std::ios_base::failure& failure) {
            return failure.what();
        }
    };
    const std::string of_value = text_of([] { Velmor::SysFS<io_value_t>(value_file).read(); });
    const std::string of_unexport = text_of([] { Velmor::SysFS<GPIO::pin>(unexport_file).write(37); });
    ASSERT_NE(of_value, of_unexport);
    EXPECT_EQ(text_of(get), of_value);
}

TEST_F(GPIOTest, GlobalLocaleChangesNothing) {
    put_gpio_line(1234, "1,000\n");
    const GroupingLocale grouping;
    std::ostringstream application;
    application << 1234;
    EXPECT_EQ(application.str(), "1,234");
    EXPECT_EQ(GPIO(1234, "in").get(), 1);
    EXPECT_EQ(content(export_file), "1234");
    GPIO(1234, "out").set(5678);
    EXPECT_EQ(content(gpio(1234, "value")), "5678");
    EXPECT_EQ(content(unexport_file), "1234");
    EXPECT_FALSE(exists(gpio("gpio1,234")));
}

}  // namespace
