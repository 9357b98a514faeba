// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "access/gpio.h"
#include "access/io_pwm.h"
#include "core/board.h"
#include "core/board_configuration.h"
#include "core/resource.h"
#include "lighting/backlight_pwm.h"
#include "platform/platform.h"
#include "sensors/radio.h"
#include "serial/serial_device.h"
#include "serial/serial_mux.h"

namespace Velmor {

namespace {

using type = Resource::type;

const std::string fifteen = "abcdefghijklmno";

const std::map<std::string, std::function<void(Board&)>>& boards() {
    static const std::map<std::string, std::function<void(Board&)>> all = {
        {"wifi_name_of_15", [](Board& board) { board.add(type::wifi, new Wifi(fifteen, 7)); }},
        {"wifi_name_of_16", [](Board& board) { board.add(type::wifi, new Wifi(fifteen + "p", 7)); }},
        {"bluetooth_name_of_15", [](Board& board) { board.add(type::bluetooth, new Bluetooth(fifteen, 7)); }},
        {"bluetooth_name_of_16", [](Board& board) { board.add(type::bluetooth, new Bluetooth(fifteen + "p", 7)); }},
        {"serial_name_of_15",
         [](Board& board) { board.add(type::serial_device, new SerialDevice(fifteen, 115200, 1)); }},
        {"serial_name_of_16",
         [](Board& board) { board.add(type::serial_device, new SerialDevice(fifteen + "p", 115200, 1)); }},
        {"mux_row_too_long",
         [](Board& board) {
             board.add(type::serial_mux,
                       new SerialMux({GPIO(42, GPIO::out()), GPIO(43, GPIO::out())}, {{0, {0, 0}}, {1, {1, 0, 1}}}));
         }},
        {"mux_row_too_short",
         [](Board& board) {
             board.add(type::serial_mux,
                       new SerialMux({GPIO(42, GPIO::out()), GPIO(43, GPIO::out())}, {{0, {0}}, {1, {1, 0}}}));
         }},
        {"mux_without_rows",
         [](Board& board) { board.add(type::serial_mux, new SerialMux({GPIO(42, GPIO::out())}, {})); }},
        {"direction_in_capitals", [](Board& board) { board.add(type::io, new GPIO(37, "OUT")); }},
        {"pwm_without_frequency",
         [](Board& board) { board.add(type::io, new IOPWM("/sys/devices/platform/mxc_pwm.1", 0, 50)); }},
        {"pwm_above_100_percent",
         [](Board& board) {
             board.add(type::backlight, new BacklightPWM("/sys/devices/platform/mxc_pwm.2", 1000, 101));
         }},
    };
    return all;
}

}  // namespace

/** The board that VELMOR_TEST_BOARD names. If it is not set, the board has no resource. */
void configure_board(Board& board) {
    const char* const chosen = std::getenv("VELMOR_TEST_BOARD");  // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (chosen == nullptr) return;
    // The radios are added only if the hardware table has them.
    board.add(type::platform, new Platform);
    boards().at(chosen)(board);
}

}  // namespace Velmor
