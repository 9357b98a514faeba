// SPDX-License-Identifier: MIT
#include "serial/serial_mux.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/board.h"
#include "support/acts.h"
#include "support/device.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::gpio;
using testing_support::in_order;
using testing_support::Outcome;
using testing_support::Recorder;
using testing_support::set_gpio_acts;
using testing_support::thrown;
using Velmor::GPIO;
using Velmor::SerialMux;

namespace {

constexpr char wrong_size[] = "invalid_argument IOs and MuxMap values must have the same size";
constexpr char unsupported[] = "invalid_argument Unsupported port";

class SerialMuxTest : public testing_support::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        for (const int pin : {11, 22, 33}) testing_support::put_gpio_line(pin, "old");
    }

    static std::vector<std::string> values() {
        return {content(gpio(11, "value")), content(gpio(22, "value")), content(gpio(33, "value"))};
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
    const Outcome outcome = Recorder().run([this] {
        SerialMux(two_, {{3, {1, 0}}}).mux(3);
        return 0;
    });
    EXPECT_EQ(outcome.acts, in_order({set_gpio_acts(11, "1"), set_gpio_acts(22, "0")}));
}

TEST_F(SerialMuxTest, PortWithoutARowTouchesNoLine) {
    SerialMux mux(two_, {{0, {1, 0}}});
    for (const int port : {1, -1, 100}) EXPECT_EQ(thrown([&] { mux.mux(port); }), unsupported);
    EXPECT_THAT(values(), ElementsAre("old", "old", "old"));
    EXPECT_EQ(content(gpio("export")), "");
}

TEST_F(SerialMuxTest, RowOfAnotherLengthIsRefused) {
    for (const SerialMux::MuxMap& rows :
         std::vector<SerialMux::MuxMap>{{{0, {1, 0, 1}}}, {{0, {1}}}, {{0, {}}}, {{0, {1, 0}}, {1, {0, 1}}, {2, {1}}}})
        EXPECT_EQ(thrown([&] { SerialMux(two_, rows); }), wrong_size);
    EXPECT_EQ(thrown([] { SerialMux({}, {{0, {1}}}); }), wrong_size);
}

TEST_F(SerialMuxTest, EmptyTableIsAcceptedAndSupportsNoPort) {
    SerialMux mux(two_, {});
    EXPECT_EQ(thrown([&] { mux.mux(0); }), unsupported);
    EXPECT_EQ(content(gpio("export")), "");
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
    EXPECT_EQ(content(gpio(11, "value")), "1");
    EXPECT_EQ(content(gpio(33, "value")), "old");
    EXPECT_EQ(content(gpio("export")), "22");
    EXPECT_EQ(content(gpio("unexport")), "11");
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
