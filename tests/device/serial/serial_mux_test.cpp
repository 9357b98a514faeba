// SPDX-License-Identifier: MIT
#include "serial/serial_mux.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/device.h"

using testing::ElementsAre;
using Velmor::GPIO;
using Velmor::SerialMux;
using namespace testing_support;

namespace {

constexpr char wrong_size[] = "invalid_argument IOs and MuxMap values must have the same size";
constexpr char unsupported[] = "invalid_argument Unsupported port";

class SerialMuxTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        for (const int pin : {11, 22, 33}) put_gpio_line(pin, "old");
    }

    static std::string switching(SerialMux mux, int port) {
        return thrown([&] { mux.mux(port); });
    }

    static std::vector<std::string> values() {
        return {content(gpio(11, "value")), content(gpio(22, "value")), content(gpio(33, "value"))};
    }

    const std::vector<GPIO> two_ = {GPIO(11, GPIO::out()), GPIO(22, GPIO::out())};
    const std::vector<GPIO> three_ = {GPIO(11, GPIO::out()), GPIO(22, GPIO::out()), GPIO(33, GPIO::out())};
};

TEST_F(SerialMuxTest, PortSetsTheLinesToItsRow) {
    SerialMux mux(two_, {{0, {1, 0}}, {7, {0, 1}}, {-1, {5, -5}}});
    EXPECT_THAT(values(), ElementsAre("old", "old", "old")) << "construction sets no line";
    mux.mux(0);
    EXPECT_THAT(values(), ElementsAre("1", "0", "old"));
    mux.mux(7);
    EXPECT_THAT(values(), ElementsAre("0", "1", "old"));
    mux.mux(-1);
    EXPECT_THAT(values(), ElementsAre("5", "-5", "old"));
}

TEST_F(SerialMuxTest, LinesAreSetOneAfterTheOther) {
    VELMOR_NEEDS_RECORDER();
    expect_acts(
        [this] {
            SerialMux(two_, {{3, {1, 0}}}).mux(3);
        },
        in_order({set_gpio_acts(11, "1"), set_gpio_acts(22, "0")}));
}

TEST_F(SerialMuxTest, PortWithoutARowSetsNoLine) {
    for (const int port : {1, -1, 100}) EXPECT_EQ(switching({two_, {{0, {1, 0}}}}, port), unsupported);
    EXPECT_EQ(switching({two_, {}}, 0), unsupported);
    EXPECT_THAT(values(), ElementsAre("old", "old", "old"));
    EXPECT_EQ(content(gpio("export")), "");
}

TEST_F(SerialMuxTest, RowOfAnotherLengthIsRefused) {
    const SerialMux::MuxMap tables[] = {{{0, {1, 0, 1}}}, {{0, {1}}}, {{0, {}}}, {{0, {1, 0}}, {1, {0, 1}}, {2, {1}}}};
    for (const auto& table : tables) EXPECT_EQ(thrown([&] { SerialMux(two_, table); }), wrong_size);
    EXPECT_EQ(thrown([] { SerialMux({}, {{0, {1}}}); }), wrong_size);
}

TEST_F(SerialMuxTest, MultiplexerWithoutLinesHasEmptyRows) {
    EXPECT_EQ(switching({{}, {{0, {}}}}, 0), "nothing");
    EXPECT_EQ(switching({{}, {{0, {}}}}, 1), unsupported);
}

TEST_F(SerialMuxTest, LineThatFailsIsTheLastToBeSet) {
    testing_support::remove("/sys/class/gpio/gpio22");
    EXPECT_EQ(switching({three_, {{0, {1, 1, 1}}}}, 0), "stream failure");
    EXPECT_EQ(content(gpio(11, "value")), "1");
    EXPECT_EQ(content(gpio(33, "value")), "old");
    EXPECT_EQ(content(gpio("export")), "22");
    EXPECT_EQ(content(gpio("unexport")), "11");
}

TEST_F(SerialMuxTest, InputLineCannotBeSet) {
    EXPECT_EQ(switching({{GPIO(11, GPIO::out()), GPIO(22, GPIO::in())}, {{0, {1, 1}}}}, 0),
              "invalid_argument GPIO direction not valid");
    EXPECT_THAT(values(), ElementsAre("1", "old", "old"));
}

TEST_F(SerialMuxTest, LinesAndTableAreCopied) {
    SerialMux::MuxMap table = {{0, {1, 0}}};
    std::vector<GPIO> lines = two_;
    SerialMux mux(lines, table);
    table.clear();
    lines.clear();
    mux.mux(0);
    EXPECT_THAT(values(), ElementsAre("1", "0", "old"));
}

}  // namespace
