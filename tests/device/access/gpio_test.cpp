// SPDX-License-Identifier: MIT
#include "access/gpio.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <ios>
#include <locale>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "access/sysfs.h"
#include "support/acts.h"
#include "support/device.h"
#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;
using testing::ThrowsMessage;
using testing_support::Acts;
using testing_support::content;
using testing_support::gpio_acts;
using testing_support::Outcome;
using testing_support::put;
using testing_support::put_gpio_line;
using testing_support::read_acts;
using testing_support::Recorder;
using testing_support::set_gpio_acts;
using Velmor::GPIO;

namespace {

constexpr char export_file[] = "/sys/class/gpio/export";
constexpr char unexport_file[] = "/sys/class/gpio/unexport";
constexpr char direction_file[] = "/sys/class/gpio/gpio37/direction";
constexpr char value_file[] = "/sys/class/gpio/gpio37/value";
constexpr char bad_direction[] = "GPIO direction not valid";

class GPIOTest : public testing_support::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put_gpio_line(37, "0\n");
    }

    /** The line's four files hold these texts. */
    static void expect_files(const std::string& exported, const std::string& direction, const std::string& value,
                             const std::string& unexported) {
        EXPECT_EQ(content(export_file), exported);
        EXPECT_EQ(content(direction_file), direction);
        EXPECT_EQ(content(value_file), value);
        EXPECT_EQ(content(unexport_file), unexported);
    }
    static void expect_untouched_files() { expect_files("", "", "0\n", ""); }

    /** Put a directory in a file's place: it can be neither read nor written. */
    static void put_directory(const std::string& path) {
        testing_support::remove(path);
        put(path + "/a directory", "");
    }
};

enum Failure { none, stream_failure, refused_direction };

Failure failure_of(const std::function<void()>& code) {
    try {
        code();
        return none;
    } catch (const std::ios_base::failure&) {
        return stream_failure;
    } catch (const std::invalid_argument&) {
        return refused_direction;
    }
}

void set_1() {
    GPIO(37, "out").set(1);
}

void get() {
    GPIO(37, "in").get();
}

TEST_F(GPIOTest, SetExportsSetsDirectionWritesLevelAndUnexports) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder().run([] { return failure_of(set_1); });
    EXPECT_EQ(outcome.result, none);
    EXPECT_EQ(outcome.acts, set_gpio_acts(37, "1"));
}

TEST_F(GPIOTest, GetExportsSetsDirectionReadsLevelAndUnexports) {
    VELMOR_NEEDS_RECORDER();
    put(value_file, "1\n");
    const Outcome outcome = Recorder().run([] { return GPIO(37, "in").get(); });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(outcome.acts, gpio_acts(37, "in", read_acts(value_file)));
}

TEST_F(GPIOTest, SetLeavesTheseTexts) {
    GPIO line(37, "out");
    for (const io_value_t level : {1, 0, 5, -1, INT_MAX, INT_MIN}) {
        SetUp();
        line.set(level);
        expect_files("37", "out", std::to_string(level), "37");
    }
}

TEST_F(GPIOTest, GetLeavesTheseTexts) {
    GPIO line(37, "in");
    for (const io_value_t level : {1, 0, 5, -1, INT_MAX, INT_MIN}) {
        SetUp();
        put(value_file, std::to_string(level) + "\n");
        EXPECT_EQ(line.get(), level);
        expect_files("37", "in", std::to_string(level) + "\n", "37");
    }
}

TEST_F(GPIOTest, EveryPinHasItsOwnDirectory) {
    const struct {
        GPIO::pin number;
        const char* text;
    } rows[] = {{0, "0"}, {5, "5"}, {1234567, "1234567"}, {INT_MAX, "2147483647"}, {-1, "-1"}};
    for (const auto& row : rows) {
        const std::string directory = std::string("/sys/class/gpio/gpio") + row.text;
        put(directory + "/direction", "");
        GPIO(row.number, "out").set(1);
        EXPECT_EQ(content(export_file), row.text);
        EXPECT_EQ(content(directory + "/direction"), "out");
        EXPECT_EQ(content(directory + "/value"), "1");
        EXPECT_EQ(content(unexport_file), row.text);
    }
}

TEST_F(GPIOTest, OtherDirectionsAreRefusedAtConstruction) {
    for (const char* direction : {"OUT", "IN", "Out", "In", "", " in", "in ", "out\n", "high", "low", "inout"})
        EXPECT_THAT([&] { const GPIO line(37, direction); }, ThrowsMessage<std::invalid_argument>(StrEq(bad_direction)))
            << direction;
    EXPECT_THAT([] { const GPIO line(37, std::string("in\0", 3)); },
                ThrowsMessage<std::invalid_argument>(StrEq(bad_direction)));
}

TEST_F(GPIOTest, ConstructionTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder().run([] {
        const GPIO output(37, "out");
        const GPIO input(37, "in");
        return failure_of([] { const GPIO neither(37, "OUT"); });
    });
    EXPECT_EQ(outcome.result, refused_direction);
    EXPECT_THAT(outcome.acts, IsEmpty());
}

TEST_F(GPIOTest, WrongDirectionIsRefused) {
    GPIO input(37, "in");
    EXPECT_THAT([&] { input.set(1); }, ThrowsMessage<std::invalid_argument>(StrEq(bad_direction)));
    GPIO output(37, "out");
    EXPECT_THAT([&] { output.get(); }, ThrowsMessage<std::invalid_argument>(StrEq(bad_direction)));
    expect_untouched_files();
}

TEST_F(GPIOTest, WrongDirectionTouchesNoFile) {
    VELMOR_NEEDS_RECORDER();
    for (const auto& access : {+[] { GPIO(37, "in").set(1); }, +[] { GPIO(37, "out").get(); }}) {
        const Outcome outcome = Recorder().run([access] { return failure_of(access); });
        EXPECT_EQ(outcome.result, refused_direction);
        EXPECT_THAT(outcome.acts, IsEmpty());
    }
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

TEST_F(GPIOTest, CopyIsALineOfTheSameDirection) {
    GPIO copy = GPIO(37, std::string("out"));
    const auto original = std::make_unique<GPIO>(copy);
    GPIO second = *original;
    second.set(1);
    EXPECT_EQ(content(direction_file), "out");
}

// ---- A step that fails: which acts come before and after it

class FailingStep : public GPIOTest, public testing::WithParamInterface<std::size_t> {
protected:
    /** What remains of an access's twelve acts when the nth fails. */
    static Acts acts_when_failing(const Acts& all, std::size_t nth) {
        Acts acts(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(nth) + 1);
        acts.back() += " = EIO";
        if (nth % 3 == 1) acts.push_back(all[nth + 1]);  // a file whose transfer has failed is closed
        const bool in_value = nth / 3 == 2;
        if (in_value) acts.insert(acts.end(), all.begin() + 9, all.end());
        return acts;
    }

    /** "write PATH" without its bytes: what the Recorder is to fail. */
    static std::string without_bytes(const std::string& act) {
        return act.starts_with("write ") ? act.substr(0, act.rfind(' ')) : act;
    }

    static void expect_acts(const Acts& all, const std::function<void()>& access) {
        const Outcome outcome =
            Recorder().fail(without_bytes(all[GetParam()]), EIO).run([&] { return failure_of(access); });
        EXPECT_EQ(outcome.result, stream_failure);
        EXPECT_EQ(outcome.acts, acts_when_failing(all, GetParam()));
    }
};

TEST_P(FailingStep, OfSet) {
    VELMOR_NEEDS_RECORDER();
    expect_acts(set_gpio_acts(37, "1"), set_1);
}

TEST_P(FailingStep, OfGet) {
    VELMOR_NEEDS_RECORDER();
    put(value_file, "1\n");
    expect_acts(gpio_acts(37, "in", read_acts(value_file)), get);
}

INSTANTIATE_TEST_SUITE_P(GPIO, FailingStep, testing::Range<std::size_t>(0, 12));

TEST_F(GPIOTest, FailingExportAttemptsNothingElse) {
    put_directory(export_file);
    EXPECT_THROW(set_1(), std::ios_base::failure);
    EXPECT_THROW(get(), std::ios_base::failure);
    EXPECT_EQ(content(direction_file), "");
    EXPECT_EQ(content(value_file), "0\n");
    EXPECT_EQ(content(unexport_file), "");
}

TEST_F(GPIOTest, FailingDirectionLeavesTheLineExported) {
    testing_support::remove("/sys/class/gpio/gpio37");
    EXPECT_THROW(set_1(), std::ios_base::failure);
    EXPECT_THROW(get(), std::ios_base::failure);
    EXPECT_EQ(content(export_file), "37");
    EXPECT_EQ(content(unexport_file), "");
}

TEST_F(GPIOTest, FailingValueUnexportsTheLine) {
    testing_support::remove(value_file);
    EXPECT_THROW(get(), std::ios_base::failure);
    EXPECT_EQ(content(unexport_file), "37");

    put(unexport_file, "");
    put_directory(value_file);
    EXPECT_THROW(set_1(), std::ios_base::failure);
    EXPECT_EQ(content(unexport_file), "37");
}

TEST_F(GPIOTest, ValueWithoutNumberUnexportsTheLine) {
    for (const char* text : {"", "high\n", "2147483648\n"}) {
        put(unexport_file, "");
        put(value_file, text);
        EXPECT_THROW(get(), std::ios_base::failure) << text;
        EXPECT_EQ(content(unexport_file), "37");
    }
}

TEST_F(GPIOTest, FailingUnexportIsAFailure) {
    put_directory(unexport_file);
    EXPECT_THROW(set_1(), std::ios_base::failure);
    EXPECT_EQ(content(value_file), "1");
    EXPECT_THROW(get(), std::ios_base::failure);
}

TEST_F(GPIOTest, FailureOfTheValueIsReportedAndNotThatOfTheUnexport) {
    // A directory in the value's place: the failure to read it has a text of its own, unlike that of opening a file.
    put_directory(value_file);
    put_directory(unexport_file);
    const auto text_of = [](const std::function<void()>& code) -> std::string {
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

TEST_F(GPIOTest, FailingUnexportAfterAFailingValueIsTriedOnce) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder()
                                .fail(std::string("write ") + value_file, EIO)
                                .fail(std::string("write ") + unexport_file, EINVAL, 0)
                                .run([] { return failure_of(set_1); });
    EXPECT_EQ(outcome.result, stream_failure);
    ASSERT_EQ(outcome.acts.size(), 12U);
    EXPECT_THAT(std::vector(outcome.acts.end() - 5, outcome.acts.end()),
                ElementsAre("write /sys/class/gpio/gpio37/value 1 = EIO", "close /sys/class/gpio/gpio37/value",
                            "open /sys/class/gpio/unexport w", "write /sys/class/gpio/unexport 37 = EINVAL",
                            "close /sys/class/gpio/unexport"));
}

/** Groups by thousands with '.' and marks decimals with ','. */
class OtherNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(GPIOTest, ApplicationsLocaleChangesNothing) {
    put_gpio_line(1234, "1.000\n");
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new OtherNumbers));
    std::ostringstream application;
    application << 1234;
    EXPECT_EQ(application.str(), "1.234");
    EXPECT_EQ(failure_of([] { EXPECT_EQ(GPIO(1234, "in").get(), 1); }), none);
    EXPECT_EQ(content(export_file), "1234");
    EXPECT_EQ(failure_of([] { GPIO(1234, "out").set(5678); }), none);
    std::locale::global(before);
    EXPECT_EQ(content("/sys/class/gpio/gpio1234/value"), "5678");
    EXPECT_EQ(content(unexport_file), "1234");
    EXPECT_FALSE(testing_support::exists("/sys/class/gpio/gpio1.234"));
}

}  // namespace
