// SPDX-License-Identifier: MIT
#include "access/gpio.h"
#include "access/io_pwm.h"
#include "access/sysfs_io.h"
#include "core/board.h"
#include "core/board_configuration.h"
#include "core/resource.h"
#include "lighting/backlight_pwm.h"
#include "lighting/backlight_sysfs.h"
#include "lighting/display_sysfs.h"
#include "lighting/led_group_sysfs.h"
#include "mrfi/mrfi.h"
#include "platform/platform.h"
#include "platform/power.h"
#include "platform/watchdog.h"
#include "sensors/antenna.h"
#include "sensors/attitude.h"
#include "sensors/car_motion.h"
#include "sensors/gps.h"
#include "sensors/radio.h"
#include "sensors/thermal.h"
#include "serial/serial_alt_func.h"
#include "serial/serial_device.h"
#include "serial/serial_mux.h"

namespace Velmor {

/**
 * The virtual device's board "all-families": at least one resource of every family, and two where a wrong index must
 * show.
 */
void configure_board(Board& board) {
    using type = Resource::type;

    board.add(type::platform, new Platform);

    board.add(type::backlight + 0, new BacklightSysFS("/sys/class/backlight/pwm-backlight.0"));
    board.add(type::backlight + 1, new BacklightPWM("/sys/devices/platform/mxc_pwm.2", 1000 /* Hz */, -1 /* keep */));
    board.add(type::display + 0, new DisplaySysFS("/sys/class/graphics/fb0/blank"));
    board.add(type::display + 1, new DisplaySysFS("/sys/class/graphics/fb1/blank"));
    board.add(type::led_group, new LedGroupSysFS("/sys/class/leds/keypad/color"));

    board.add(type::io + 0, new IOPWM("/sys/devices/platform/mxc_pwm.1", 2700 /* Hz */, 50 /* % */));
    board.add(type::io + 1, new GPIO(37, GPIO::out()));
    board.add(type::io + 2, new GPIO(38, GPIO::in()));
    board.add(type::io + 9, new SysFSIO("/sys/devices/platform/gps.0/enable"));
    board.add(type::io + 11, new SysFSIO("/sys/devices/platform/echosounder.0/reset"));

    board.add(type::thermal + 0, new Thermal("/sys/class/thermal/thermal_zone0"));
    board.add(type::thermal + 1, new Thermal("/sys/class/thermal/thermal_zone1"));

    board.add(type::wifi, new Wifi("wlan0", 3));
    board.add(type::wifi_antenna, new Antenna(40));
    board.add(type::bluetooth, new Bluetooth("hci0", 3));
    board.add(type::bluetooth_antenna, new Antenna(41));

    board.add(type::power, new Power);
    board.add(type::watchdog, new Watchdog("/dev/watchdog"));

    board.add(type::gps, new Gps(1, 1));
    board.add(type::echosounder, new Resource);
    board.add(type::attitude, new Attitude("/dev/input/event0"));
    board.add(type::car_motion, new CarMotion("/dev/input/event1"));

    board.add(type::mrfi + 0, new MRFI("/sys/class/mrfi/mrfi0"));
    board.add(type::mrfi + 1, new MRFI("/sys/class/mrfi/mrfi1"));

    board.add(type::serial_device + 0, new SerialDevice("/dev/ttymxc4", 9600 /* bit/s */, 0));
    board.add(type::serial_device + 1, new SerialDevice("/dev/ttymxc3", 38400 /* bit/s */, 0));
    board.add(type::serial_mux + 0,
              new SerialMux({GPIO(42, GPIO::out()), GPIO(43, GPIO::out())}, {{0, {0, 0}}, {1, {1, 0}}, {2, {1, 1}}}));
    board.add(type::serial_alt_func + 0, new SerialAltFunc({0, 1}, 31));
    board.add(type::serial_alt_func + 1, new SerialAltFunc({0, 1, 2}));
}

}  // namespace Velmor
