/* SPDX-License-Identifier: MIT */
/*
 * A small application at the helm: it shows the unit that it runs on, dims the display while the unit is hot, and has
 * the watchdog restart the unit if the application itself hangs.
 *
 *   cc -std=c99 helm.c $(pkg-config --cflags --libs velmor) -o helm && ./helm
 *
 * With --hang it hangs at the end. HAZARD: the watchdog then restarts the unit.
 *
 * Exit status: 0 on success; 1 if a call failed; 2 for wrong usage. A part that this unit does not have is not a
 * failure.
 */
#define _POSIX_C_SOURCE 200112L /* sleep(), pause(). NOLINT(bugprone-reserved-identifier) */

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <velmor.h>

enum { full_brightness = 255, dimmed_brightness = 64, watchdog_timeout_s = 3 };

static int failures;
static char absent[200];

/* Prints a whole table or sentence at once, before the program goes on. */
static void say(const char* text) {
    printf("%s\n", text);
    fflush(stdout);
}

/*
 * Whether a call succeeded. A part that the unit does not have is named in the last line of the table. For every call
 * that fails, the library has already printed on standard error which one it was, and why.
 */
static bool answered(const char* part, int result) {
    if (result == 0) return true;
    if (result == -EOPNOTSUPP) {
        const size_t length = strlen(absent);
        snprintf(absent + length, sizeof absent - length, "%s%s", length == 0 ? "" : ", ", part);
    } else {
        printf("  %-18s FAILED\n", part);
        failures++;
    }
    return false;
}

static void show_identity(void) {
    platform_info_t info;
    uint32_t model = 0, unique = 0;
    uint16_t manufacturer = 0;

    if (answered("platform records", platform_info_get(&info, sizeof info))) {
        printf("  %-18s %s\n", "serial number", info.serial_number);
        printf("  %-18s %u.%u.%u of %04u-%02u-%02u, on root file system %u.%u.%u\n", "operating system",
               info.os_version_major, info.os_version_minor, info.os_version_revision, info.os_date_year,
               info.os_date_month, info.os_date_day, info.fs_version_major, info.fs_version_minor,
               info.fs_version_revision);
    }
    if (answered("model", platform_mid_get(&model))) printf("  %-18s 0x%04x\n", "model", (unsigned)model);
    if (answered("CAN identity", platform_can_manuf_code_get(&manufacturer)) &&
        answered("CAN identity", platform_can_unique_num_get(&unique)))
        printf("  %-18s manufacturer %u, unit %u\n", "CAN identity", manufacturer, (unsigned)unique);
}

static void show_display(void) {
    uint32_t light = 0;
    bool on = false;
    const int result = display_get(0, &on);

    if (result == -1) {
        printf("  %-18s this kernel does not report whether it is on\n", "display");
    } else if (answered("display", result)) {
        printf("  %-18s %s\n", "display", on ? "on" : "off");
    }
    if (answered("backlight", backlight_get(0, &light)))
        printf("  %-18s level %u of 255\n", "backlight", (unsigned)light);
}

static void show_sensors(void) {
    thermal_state_t zone;
    io_value_t level = 0;
    bool fitted = false;

    if (answered("temperature", thermal_state_get(0, &zone)))
        printf("  %-18s %.1f degrees Celsius, hot from %.1f on\n", "temperature", zone.temp / 1000.0,
               zone.hot / 1000.0);
    if (answered("GPS receiver", io_get(9, &level))) printf("  %-18s %s\n", "GPS receiver", level ? "on" : "off");
    if (answered("echosounder", es_present(&fitted))) printf("  %-18s %s\n", "echosounder", fitted ? "fitted" : "none");
}

static void show_connections(void) {
    serial_device_info_t serial;
    bluetooth_info_t bluetooth;
    wifi_info_t wifi;
    io_config_t pwm;

    if (answered("serial port 0", serial_device_info_get(0, &serial)))
        printf("  %-18s %s, %u bit/s\n", "serial port 0", serial.name, (unsigned)serial.baud_rate);
    if (answered("serial port 1", serial_device_info_get(1, &serial)))
        printf("  %-18s %s, %u bit/s\n", "serial port 1", serial.name, (unsigned)serial.baud_rate);
    if (answered("Wi-Fi", wifi_info_get(&wifi))) printf("  %-18s %s\n", "Wi-Fi", wifi.name);
    if (answered("Bluetooth", bluetooth_info_get(&bluetooth))) printf("  %-18s %s\n", "Bluetooth", bluetooth.name);
    if (answered("PWM line", io_config_get(0, &pwm)))
        printf("  %-18s %d Hz, %d %% high\n", "PWM line", (int)pwm.frequency, (int)pwm.duty);
}

/* Queried only to see which of these the unit has. */
static void show_absent(void) {
    mrfi_device_type_t radio = 0;
    car_motion_t motion;
    attitude_t attitude;
    led_color_t color;
    bool has_key = false;

    answered("LED group", led_color_get(0, &color));
    answered("attitude sensor", attitude_get(&attitude));
    answered("motion sensor", car_motion_get(&motion));
    answered("short-range radio", mrfi_type_get(0, &radio));
    answered("keys on serial pins", serial_alt_func_has(0, SERIAL_ALT_FUNC_KEY, &has_key));
    if (absent[0] != '\0') printf("  %-18s %s\n", "not on this unit", absent);
}

/*
 * Full brightness while the unit is cool, a dimmed display from its "hot" trip point on. Ends when the unit has cooled
 * down.
 */
static int watch_temperature(void) {
    const int patience = 10; /* readings, one per second */
    thermal_state_t zone;
    bool dimmed = false;
    int result = 0;

    say("  full brightness");
    result = backlight_set(0, full_brightness);
    for (int look = 0; look < patience && result == 0; look++) {
        result = thermal_state_get(0, &zone);
        if (result != 0) break;
        printf("  %.1f degrees Celsius: ", zone.temp / 1000.0);
        if (!dimmed && zone.temp >= zone.hot) {
            say("hot, the display is dimmed");
            result = backlight_set(0, dimmed_brightness);
            dimmed = true;
        } else if (dimmed && zone.temp < zone.active) {
            say("cool again, the display is back at full brightness");
            return backlight_set(0, full_brightness);
        } else {
            say(dimmed ? "not cool yet" : "cool");
        }
        sleep(1);
    }
    return result;
}

/* HAZARD: from watchdog_enable() on, the unit restarts unless the watchdog is fed. */
static int watch_over_itself(bool hang) {
    int result = 0;

    printf("  armed: it restarts the unit if it is not fed for %d s\n", watchdog_timeout_s);
    fflush(stdout);
    result = watchdog_enable(watchdog_timeout_s);
    if (result != 0) return result;
    for (int feeding = 0; feeding < 3 && result == 0; feeding++) {
        sleep(1);
        say("  alive: the watchdog is fed");
        result = watchdog_refresh();
    }
    if (hang && result == 0) {
        say("  the program hangs now and no longer feeds it");
        for (;;) pause();
    }
    return watchdog_disable() != 0 ? -1 : result;
}

int main(int argc, char** argv) {
    const bool hang = argc == 2 && strcmp(argv[1], "--hang") == 0;

    if (argc > 1 && !hang) {
        fprintf(stderr, "usage: helm [--hang]; HAZARD: --hang lets the watchdog restart the unit\n");
        return 2;
    }
    /* On a terminal too, so that other programs' lines do not interrupt a table. */
    setvbuf(stdout, NULL, _IOFBF, BUFSIZ);

    say("\n1. The unit");
    show_identity();
    show_display();
    show_sensors();
    show_connections();
    show_absent();
    if (failures > 0) return 1;
    say("\n2. The temperature, and the brightness that follows it");
    if (watch_temperature() != 0) return 1;
    say("\n3. The watchdog, which restarts a unit that hangs");
    return watch_over_itself(hang) == 0 ? 0 : 1;
}
