// SPDX-License-Identifier: MIT
#include "core/board_configuration.h"

#include "access/io_pwm.h"
#include "access/sysfs_io.h"
#include "core/board.h"
#include "core/resource.h"
#include "lighting/backlight_sysfs.h"
#include "lighting/display_sysfs.h"
#include "platform/auto_power_on.h"
#include "platform/platform.h"
#include "platform/watchdog.h"
#include "sensors/gps.h"
#include "sensors/radio.h"
#include "sensors/thermal.h"
#include "serial/serial_device.h"

namespace Velmor {

void configure_board(Board& board) {
    using type = Resource::type;

    // First, because every later add() consults its hardware table.
    board.add(type::platform, new Platform);

    board.add(type::backlight + 0, new BacklightSysFS("/sys/class/backlight/pwm-backlight.0"));
    board.add(type::io + 0, new IOPWM("/sys/devices/platform/mxc_pwm.1", 2700 /* Hz */, 50 /* % */));
    board.add(type::bluetooth, new Bluetooth("hci0", 3));
    board.add(type::display + 0, new DisplaySysFS("/sys/class/graphics/fb0/blank"));
    board.add(type::echosounder, new Resource);
    board.add(type::io + 11, new SysFSIO("/sys/devices/platform/echosounder.0/reset"));
    board.add(type::gps, new Gps(1, 1));
    board.add(type::io + 9, new SysFSIO("/sys/devices/platform/gps.0/enable"));
    board.add(type::power, new AutoPowerOn);
    board.add(type::serial_device + 0, new SerialDevice("/dev/ttymxc4", 9600 /* bit/s */, 0));
    board.add(type::serial_device + 1, new SerialDevice("/dev/ttymxc3", 38400 /* bit/s */, 0));
    board.add(type::thermal + 0, new Thermal("/sys/class/thermal/thermal_zone0"));
    board.add(type::watchdog, new Watchdog("/dev/watchdog"));
    board.add(type::wifi, new Wifi("wlan0", 3));
}

}  // namespace Velmor
