// SPDX-License-Identifier: MIT
#include "serial/serial_mux.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/board.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::GPIO;
using Velmor::SerialMux;

namespace {

constexpr char wrong_size[] = "invalid_argument IOs and MuxMap values must have the same size";
constexpr char unsupported[] = "invalid_argument Unsupported port";

std::string value_file(int pin) {
    return "/sys/class/gpio/gpio" + std::to_string(pin) + "/value";
}

class SerialMuxTest : public testing::Test {
protected:
    void SetUp() override {
        testing_support::reset_device();
        put("/sys/class/gpio/export", "");
        put("/sys/class/gpio/unexport", "");
        for (const int pin : {11, 22, 33}) {
            put("/sys/class/gpio/gpio" + std::to_string(pin) + "/direction", "");
            put(value_file(pin), "old");
        }
    }

    static std::vector<std::string> values() {
        return {content(value_file(11)), content(value_file(22)), content(value_file(33))};
    }

    std::vector<GPIO> two_ = {GPIO(11, GPIO::out()), GPIO(22, GPIO::out())};
    std::vector<GPIO> three_ = {GPIO(11, GPIO::out()), GPIO(22, GPIO::out()), GPIO(33, GPIO::out())};
};

TEST_F(SerialMuxTest, PortSetsTheLinesToItsRow) {
    SerialMux mux(two_, {{0, {1, 0}}, {7, {0, 1}}, {-1, {5, -5}}});
    EXPECT_THAT(values(), ElementsAre("old", "old", "old")) << "construction touches no line";
    mux.mux(0);
    EXPECT_THAT(values(), ElementsAre("1", "0", "old"));
    mux.mux(7);
    EXPECT_THAT(values(), ElementsAre("0", "1", "old"));
    mux.mux(-1);
    EXPECT_THAT(values(), ElementsAre("5", "-5", "old"));
}

TEST_F(SerialMuxTest, LinesAreSetInOrderEachByAnAccessOfItsOwn) {
    VELMOR_NEEDS_RECORDER();
    Outcome outcome = Recorder().run([this] {
        SerialMux(two_, {{3, {1, 0}}}).mux(3);
        return 0;
    });
    std::erase_if(outcome.acts, [](const std::string& act) { return !act.starts_with("write "); });
    EXPECT_THAT(outcome.acts,
                ElementsAre("write /sys/class/gpio/export 11", "write /sys/class/gpio/gpio11/direction out",
                            "write /sys/class/gpio/gpio11/value 1", "write /sys/class/gpio/unexport 11",
                            "write /sys/class/gpio/export 22", "write /sys/class/gpio/gpio22/direction out",
                            "write /sys/class/gpio/gpio22/value 0", "write /sys/class/gpio/unexport 22"));
}

TEST_F(SerialMuxTest, PortWithoutARowTouchesNoLine) {
    SerialMux mux(two_, {{0, {1, 0}}});
    for (const int port : {1, -1, 100}) EXPECT_EQ(thrown([&] { mux.mux(port); }), unsupported);
    EXPECT_THAT(values(), ElementsAre("old", "old", "old"));
    EXPECT_EQ(content("/sys/class/gpio/export"), "");
}

TEST_F(SerialMuxTest, RowOfAnotherLengthIsRefused) {
    EXPECT_EQ(thrown([this] { SerialMux(two_, {{0, {1, 0, 1}}}); }), wrong_size);
    EXPECT_EQ(thrown([this] { SerialMux(two_, {{0, {1}}}); }), wrong_size);
    EXPECT_EQ(thrown([this] { SerialMux(two_, {{0, {}}}); }), wrong_size);
    EXPECT_EQ(thrown([this] { SerialMux(two_, {{0, {1, 0}}, {1, {0, 1}}, {2, {1}}}); }), wrong_size);
    EXPECT_EQ(thrown([] { SerialMux({}, {{0, {1}}}); }), wrong_size);
}

TEST_F(SerialMuxTest, EmptyTableIsAcceptedAndSupportsNoPort) {
    SerialMux mux(two_, {});
    EXPECT_EQ(thrown([&] { mux.mux(0); }), unsupported);
    EXPECT_EQ(content("/sys/class/gpio/export"), "");
}

TEST_F(SerialMuxTest, NoLinesMakeEmptyRows) {
    SerialMux mux({}, {{0, {}}});
    EXPECT_EQ(thrown([&] { mux.mux(0); }), "nothing");
    EXPECT_EQ(thrown([&] { mux.mux(1); }), unsupported);
}

TEST_F(SerialMuxTest, FailingLineStopsTheChange) {
    SerialMux mux(three_, {{0, {1, 1, 1}}});
    testing_support::remove("/sys/class/gpio/gpio22");
    EXPECT_EQ(thrown([&] { mux.mux(0); }), "stream failure");
    EXPECT_EQ(content(value_file(11)), "1");
    EXPECT_EQ(content(value_file(33)), "old");
    EXPECT_EQ(content("/sys/class/gpio/export"), "22");
    EXPECT_EQ(content("/sys/class/gpio/unexport"), "11");
}

TEST_F(SerialMuxTest, InputLineCannotBeDriven) {
    SerialMux mux({GPIO(11, GPIO::out()), GPIO(22, GPIO::in())}, {{0, {1, 1}}});
    EXPECT_EQ(thrown([&] { mux.mux(0); }), "invalid_argument GPIO direction not valid");
    EXPECT_THAT(values(), ElementsAre("1", "old", "old"));
}

TEST_F(SerialMuxTest, LinesAndTableAreCopies) {
    SerialMux::MuxMap table = {{0, {1, 0}}};
    std::vector<GPIO> lines = two_;
    SerialMux mux(lines, table);
    table.clear();
    lines.clear();
    mux.mux(0);
    EXPECT_THAT(values(), ElementsAre("1", "0", "old"));
}

TEST_F(SerialMuxTest, UnregisteredIsNotSupported) {
    EXPECT_EQ(thrown([] { Velmor::Board().serial_mux(0, 0); }), "system_error 95 Operation not supported");
}

}  // namespace
