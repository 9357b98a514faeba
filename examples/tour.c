/* SPDX-License-Identifier: MIT */
/*
 * A tour of the device: queries everything that libvelmor can query, sets what can be set, and reads it back where that
 * is possible. Brightness and lines are left as they were; antennas, multiplexer and alternate functions, which cannot
 * be queried, end in their first position. It never calls a power function.
 *
 *   cc -std=c99 tour.c $(pkg-config --cflags --libs velmor) -o tour && ./tour
 *
 * Exit status: 0 if every call returned a value or "this device has none" (EOPNOTSUPP), 1 otherwise. Two other results
 * are printed but are not failures: a kernel that does not report the display's state, and a plain file in place of the
 * watchdog.
 */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <velmor.h>

static int failures;

/* The library has already printed on standard error what went wrong. This counts the failures; "none" is not one. */
static bool answered(const char* what, int result) {
    if (result >= 0) return true;
    if (result == -EOPNOTSUPP) {
        printf("  %-22s this device has none\n", what);
    } else {
        printf("  %-22s FAILED: %d\n", what, result);
        failures++;
    }
    return false;
}

static void agree(const char* what, bool as_set) {
    if (as_set) return;
    printf("  %-22s FAILED: does not read back as it was set\n", what);
    failures++;
}

static void headline(const char* text) {
    printf("\n%s\n", text);
}

static const char* yes_no(bool flag) {
    return flag ? "yes" : "no";
}

static void tour_identity(void) {
    platform_info_t info;
    uint16_t uid = 0, manufacturer = 0;
    uint32_t oem = 0, model = 0, unique = 0;

    headline("Identity and versions");
    memset(&info, 0, sizeof info);
    if (answered("platform information", platform_info_get(&info, sizeof info))) {
        printf("  %-22s %s\n", "serial number", info.serial_number);
        printf("  %-22s %u\n", "compatibility version", (unsigned)info.compatibility_version);
        printf("  %-22s %u.%u.%u%c%u%s of %04u-%02u-%02u\n", "boot loader", info.boot_version_major,
               info.boot_version_minor, info.boot_version_revision, info.boot_version_status, info.boot_version_build,
               info.boot_version_development ? " (development)" : "", info.boot_date_year, info.boot_date_month,
               info.boot_date_day);
        printf("  %-22s %u.%u.%u%c%u%s of %04u-%02u-%02u\n", "boot splash", info.splash_version_major,
               info.splash_version_minor, info.splash_version_revision, info.splash_version_status,
               info.splash_version_build, info.splash_version_development ? " (development)" : "",
               info.splash_date_year, info.splash_date_month, info.splash_date_day);
        printf("  %-22s %u.%u.%u%c%u%s of %04u-%02u-%02u\n", "operating system", info.os_version_major,
               info.os_version_minor, info.os_version_revision, info.os_version_status, info.os_version_build,
               info.os_version_development ? " (development)" : "", info.os_date_year, info.os_date_month,
               info.os_date_day);
        printf("  %-22s %u.%u.%u%c%u%s of %04u-%02u-%02u\n", "root file system", info.fs_version_major,
               info.fs_version_minor, info.fs_version_revision, info.fs_version_status, info.fs_version_build,
               info.fs_version_development ? " (development)" : "", info.fs_date_year, info.fs_date_month,
               info.fs_date_day);
    }
    if (answered("unit identifier", platform_uid_get(&uid))) printf("  %-22s 0x%04x\n", "unit identifier", uid);
    if (answered("OEM identifier", platform_oemid_get(&oem))) printf("  %-22s %u\n", "OEM identifier", (unsigned)oem);
    if (answered("model identifier", platform_mid_get(&model)))
        printf("  %-22s 0x%04x\n", "model identifier", (unsigned)model);
    if (answered("CAN manufacturer code", platform_can_manuf_code_get(&manufacturer)))
        printf("  %-22s %u\n", "CAN manufacturer code", manufacturer);
    if (answered("CAN unique number", platform_can_unique_num_get(&unique)))
        printf("  %-22s %u\n", "CAN unique number", (unsigned)unique);
}

static void tour_light(void) {
    static const uint32_t levels[] = {0, 1, 128, 255};
    uint32_t before = 0, now = 0;
    bool before_on = true, on = false;
    led_color_t color = {0, 0, 0}, color_now = {0, 0, 0};
    size_t i;

    headline("Light");
    if (answered("backlight", backlight_get(0, &before))) {
        printf("  %-22s level %u of 255\n", "backlight", (unsigned)before);
        for (i = 0; i < sizeof levels / sizeof levels[0]; i++) {
            if (!answered("backlight", backlight_set(0, levels[i]))) continue;
            if (!answered("backlight", backlight_get(0, &now))) continue;
            printf("  %-22s set to %u, reads %u of 255\n", "backlight", (unsigned)levels[i], (unsigned)now);
            /* A level between these is rounded to the nearest that the driver has. */
            agree("backlight", (levels[i] == 0) == (now == 0) && (levels[i] == 255) <= (now == 255));
        }
        answered("backlight", backlight_set(0, before > 255 ? 255 : before));
    }

    switch (display_get(0, &before_on)) {
        case 0:
            printf("  %-22s on: %s\n", "display", yes_no(before_on));
            for (i = 0; i < 2; i++) {
                if (answered("display", display_set(0, (uint32_t)i)) && answered("display", display_get(0, &on)))
                    agree("display", on == (i == 1));
            }
            if (answered("display", display_set(0, before_on)))
                printf("  %-22s switched off and on, and left as it was\n", "display");
            break;
        case -EOPNOTSUPP: answered("display", -EOPNOTSUPP); break;
        case -1:
            printf("  %-22s this kernel does not report whether it is on\n", "display");
            if (answered("display", display_set(0, 0)) && answered("display", display_set(0, 1)))
                printf("  %-22s switched off and on\n", "display");
            break;
        default:
            printf("  %-22s FAILED\n", "display");
            failures++;
            break;
    }

    if (answered("LED group", led_color_get(0, &color)) && answered("LED group", led_color_set(0, &color)) &&
        answered("LED group", led_color_get(0, &color_now))) {
        printf("  %-22s red %d, green %d, blue %d of 255\n", "LED group", (int)color_now.red, (int)color_now.green,
               (int)color_now.blue);
        agree("LED group", memcmp(&color, &color_now, sizeof color) == 0);
    }
}

static void tour_lines(void) {
    const io_config_t half = {50, 2700};
    io_config_t before = {0, 0}, now = {0, 0};
    io_value_t level = 0, level_now = 0;
    char name[32];
    int io;

    headline("IO lines");
    if (answered("PWM line 0", io_config_get(0, &before)) && answered("PWM line 0", io_config_set(0, &half)) &&
        answered("PWM line 0", io_config_get(0, &now))) {
        printf("  %-22s %d Hz, duty %d %%\n", "PWM line 0", (int)now.frequency, (int)now.duty);
        agree("PWM line 0", now.frequency == half.frequency && now.duty == half.duty);
        answered("PWM line 0", io_config_set(0, &before));
    }
    for (io = 0; io < 12; io++) {
        sprintf(name, "line %d", io);
        if (!answered(name, io_get(io, &level))) continue;
        if (!answered(name, io_set(io, level)) || !answered(name, io_get(io, &level_now))) continue;
        printf("  %-22s level %d\n", name, (int)level_now);
        agree(name, level == level_now);
    }
}

static void tour_temperature(void) {
    thermal_state_t state = {0, 0, 0, 0, 0};

    headline("Temperature");
    if (!answered("thermal zone 0", thermal_state_get(0, &state))) return;
    printf("  %-22s %.3f degrees Celsius\n", "now", state.temp / 1000.0);
    printf("  %-22s %.3f degrees Celsius\n", "cooling active at", state.active / 1000.0);
    printf("  %-22s %.3f degrees Celsius\n", "hot at", state.hot / 1000.0);
    printf("  %-22s %.3f degrees Celsius\n", "very hot at", state.very_hot / 1000.0);
    printf("  %-22s %.3f degrees Celsius\n", "critical at", state.critical / 1000.0);
}

static void tour_radios(void) {
    wifi_info_t wifi;
    bluetooth_info_t bluetooth;
    bool present = false;

    headline("Wi-Fi and Bluetooth");
    if (answered("Wi-Fi", wifi_present(&present))) printf("  %-22s %s\n", "Wi-Fi fitted", yes_no(present));
    if (answered("Wi-Fi interface", wifi_info_get(&wifi)))
        printf("  %-22s %s, value %u\n", "Wi-Fi interface", wifi.name, (unsigned)wifi.value);
    if (answered("Wi-Fi antenna", wifi_antenna_set(0))) printf("  %-22s first selected\n", "Wi-Fi antenna");
    if (answered("Bluetooth", bluetooth_present(&present))) printf("  %-22s %s\n", "Bluetooth fitted", yes_no(present));
    if (answered("Bluetooth interface", bluetooth_info_get(&bluetooth)))
        printf("  %-22s %s, value %u\n", "Bluetooth interface", bluetooth.name, (unsigned)bluetooth.value);
    if (answered("Bluetooth antenna", bluetooth_antenna_set(0)))
        printf("  %-22s first selected\n", "Bluetooth antenna");
}

static void tour_sensors(void) {
    attitude_t attitude = {0, 0, 0};
    car_motion_t motion;
    gps_info_t gps;
    bool present = false;

    headline("Position and motion");
    if (answered("GPS", gps_info_get(&gps)))
        printf("  %-22s values %u and %u\n", "GPS", (unsigned)gps.value1, (unsigned)gps.value2);
    if (answered("echosounder", es_present(&present))) printf("  %-22s %s\n", "echosounder fitted", yes_no(present));
    if (answered("attitude", attitude_get(&attitude)))
        printf("  %-22s x %d, y %d, z %d (driver's unit)\n", "attitude", (int)attitude.x, (int)attitude.y,
               (int)attitude.z);
    if (answered("car motion", car_motion_get(&motion)))
        printf("  %-22s %d (driver's unit), reverse: %s\n", "car motion", (int)motion.speed, yes_no(motion.reverse));
}

static void tour_serial(void) {
    serial_device_info_t device;
    bool supported = false;
    char name[32];
    int port;

    headline("Serial ports");
    for (port = 0; port < 2; port++) {
        sprintf(name, "serial device %d", port);
        if (answered(name, serial_device_info_get(port, &device)))
            printf("  %-22s %s at %u bit/s, options %u\n", name, device.name, (unsigned)device.baud_rate,
                   (unsigned)device.options);
    }
    if (answered("multiplexer", serial_mux(0, 0))) printf("  %-22s connector 0 selected\n", "multiplexer");
    if (answered("alternate functions", serial_alt_func_has(0, 0, &supported)) &&
        answered("alternate functions", serial_alt_func_set(0, 0)))
        printf("  %-22s port 0 is a serial port: %s\n", "alternate functions", yes_no(supported));
}

static void tour_mrfi(void) {
    const mrfi_addr_t example = {{0x78, 0x56, 0x34, 0x12}};
    mrfi_addr_t address = {{0, 0, 0, 0}};
    mrfi_device_type_t type = 0;
    mrfi_enum_ctx* list = NULL;
    mrfi_connection_t connection;
    mrfi_device_t device;
    uint32_t device_class = 0;
    int rssi = 0, count = 0;
    bool on = false;

    headline("Short-range radio network");
    if (answered("class of an address", mrfi_class_get(&example, &device_class)))
        printf("  %-22s 12345678 is of class 0x%04x\n", "class of an address", (unsigned)device_class);
    if (answered("signal strength", mrfi_rssi_get(0, &rssi))) printf("  %-22s %d\n", "signal strength", rssi);
    if (answered("device type", mrfi_type_get(0, &type))) printf("  %-22s %d\n", "device type", (int)type);
    if (answered("address", mrfi_address_get(0, &address)))
        printf("  %-22s %02x%02x%02x%02x\n", "address", address.byte[3], address.byte[2], address.byte[1],
               address.byte[0]);
    if (answered("automatic linking", mrfi_autolink_get(0, &on)) &&
        answered("automatic linking", mrfi_autolink_set(0, on)))
        printf("  %-22s %s\n", "automatic linking", yes_no(on));
    if (answered("link", mrfi_link(0, &example)) && answered("unlink", mrfi_unlink(0, &example)))
        printf("  %-22s 12345678 linked and unlinked\n", "link");
    if (answered("connections", mrfi_connection_list_open(0, &list))) {
        for (count = 0; mrfi_connection_list_read(list, &connection) == 1;) count++;
        printf("  %-22s %d\n", "connections", count);
        answered("connections", mrfi_connection_list_close(list));
    }
    if (answered("devices seen", mrfi_device_list_open(0, &list))) {
        for (count = 0; mrfi_device_list_read(list, &device) == 1;) count++;
        printf("  %-22s %d\n", "devices seen", count);
        answered("devices seen", mrfi_device_list_close(list));
    }
}

static void tour_watchdog(void) {
    int result;

    headline("Watchdog");
    result = watchdog_enable(30);
    if (result == -ENOTTY) {
        printf("  %-22s opened; a plain file is in its place and accepts no timeout\n", "watchdog");
    } else if (answered("watchdog", result)) {
        printf("  %-22s armed, 30 s\n", "watchdog");
        if (answered("watchdog", watchdog_refresh())) printf("  %-22s fed\n", "watchdog");
    } else {
        return;
    }
    if (answered("watchdog", watchdog_disable())) printf("  %-22s disarmed\n", "watchdog");
}

int main(void) {
    printf(
        "libvelmor %s: a tour of the device\n"
        "(lines that say \"failed:\" are the library's own, on standard error)\n",
        VELMOR_VERSION_STRING);
    tour_identity();
    tour_light();
    tour_lines();
    tour_temperature();
    tour_radios();
    tour_sensors();
    tour_serial();
    tour_mrfi();
    tour_watchdog();

    headline("Power");
    printf("  %-22s not tried: they act on the whole device\n", "shutdown, reboot");
    if (failures == 0) {
        printf("\nEvery call was answered.\n");
    } else {
        printf("\n%d call(s) failed.\n", failures);
    }
    return failures == 0 ? 0 : 1;
}
