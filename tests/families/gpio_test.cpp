// SPDX-License-Identifier: MIT
// The lines that are exported, used and given back: the exact acts, and what is left when one of them fails.

#include <gmock/gmock.h>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

#include "families/acts.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/recorder.h"
#include "system/scenario.h"
#include "velmor.h"

using families::Acts;
using families::hardware;
using families::in_order;
using families::Kind;
using families::proves;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing_support::answer;
using testing_support::Out;
using testing_support::play;
using testing_support::Played;
using testing_support::Recorder;
using testing_support::Scenario;

namespace {

const std::string gpio = "/sys/class/gpio/";

/** One attribute of a line's access. */
struct Step {
    std::string path;
    std::string bytes;  // written; a read has none
    Acts acts;
    Acts recovery = {};  // what follows where the transfer fails
};

Step writing(const std::string& path, const std::string& bytes, const Acts& recovery = {}) {
    return {path, bytes, families::written(path, bytes), recovery};
}

std::vector<Step> access(int pin, const std::string& direction, const std::string& level) {
    const std::string number = std::to_string(pin);
    const std::string line = gpio + "gpio" + number;
    const Acts unexport = families::written(gpio + "unexport", number);
    const Step value = level.empty() ? Step{line + "/value", "", families::read(line + "/value"), unexport}
                                     : writing(line + "/value", level, unexport);
    return {writing(gpio + "export", number), writing(line + "/direction", direction), value,
            writing(gpio + "unexport", number)};
}

std::vector<Step> output(int pin, const std::string& level) {
    return access(pin, "out", level);
}

struct Line {
    std::string function;
    std::string what;
    Scenario call;
    std::string told;
    std::string told_of_failure;
    std::vector<Step> steps;
    std::vector<int> pins;
};

std::vector<Step> both(std::vector<Step> first, const std::vector<Step>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::vector<Line> lines() {
    const std::string failure = "-1 errno 5";
    return {
        {"io_set", "high", [] { return answer([] { return io_set(1, 1); }); }, "0", failure, output(37, "1"), {37}},
        {"io_set", "low", [] { return answer([] { return io_set(1, 0); }); }, "0", failure, output(37, "0"), {37}},
        {"io_get",
         "level",
         [] {
             Out<io_value_t> value;
             return answer([&] { return io_get(2, value); }, value);
         },
         "0: 1",
         failure + ": untouched",
         access(38, "in", ""),
         {38}},
        {"wifi_antenna_set",
         "second",
         [] { return answer([] { return wifi_antenna_set(1); }); },
         "0",
         failure,
         output(40, "1"),
         {40}},
        {"bluetooth_antenna_set",
         "first",
         [] { return answer([] { return bluetooth_antenna_set(0); }); },
         "0",
         failure,
         output(41, "0"),
         {41}},
        {"serial_mux",
         "second_connector",
         [] { return answer([] { return serial_mux(0, 1); }); },
         "0",
         failure,
         both(output(42, "1"), output(43, "0")),
         {42, 43}},
        {"serial_mux",
         "third_connector",
         [] { return answer([] { return serial_mux(0, 2); }); },
         "0",
         failure,
         both(output(42, "1"), output(43, "1")),
         {42, 43}},
    };
}

/** Only the acts on lines: the start of the board is not among them. */
Recorder recorder() {
    return Recorder().watch({gpio});
}

class GpioLines : public testing::TestWithParam<Line> {
protected:
    void SetUp() override {
        if (!Recorder::available()) GTEST_SKIP() << "acts are recorded on x86-64 only";
        hardware({"set", "gpio.38", "1"});
    }
    void TearDown() override { give_lines_back(); }

    /** A failure may leave a line exported, and the next export would be refused. */
    static void give_lines_back() {
        for (const int pin : GetParam().pins) {
            std::ofstream unexport(gpio + "unexport");
            unexport << pin << std::flush;
        }
    }
};

TEST_P(GpioLines, AreExportedDirectedUsedAndGivenBack) {
    proves(GetParam().function, Kind::good);
    Acts expected;
    for (const Step& step : GetParam().steps) expected = in_order({expected, step.acts});
    const Played played = play(recorder(), GetParam().call);
    EXPECT_EQ(played.told, GetParam().told);
    EXPECT_EQ(played.error_text, "");
    EXPECT_THAT(played.acts, ElementsAreArray(expected));
}

/** How often an act has been done in the steps before this one. */
int nth(const std::vector<Step>& steps, std::size_t step) {
    int count = 1;
    for (std::size_t i = 0; i < step; ++i) count += steps[i].path == steps[step].path ? 1 : 0;
    return count;
}

TEST_P(GpioLines, TransferThatFailsInTheMiddle) {
    proves(GetParam().function, Kind::bad_input);
    const std::vector<Step>& steps = GetParam().steps;
    Acts before;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        const bool reads = step.bytes.empty();
        const std::string transfer = reads ? "read " + step.path : "write " + step.path;
        const Played played = play(recorder().fail(transfer, EIO, nth(steps, i)), GetParam().call);
        give_lines_back();
        const Acts failing = {step.acts[0], step.acts[1] + " = EIO", step.acts[2]};
        EXPECT_EQ(played.told, GetParam().told_of_failure) << step.path;
        EXPECT_EQ(played.error_text, GetParam().function + " failed: " +
                                         (reads ? "basic_filebuf::underflow error reading the file: Input/output error"
                                                : "basic_ios::clear: iostream error") +
                                         "\n")
            << step.path;
        EXPECT_THAT(played.acts, ElementsAreArray(in_order({before, failing, step.recovery}))) << step.path;
        before = in_order({before, step.acts});
    }
}

TEST_P(GpioLines, OpenThatFailsInTheMiddle) {
    proves(GetParam().function, Kind::bad_input);
    const std::vector<Step>& steps = GetParam().steps;
    Acts before;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Step& step = steps[i];
        const Played played = play(recorder().fail(step.acts[0], EIO, nth(steps, i)), GetParam().call);
        give_lines_back();
        EXPECT_EQ(played.told, GetParam().told_of_failure) << step.path;
        EXPECT_THAT(played.acts, ElementsAreArray(in_order({before, {step.acts[0] + " = EIO"}, step.recovery})))
            << step.path;
        before = in_order({before, step.acts});
    }
}

INSTANTIATE_TEST_SUITE_P(Functions, GpioLines, testing::ValuesIn(lines()),
                         [](const auto& instance) { return instance.param.function + "_" + instance.param.what; });

// ---- What touches no line ------------------------------------------------------------------------------------------

TEST(GpioLine, WrongDirectionTouchesNothing) {
    if (!Recorder::available()) GTEST_SKIP() << "acts are recorded on x86-64 only";
    proves("io_set", Kind::bad_input);
    proves("io_get", Kind::bad_input);
    const Played played = play(recorder(), [] {
        Out<io_value_t> value;
        return testing_support::joined(
            {answer([] { return io_set(2, 1); }), answer([&] { return io_get(1, value); }, value)});
    });
    EXPECT_EQ(played.told, "-1, -1: untouched");
    EXPECT_EQ(played.error_text, "io_set failed: GPIO direction not valid\nio_get failed: GPIO direction not valid\n");
    EXPECT_THAT(played.acts, IsEmpty());
}

TEST(GpioLine, ConnectorThatIsNotInTheTableTouchesNothing) {
    if (!Recorder::available()) GTEST_SKIP() << "acts are recorded on x86-64 only";
    proves("serial_mux", Kind::bad_input);
    const Played played = play(recorder(), [] {
        return testing_support::joined(
            {answer([] { return serial_mux(0, 3); }), answer([] { return serial_mux(0, -1); })});
    });
    EXPECT_EQ(played.told, "-1, -1");
    EXPECT_EQ(played.error_text, "serial_mux failed: Unsupported port\nserial_mux failed: Unsupported port\n");
    EXPECT_THAT(played.acts, IsEmpty());
}

// The select lines before the one that fails keep their new levels, those behind it their old ones.
TEST(GpioLine, MuxThatFailsHalfwayIsNotRolledBack) {
    proves("serial_mux", Kind::bad_input);
    EXPECT_EQ(play([] { return answer([] { return serial_mux(0, 0); }); }).told, "0");
    std::ofstream(gpio + "export") << 43 << std::flush;  // another program holds the second line
    const Played played = play([] { return answer([] { return serial_mux(0, 2); }); });
    std::ofstream(gpio + "unexport") << 43 << std::flush;
    EXPECT_EQ(played.told, "-1 errno 16");
    EXPECT_EQ(hardware({"get", "gpio.42"}), "1");
    EXPECT_EQ(hardware({"get", "gpio.43"}), "0");
}

}  // namespace
