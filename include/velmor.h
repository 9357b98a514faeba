/* SPDX-License-Identifier: MIT */
/**
 * @file velmor.h
 * @brief libvelmor: the hardware of the device, as C functions.
 *
 * This header is self-contained and works with C99 or C++11 and later. Link with -lvelmor (pkg-config name "velmor",
 * CMake target velmor::velmor). Each family below begins with an example; the examples also need <stdio.h>.
 *
 * ## This device
 * | functions                 | index | what it is                                            | fitted   |
 * |---------------------------|-------|-------------------------------------------------------|----------|
 * | backlight_*               | 0     | backlight of the display                              | always   |
 * | display_*                 | 0     | framebuffer fb0                                       | always   |
 * | io_set(), io_get()        | 0     | PWM output: 1 starts it, 0 stops it                   | always   |
 * |                           | 9     | GPS receiver: 1 is on, 0 is off                       | always   |
 * |                           | 11    | echosounder reset: 1 holds it in reset, 0 releases it | by table |
 * | io_config_*               | 0     | frequency and duty of the PWM output                  | always   |
 * | thermal_state_get()       | 0     | thermal_zone0                                         | always   |
 * | serial_device_info_get()  | 0     | the GPS receiver's "/dev/ttymxc4", 9600 bit/s         | always   |
 * |                           | 1     | the echosounder's "/dev/ttymxc3", 38400 bit/s         | by table |
 * | wifi_info_get()           |       | Wi-Fi, "wlan0"                                        | by table |
 * | bluetooth_info_get()      |       | Bluetooth, "hci0"                                     | by table |
 * | gps_info_get()            |       | GPS receiver                                          | always   |
 * | power_*                   |       | power-off (as a restart), reboot, suspend             | always   |
 * | watchdog_*                |       | "/dev/watchdog"                                       | always   |
 * | platform_*                |       | versions and identity                                 | always   |
 * | platform_can_*            |       | CAN identity                                          | by table |
 *
 * Calls with any other index return -95, and so do the families that this device lacks: led_color_*,
 * wifi_antenna_set(), bluetooth_antenna_set(), mrfi_* (except mrfi_class_get(), which needs no hardware),
 * attitude_get(), car_motion_get(), serial_mux() and serial_alt_func_*.
 *
 * ## What is fitted
 * "By table" means that the unit's hardware table, read when the board starts, says whether the part is fitted.
 * wifi_present(), bluetooth_present() and es_present() report it through their argument; they return 0 either way and
 * print nothing. IO line 11 and serial device 1 are present only with the echosounder. On other boards the table
 * decides about the same parts, and also about IO line 10, which comes with the echosounder too.
 *
 * For all other hardware only a call shows whether it is present: if it is not, the call returns -95 and prints
 * "<function> failed: Operation not supported". The answer stays the same until the process ends. gps_info_get() and
 * serial_alt_func_has() print this line too: serial_alt_func_has() answers without a line only for a port that the
 * board has. Antennas, power, the watchdog and the multiplexer have no function that only queries.
 *
 * ## Backlight levels
 * Level 0 is the driver's 0, level 1 its 1 and level 255 its max_brightness. The scale from level 1 to level 255 is
 * linear. Setting and getting both round to the nearest number, halves away from zero:
 *  - max_brightness 7: level 128 writes 4, which reads back as 128. Level 100 (3.34) writes 3, which reads back as 86.
 *  - max_brightness 100: level 128 (50.5) writes 51, which reads back as 129 (129.28).
 *
 * With a max_brightness of 255 or more, every level reads back as it was set. With a smaller one, setting a level that
 * was read writes the driver's number that it was read from. A backlight on a PWM line, which other boards have, is set
 * in whole percent and rounded down when read: level 128 is 50 %, which reads back as 127.
 *
 * ## Failures
 * Every function returns 0 on success and a negative number on failure; the two mrfi list reads return 1 for an
 * entry and 0 at the end of the list. The failures are:
 *  - -22 with errno EINVAL and nothing printed: a required pointer is null. Nothing was done.
 *  - -22 with errno EINVAL and a line printed: a negative timeout, a watchdog that is not armed, or an alternate
 *    function that the port does not support.
 *  - -95 with errno EOPNOTSUPP: this board has no such hardware, or none with this index.
 *  - -errno with errno set to match: a device node, a system call or a started program failed, or the library's mutex
 *    could not be locked. A driver may fail with any errno, including EINVAL and EOPNOTSUPP.
 *  - -1: a file under /sys, /proc or /etc could not be opened, read, written or parsed; an argument is out of range or
 *    does not fit the line or list; memory ran out; or the board failed to start. errno then holds whatever the failing
 *    operation left there, as after a success.
 *
 * Any function may fail with -1 because memory ran out or the board failed to start, and with -errno because the
 * library's mutex could not be locked. errno means nothing after -1, except in functions that report -errno, where -1
 * may be -EPERM. Every failure except that of a null pointer prints one line on standard error. Output arguments are
 * not written on failure unless a function says otherwise.
 *
 * The other failures are listed with each function: "Own errors" are the library's, "Kernel errors" are those of the
 * driver or the system, passed on unchanged.
 *
 * The line of a failure has the function's name, " failed: " and the cause. It is printed through std::cerr, in one
 * write, and is lost if there is no memory for it, if std::cerr does not accept it, or in a child that was forked while
 * its parent was printing its first line. If the board failed to start, a line "cannot set board resources: " with the
 * cause comes first; the call returns -1, and the next call tries to start the board again. No lock of the library is
 * held while either line is printed. In a program that does not use C++ streams, the first line constructs them on the
 * stdin, stdout and stderr of that moment: these FILEs must stay open.
 *
 * ## The first call starts the board
 * The first call of any function in a process (except one rejected for a null pointer) reads the hardware table and
 * sets the board up. This sets PWM line 0 to 2700 Hz and 50 %, overwriting what another process had set there. No other
 * hardware is changed. Once started, the board stays until the process ends.
 *
 * ## Threads
 * Any function may be called from any thread. The caller must make sure that the calls in each of these groups do not
 * overlap:
 *  - watchdog_enable(), watchdog_disable() and watchdog_refresh();
 *  - the first calls of one motion sensor (attitude_get(), car_motion_get());
 *  - io_config_set() with another io_config_set() or io_config_get() on the same line: the duty is 0 for a moment;
 *  - accesses to one GPIO line: io_set() and io_get() on it, the antennas and the serial multiplexers that use it;
 *  - serial_alt_func_set() with another serial_alt_func_set(), on any port: they share a list of keys, and one of the
 *    two changes may be lost;
 *  - uses of one list context (mrfi_*_list_read(), mrfi_*_list_close()).
 *
 * Two threads may set the same attribute at the same time: the kernel keeps the later value. A thread may be cancelled
 * (pthread_cancel()) inside any function. The cancellation takes effect when the function has done its work; while a
 * power function waits for a program or for the system to go down, it takes effect at once.
 *
 * ## Signals, fork and exec
 *  - Signal handlers: in general the functions are not async-signal-safe. Lists and key lists allocate memory; a
 *    failing call allocates and prints. Once the board has started, a handler may call watchdog_refresh() and the
 *    functions that set or get a backlight, a display, an LED group or a temperature: as long as they succeed, they
 *    allocate nothing and wait for no lock. A failing one may deadlock with the code that the handler interrupted. The
 *    rules for threads above also apply between a handler and the code that it interrupts.
 *  - If a handler interrupts its own thread while that is starting the board or waiting for the start, a call from the
 *    handler fails with -35 (EDEADLK); like every failing call in a handler, it may deadlock. A call needs up to 16 KiB
 *    of stack.
 *  - fork(): a child may call the library, whatever the parent's threads were doing in it: no lock of the library stays
 *    locked. This also holds for calls from fork handlers, and if a signal handler forked in the middle of a call.
 *    (Such a child should not return from the handler: it would finish the interrupted call a second time.) A fork
 *    never waits for the library, which registers no fork handler. If the parent had not finished starting the board,
 *    the child starts it afresh. That start, and a call that fails, use the allocator and the unwinder of the C and C++
 *    libraries, which may be locked in a child of a multithreaded process.
 *  - The library's descriptors are close-on-exec and never 0, 1 or 2, even in a process that has closed these. A forked
 *    child that executes no program keeps those that were open at the fork: the device nodes that stay open, and any
 *    file that another thread was accessing.
 *  - So parent and child share an armed watchdog. Either can feed it. If one disarms it, this takes effect only when
 *    the other has closed it too: by watchdog_disable(), by exec or by ending.
 *  - power_reboot() (and power_shutdown() on boards that run a program for it) waits for any child of the process: it
 *    may reap one of the application's own children and mistake that child's exit status for the program's. If SIGCHLD
 *    is ignored, the call waits until every child of the process has ended and then returns -ECHILD, although the
 *    program has run: its status is lost. A signal whose handler was installed without SA_RESTART, such as an interval
 *    timer's, ends the wait with -4 (EINTR), although the program has been started.
 *  - The library installs no signal handler, changes no signal mask, sets no locale and starts no thread.
 *
 * ## What persists
 * Settings are kept by the hardware, not by the process: a backlight level, a display state, an output level or a PWM
 * configuration persists after the process ends, and an armed watchdog still restarts the device. The library stays
 * loaded after dlclose(): after a new dlopen() an armed watchdog can still be fed.
 *
 * ## Files
 * The library uses these files of this device as the calling user. Every function needs those of the first call, too.
 *  - /sys/class/backlight/pwm-backlight.0/brightness: read by backlight_get(), written by backlight_set()
 *  - /sys/class/backlight/pwm-backlight.0/max_brightness: read by the first call
 *  - /sys/class/graphics/fb0/blank: read by display_get(), written by display_set()
 *  - /sys/devices/platform/mxc_pwm.1/period: read by io_config_get(), read and written by io_config_set() and the first
 *    call
 *  - /sys/devices/platform/mxc_pwm.1/duty: read by io_config_get(), read and written by io_config_set() and the first
 *    call
 *  - /sys/devices/platform/mxc_pwm.1/status: IO line 0, read by io_get(), written by io_set()
 *  - /sys/devices/platform/gps.0/enable: IO line 9, read by io_get(), written by io_set()
 *  - /sys/devices/platform/echosounder.0/reset: IO line 11, read by io_get(), written by io_set()
 *  - /sys/class/thermal/thermal_zone0/temp: read by thermal_state_get()
 *  - /sys/class/thermal/thermal_zone0/trip_point_<n>_temp: read by thermal_state_get()
 *  - /sys/class/thermal/thermal_zone0/trip_point_<n>_type: read by the first call
 *  - /proc/platform/pht: the hardware table, read by the first call
 *  - /proc/platform/pht_version: the table's layout, read by the first call
 *  - /proc/platform/<field>: read by platform_info_get() and, if the serial number is needed,
 *    platform_can_unique_num_get()
 *  - /etc/fs_version: read by platform_info_get() and, if the serial number is needed, platform_can_unique_num_get()
 *  - /dev/watchdog: opened by watchdog_enable(), which arms it, and kept open for watchdog_refresh() and
 *    watchdog_disable()
 *  - /sys/power/state: written by power_suspend()
 *  - /sbin/reboot: run by power_reboot()
 *
 * The device nodes that serial_device_info_get() reports, "/dev/ttymxc4" and "/dev/ttymxc3", are not opened.
 */
#ifndef VELMOR_H
#define VELMOR_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/** Version of this header. The shared library's soname carries the major number: libvelmor.so.3. */
#define VELMOR_VERSION_MAJOR 3
#define VELMOR_VERSION_MINOR 0
#define VELMOR_VERSION_PATCH 0
#define VELMOR_VERSION_STRING "3.0.0"

/** Marks the exported functions. */
#define VELMOR_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Backlight -------------------------------------------------------------------------------------------------- */

/**
 * @name Backlight
 * @code
 * uint32_t level = 0;
 * if (backlight_get(0, &level) == 0 && level > 64) {
 *     printf("dimming from %u to 64 of 255\n", level);
 *     backlight_set(0, 64);
 * }
 * @endcode
 * @{
 */

/**
 * Set the brightness of a backlight.
 * @param index  backlight, from 0 (this device has one, the display's)
 * @param level  0 (off) to 255 (full); 1 is the dimmest light that the driver offers
 * @return 0, or negative. Own errors: -95 if there is no such backlight; -1 for a level above 255 (nothing is written).
 *   Kernel errors: -1 if "brightness" cannot be written.
 * @note Blocks only for the driver's write. Any thread. The level persists after the process ends.
 */
VELMOR_API int backlight_set(int index, uint32_t level);

/**
 * Get the brightness of a backlight.
 * @param index  backlight, from 0
 * @param level  receives 0 (off) to 255 (full): /sys/class/backlight/<name>/brightness, scaled by the max_brightness
 *   that was read when the board started. More than 255 if the driver reports more than its maximum.
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if "brightness" cannot be read or
 *   parsed.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int backlight_get(int index, uint32_t* level);

/** @} */

/* ---- Display ---------------------------------------------------------------------------------------------------- */

/**
 * @name Display
 * @code
 * bool on = false;
 * if (display_get(0, &on) == 0 && on) {
 *     backlight_set(0, 0);  // blanking leaves the light on
 *     display_set(0, 0);
 * }
 * @endcode
 * @{
 */

/**
 * Switch a display on or off (framebuffer blanking; the backlight is not touched).
 * @param index  display, from 0
 * @param on     1 is on, 0 is off. This number, with its lowest bit inverted, is written to the framebuffer's "blank".
 *   Other numbers reach the driver too: 2 writes 3.
 * @return 0, or negative. Own errors: -95. Kernel errors: -1 if "blank" cannot be written.
 * @note Blocks for the driver's write. Any thread. The state persists after the process ends.
 */
VELMOR_API int display_set(int index, uint32_t on);

/**
 * Report whether a display is on.
 * @param index  display, from 0
 * @param on     receives false if /sys/class/graphics/fb<n>/blank reads 1, true for every other number
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if "blank" cannot be read or
 *   contains no number; on mainline kernels it reads empty.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int display_get(int index, bool* on);

/** @} */

/* ---- LED groups (none on this device) --------------------------------------------------------------------------- */

/**
 * @name LED groups
 * @code
 * const led_color_t amber = {255, 191, 0};
 * if (led_color_set(0, &amber) == -95) {
 *     printf("this board has no LEDs\n");
 * }
 * @endcode
 * @{
 */

/** A colour: three intensities, each 0 (dark) to 255 (full). */
typedef struct led_color_t {
    int32_t red;
    int32_t green;
    int32_t blue;
} led_color_t;

/**
 * Set the colour of a group of LEDs.
 * @param index  LED group, from 0
 * @param color  the colour; read during the call only
 * @return 0, or negative. Own errors: -22 for a null pointer; -95; -1 for a component outside 0..255 (nothing is
 *   written). Kernel errors: -1 if the driver's colour attribute cannot be written.
 * @note Blocks for one write. Any thread. The colour persists after the process ends.
 */
VELMOR_API int led_color_set(int index, const led_color_t* color);

/**
 * Get the colour of a group of LEDs.
 * @param index  LED group, from 0
 * @param color  receives the three numbers of the driver's colour attribute, unchecked
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if the attribute cannot be read or
 *   contains fewer than three numbers.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int led_color_get(int index, led_color_t* color);

/** @} */

/* ---- IO lines --------------------------------------------------------------------------------------------------- */

/**
 * @name IO lines
 * @code
 * const io_config_t config = {50, 2700};  // percent, hertz
 * io_value_t gps = 0;
 * if (io_config_set(0, &config) == 0) {
 *     io_set(0, 1);  // start the PWM output
 * }
 * if (io_get(9, &gps) == 0 && gps == 0) {
 *     io_set(9, 1);  // switch the GPS receiver on
 * }
 * @endcode
 * @{
 */

/** Level of an IO line: 0 is low (off), 1 is high (on). */
typedef int32_t io_value_t;

/** Configuration of a PWM line. */
typedef struct io_config_t {
    int32_t duty;      /**< duty cycle in percent, 0..100; setting -1 keeps the current one */
    int32_t frequency; /**< frequency in hertz, 1..2000000 */
} io_config_t;

/**
 * Set the level of an output line.
 * @param io     line number; on this device 0 (PWM output: 1 starts it, 0 stops it, other values do nothing), 9 (GPS
 *   enable) and 11 (echosounder reset, if an echosounder is fitted)
 * @param value  level, 0 or 1; for a line behind a driver's attribute any number, which is written unchanged
 * @return 0, or negative. Own errors: -95 if there is no such line; -1 if it is an input. Kernel errors: -1 if the
 *   line's attribute cannot be written.
 * @note Blocks for the driver's writes. Any thread, but accesses to one GPIO line must not overlap. The level persists
 *   after the process ends; a GPIO line is unexported after each access.
 */
VELMOR_API int io_set(int io, io_value_t value);

/**
 * Get the level of a line.
 * @param io     line number, see io_set()
 * @param value  receives the level. Line 0: 1 if the PWM's "status" reads 1, else 0. Driver attributes: their number.
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if there is no such line; -1 if it is a GPIO output.
 *   Kernel errors: -1 if the attribute cannot be read or parsed.
 * @note Blocks for the driver's read. Any thread, but accesses to one GPIO line must not overlap. Reading a GPIO line
 *   exports it, makes it an input and unexports it; reading other lines changes nothing.
 */
VELMOR_API int io_get(int io, io_value_t* value);

/**
 * Configure a PWM line: set the duty to 0, then the period, then the new duty. The current duty is read in whole
 * percent, rounded down. A current duty below 1 % counts as 0: it is not set to 0 first, and a new duty of -1 or 0 does
 * not change its high time.
 * @param io      line number; on this device 0
 * @param config  frequency in hertz, 1..2000000, and duty in percent, 0..100 or -1 to keep the current duty; read
 *   during the call only. The line is neither started nor stopped, see io_set().
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if the line is not a PWM; -1 for a frequency out of
 *   range (nothing is written); -1 for a duty out of range, whether new or kept: the new period is then set, and the
 *   duty is 0, or unchanged if it was below 1 %. Kernel errors: -1 if "period" or "duty" cannot be read or written; the
 *   line may then be left at duty 0.
 * @note Blocks for up to four reads and three writes. Any thread, but calls for one line must not overlap: the duty is
 *   0 for a moment while the period changes, and another call would take that for the current duty. The duty is
 *   computed in 32 bits: below 24 Hz it wraps for high percentages. The configuration persists after the process ends,
 *   until any process makes its first call to this library.
 */
VELMOR_API int io_config_set(int io, const io_config_t* config);

/**
 * Get the configuration of a PWM line.
 * @param io      line number; on this device 0
 * @param config  receives frequency in hertz and duty in percent, both rounded down, from the channel's "period" and
 *   "duty" (nanoseconds); a period of 0 yields 0 for both. The duty is computed in 32 bits and wraps for a high time
 *   above 42949672 ns.
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if the line is not a PWM. Kernel errors: -1 if
 *   "period" or "duty" cannot be read or parsed.
 * @note Blocks for three reads. Any thread. Changes nothing.
 */
VELMOR_API int io_config_get(int io, io_config_t* config);

/** @} */

/* ---- Temperature ------------------------------------------------------------------------------------------------ */

/**
 * @name Temperature
 * @code
 * thermal_state_t zone;
 * if (thermal_state_get(0, &zone) == 0) {
 *     printf("%.1f degrees Celsius\n", zone.temp / 1000.0);
 *     if (zone.temp >= zone.hot) backlight_set(0, 64);
 * }
 * @endcode
 * @{
 */

/** Temperatures of a thermal zone, in millidegrees Celsius as the kernel reports them. */
typedef struct thermal_state_t {
    int32_t temp;     /**< current temperature, from "temp" */
    int32_t active;   /**< trip point of type "active" */
    int32_t hot;      /**< trip point of type "hot" */
    int32_t very_hot; /**< trip point of type "very_hot" */
    int32_t critical; /**< trip point of type "critical" */
} thermal_state_t;

/**
 * Get the temperature of a thermal zone and its four trip points.
 * @param zone   thermal zone, from 0
 * @param state  receives five temperatures in millidegrees Celsius, from /sys/class/thermal/thermal_zone<n>/
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if a file cannot be read or
 *   parsed. Also -1, until the process ends, if the types of the zone's trip points 0 to 3 could not be read when the
 *   board started, or if one of the four types was missing.
 * @note Blocks for five reads, which are not one snapshot. Any thread. Changes nothing.
 */
VELMOR_API int thermal_state_get(int zone, thermal_state_t* state);

/** @} */

/* ---- Wi-Fi and Bluetooth ---------------------------------------------------------------------------------------- */

/**
 * @name Wi-Fi and Bluetooth
 * @code
 * bool fitted = false;
 * wifi_info_t wifi;
 * if (wifi_present(&fitted) == 0 && fitted &&
 *     wifi_info_get(&wifi) == 0) {
 *     printf("Wi-Fi is %s\n", wifi.name);
 * }
 * @endcode
 * @{
 */

/** Selects an antenna: the level to write to the antenna's select line, 0 or 1. */
typedef int32_t antenna_t;

/** Description of the Wi-Fi radio. */
typedef struct wifi_info_t {
    char name[16];  /**< network interface, NUL-terminated: "wlan0" on this device */
    uint32_t value; /**< a number defined by the board, passed through: 3 on this device */
} wifi_info_t;

/** Description of the Bluetooth radio. */
typedef struct bluetooth_info_t {
    char name[16];  /**< interface, NUL-terminated: "hci0" on this device */
    uint32_t value; /**< a number defined by the board, passed through: 3 on this device */
} bluetooth_info_t;

/**
 * Select the Wi-Fi antenna.
 * @param antenna  level of the select line, 0 or 1
 * @return 0, or negative. Own errors: -95 on boards without an antenna switch, such as this device. Kernel errors: -1
 *   if the GPIO line cannot be exported or written.
 * @note Blocks for four writes. Any thread, but accesses to one GPIO line must not overlap. The selection persists
 *   after the process ends.
 */
VELMOR_API int wifi_antenna_set(antenna_t antenna);

/**
 * Report whether a Wi-Fi radio is fitted, according to the hardware table.
 * @param present  receives true if one is fitted
 * @return 0, or negative. Own errors: -22 for a null pointer. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int wifi_present(bool* present);

/**
 * Get the description of the Wi-Fi radio.
 * @param info  receives the description; the radio itself is not queried
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if no Wi-Fi radio is fitted. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int wifi_info_get(wifi_info_t* info);

/**
 * Select the Bluetooth antenna.
 * @param antenna  level of the select line, 0 or 1
 * @return 0, or negative. Own errors: -95 on boards without an antenna switch, such as this device. Kernel errors: -1
 *   if the GPIO line cannot be exported or written.
 * @note Blocks for four writes. Any thread, but accesses to one GPIO line must not overlap. The selection persists
 *   after the process ends.
 */
VELMOR_API int bluetooth_antenna_set(antenna_t antenna);

/**
 * Report whether a Bluetooth radio is fitted, according to the hardware table.
 * @param present  receives true if one is fitted
 * @return 0, or negative. Own errors: -22 for a null pointer. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int bluetooth_present(bool* present);

/**
 * Get the description of the Bluetooth radio.
 * @param info  receives the description; the radio itself is not queried
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if no Bluetooth radio is fitted. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int bluetooth_info_get(bluetooth_info_t* info);

/** @} */

/* ---- Power: these functions act on the whole device ------------------------------------------------------------- */

/**
 * @name Power
 * @code
 * fflush(NULL);  // every process is about to end
 * int result = power_reboot();
 * printf("not rebooted: %d\n", result);  // reached on failure only
 * @endcode
 * @code
 * fflush(NULL);  // every process is about to end
 * int result = power_shutdown();
 * printf("not shut down: %d\n", result);  // reached on failure only
 * @endcode
 * @code
 * if (power_suspend() == 0) {
 *     printf("resumed, or the suspend was refused\n");
 * }
 * @endcode
 * @{
 */

/**
 * Power the device down. HAZARD: on this device this is a sync and then a restart with the command "wdt", so that the
 * unit comes back by itself; boards without automatic power-on run "/sbin/poweroff".
 * @return does not return on success: the calling thread waits for the system to go down. Negative on failure. Own
 *   errors: -95. Kernel errors: -errno of the restart call (-EPERM without CAP_SYS_BOOT); on boards that run the
 *   program, those of power_reboot().
 * @note Blocks until the system is down. Any thread; other threads may go on calling the library. See "Signals, fork
 *   and exec".
 */
VELMOR_API int power_shutdown(void);

/**
 * Reboot the device by running "/sbin/reboot". HAZARD: ends every process.
 * @return does not return on success: the calling thread waits for the system to go down. Negative on failure. Own
 *   errors: -95. Kernel errors: -errno of starting the program (-ENOENT if it is missing) or of waiting for it, or
 *   minus the program's exit code; a program killed by a signal counts as success.
 * @note Blocks until the system is down. Any thread. Waits for any child of the process, see "Signals, fork and exec".
 */
VELMOR_API int power_reboot(void);

/**
 * Suspend the device to memory. HAZARD: everything stops until a wake-up source fires. Nothing is reported if the
 * suspend is refused or "/sys/power/state" cannot be written.
 * @return 0 after the system has resumed, 0 at once if nothing was suspended, or negative. Own errors: -95. No kernel
 *   errors.
 * @note Blocks until the system has resumed. Any thread.
 */
VELMOR_API int power_suspend(void);

/** @} */

/* ---- Watchdog: once armed, it restarts the device unless it is fed ---------------------------------------------- */

/**
 * @name Watchdog
 * @code
 * if (watchdog_enable(30) == 0) {
 *     for (int step = 0; step < 100; step++) {
 *         // one step of the work, which takes much less than 30 s
 *         watchdog_refresh();
 *     }
 *     watchdog_disable();
 * }
 * @endcode
 * @{
 */

/**
 * Arm the hardware watchdog, or arm it again with another timeout. HAZARD: from then on the device restarts unless
 * watchdog_refresh() is called at intervals shorter than the timeout. HAZARD: a second call disarms the watchdog before
 * opening it again. If that open fails, the watchdog stays disarmed: nothing watches the device any more.
 * @param timeout_s  timeout in seconds, 0 or more; the driver decides what it accepts and may round it
 * @return 0, or negative. Own errors: -22 for a negative timeout (nothing is opened); -95. Kernel errors: -errno of
 *   opening "/dev/watchdog" (-EBUSY while another process holds it): the watchdog is then disarmed, even if it was
 *   armed before. -errno of WDIOC_SETTIMEOUT, which may be -22 or -95: the watchdog is then armed with the driver's own
 *   timeout. -errno of disarming it before arming it again: it is then still armed, with its old timeout.
 * @note Blocks only for the driver. Watchdog calls must not overlap. The watchdog stays armed after the process ends:
 *   the device restarts if a process exits without watchdog_disable().
 */
VELMOR_API int watchdog_enable(int timeout_s);

/**
 * Disarm the watchdog: write the magic character "V" and close it.
 * @return 0, or negative. Own errors: -22 if this process has not armed it; -95. Kernel errors: -errno of the write;
 *   the watchdog then stays open and armed. With a driver built with "nowayout" it stays armed although 0 is returned.
 * @note Blocks only for the driver. Watchdog calls must not overlap. The watchdog stays disarmed after the process
 *   ends.
 */
VELMOR_API int watchdog_disable(void);

/**
 * Feed the watchdog (WDIOC_KEEPALIVE).
 * @return 0, or negative. Own errors: -22 if this process has not armed it; -95. Kernel errors: -errno of the ioctl.
 * @note Blocks only for the driver. Watchdog calls must not overlap. Restarts the timeout; changes nothing else.
 */
VELMOR_API int watchdog_refresh(void);

/** @} */

/* ---- Identity and versions -------------------------------------------------------------------------------------- */

/**
 * @name Identity and versions
 * @code
 * platform_info_t info;
 * if (platform_info_get(&info, sizeof info) == 0) {
 *     printf("serial number %s\n", info.serial_number);
 *     printf("operating system %u.%u.%u\n", info.os_version_major,
 *            info.os_version_minor, info.os_version_revision);
 * }
 * @endcode
 * @{
 */

/**
 * Versions, build dates and serial number. 96 bytes. Unless noted otherwise, a field is read from
 * "/proc/platform/<field>"; those beginning with fs_ come from "/etc/fs_version". Numbers are cut to the field's width.
 * The reserved bytes are never written and keep what the caller left there. A status is one letter; a year has four
 * digits.
 */
typedef struct platform_info_t {
    uint8_t os_version_major;
    uint8_t os_version_minor;
    uint8_t os_version_revision;
    char os_version_status;
    uint8_t os_version_build;
    uint8_t os_version_development;
    uint8_t os_date_day;
    uint8_t os_date_month;
    uint16_t os_date_year;
    uint8_t reserved_10[2];
    uint32_t featuremask_low;  /**< always 0 */
    uint32_t featuremask_high; /**< always 0 */
    uint32_t compatibility_version;
    char serial_number[32]; /**< NUL-terminated; cut to 31 characters; empty if it cannot be read */
    uint8_t reserved_56[6];
    uint8_t boot_info_kind; /**< always 2 */
    uint8_t boot_version_major;
    uint8_t boot_version_minor;
    uint8_t boot_version_revision;
    char boot_version_status;
    uint8_t boot_version_build;
    uint8_t boot_version_development;
    uint8_t boot_date_day;
    uint8_t boot_date_month;
    uint8_t reserved_71[1];
    uint16_t boot_date_year;
    uint8_t fs_version_major;
    uint8_t fs_version_minor;
    uint8_t fs_version_revision;
    char fs_version_status;
    uint8_t fs_version_build;
    uint8_t fs_version_development; /**< 1 for a development build ("D" after the build number), else 0 */
    uint8_t fs_date_day;
    uint8_t fs_date_month;
    uint16_t fs_date_year;
    uint8_t splash_version_major;
    uint8_t splash_version_minor;
    uint8_t splash_version_revision;
    char splash_version_status;
    uint8_t splash_version_build;
    uint8_t splash_version_development;
    uint8_t splash_date_day;
    uint8_t splash_date_month;
    uint16_t splash_date_year;
    uint8_t reserved_94[2];
} platform_info_t;

/**
 * Get versions, build dates and the serial number.
 * @param info  receives the record, which is always 96 bytes long
 * @param size  sizeof(platform_info_t); reserved for the future and ignored
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 on boards without platform records. Kernel errors: -1
 *   if a record other than serial_number is missing or contains no number; the part of *info that was read before it is
 *   then already written.
 * @note Blocks for 30 short reads. Any thread. Changes nothing.
 */
VELMOR_API int platform_info_get(platform_info_t* info, size_t size);

/**
 * Get the unit identifier, from the hardware table.
 * @param uid  receives the 16-bit identifier
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 on boards without platform records. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int platform_uid_get(uint16_t* uid);

/**
 * Get the OEM identifier, from the hardware table.
 * @param oemid  receives the identifier, 0..31
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 on boards without platform records. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int platform_oemid_get(uint32_t* oemid);

/**
 * Get the model identifier, from the hardware table.
 * @param mid  receives the identifier, 0..65535
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 on boards without platform records. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int platform_mid_get(uint32_t* mid);

/**
 * Get the CAN manufacturer code, from the hardware table.
 * @param code  receives the code, 0..2047 (11 bits)
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if the table's layout has no CAN identity (version
 *   2), and on boards without platform records. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int platform_can_manuf_code_get(uint16_t* code);

/**
 * Get the CAN unique number: from the hardware table or, if that says 0, from the last six hexadecimal digits of the
 * serial number. Only the first 31 characters of the serial number count.
 * @param number  receives the number, 0..2097151 (21 bits); 0 if it comes from a serial number shorter than six
 *   characters
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 if the table's layout has no CAN identity (version
 *   2), and on boards without platform records. Kernel errors: -1 as for platform_info_get(), if the serial number is
 *   needed.
 * @note Does not block once the board has started, unless the serial number is needed: it then reads what
 *   platform_info_get() reads. Any thread. Changes nothing.
 */
VELMOR_API int platform_can_unique_num_get(uint32_t* number);

/** @} */

/* ---- Short-range radio network MRFI (none on this device) ------------------------------------------------------- */

/**
 * @name Short-range radio network MRFI
 * @code
 * mrfi_enum_ctx* list = NULL;
 * mrfi_device_t device;
 * if (mrfi_device_list_open(0, &list) == 0) {
 *     while (mrfi_device_list_read(list, &device) == 1) {
 *         printf("%s\n", device.name);
 *     }
 *     mrfi_device_list_close(list);
 * }
 * @endcode
 * @{
 */

/** Address of a node: one 32-bit number, least significant byte first. Bytes 2 and 3 are the device class. */
typedef struct mrfi_addr_t {
    uint8_t byte[4];
} mrfi_addr_t;

/** Type of a node: a number defined by the driver. */
typedef int32_t mrfi_device_type_t;

/** A list being read. Opaque; the caller owns it from open to close. */
typedef struct mrfi_enum_ctx mrfi_enum_ctx;

/** One connection. The driver defines what the flags and values mean. */
typedef struct mrfi_connection_t {
    uint8_t flag1 : 1;
    uint8_t flag2 : 1;
    uint8_t reserved : 6; /**< never written: keeps what the caller left there */
    uint8_t value1;
    uint8_t value2;
    uint8_t value3;
    mrfi_addr_t address;
} mrfi_connection_t;

/** One device that has been seen. The driver defines what the values mean. */
typedef struct mrfi_device_t {
    uint32_t value1;
    uint32_t value2;
    mrfi_addr_t address;
    char name[16]; /**< NUL-terminated, cut to 15 characters; empty if the driver has no name */
} mrfi_device_t;

/**
 * Get the received signal strength of an interface.
 * @param index  MRFI interface, from 0
 * @param rssi   receives the driver's number, unchanged, from the interface's "rssi"
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if the attribute cannot be read or
 *   parsed.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_rssi_get(int index, int* rssi);

/**
 * Get the device type of an interface.
 * @param index  MRFI interface, from 0
 * @param type   receives the driver's number, from the interface's "type"
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if the attribute cannot be read or
 *   parsed.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_type_get(int index, mrfi_device_type_t* type);

/**
 * Get the address of an interface.
 * @param index    MRFI interface, from 0
 * @param address  receives the 4 bytes, from the interface's "address"
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if the attribute cannot be read or
 *   parsed.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_address_get(int index, mrfi_addr_t* address);

/**
 * Switch automatic linking on or off.
 * @param index  MRFI interface, from 0
 * @param on     only the low 8 bits count: 0 is off, any other value is on (256 is off)
 * @return 0, or negative. Own errors: -95. Kernel errors: -1 if "autolink" cannot be written.
 * @note Blocks for one write. Any thread. The state persists after the process ends.
 */
VELMOR_API int mrfi_autolink_set(int index, int on);

/**
 * Report whether automatic linking is on.
 * @param index  MRFI interface, from 0
 * @param on     receives the state, from the interface's "autolink", which must read 0 or 1
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if the attribute cannot be read or
 *   parsed.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_autolink_get(int index, bool* on);

/**
 * Link to a peer.
 * @param index    MRFI interface, from 0
 * @param address  the peer; read during the call only
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if "link" cannot be written or the
 *   driver refuses the address.
 * @note Blocks for the driver's write. Any thread. The link persists after the process ends.
 */
VELMOR_API int mrfi_link(int index, const mrfi_addr_t* address);

/**
 * Unlink a peer.
 * @param index    MRFI interface, from 0
 * @param address  the peer; read during the call only
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -1 if "unlink" cannot be written or
 *   the driver refuses the address.
 * @note Blocks for the driver's write. Any thread. The change persists after the process ends.
 */
VELMOR_API int mrfi_unlink(int index, const mrfi_addr_t* address);

/**
 * Take a snapshot of the connections, to read them one by one.
 * @param index    MRFI interface, from 0
 * @param context  receives the list, which the caller owns until mrfi_connection_list_close()
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. No kernel errors. A "connections" file that cannot
 *   be read counts as an empty list, and an empty line ends the list.
 * @note Blocks for reading the whole file. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_connection_list_open(int index, mrfi_enum_ctx** context);

/**
 * Read the next connection of a list.
 * @param context     a list from mrfi_connection_list_open(), not yet closed. The behaviour is undefined for any
 *   other pointer except null.
 * @param connection  receives the entry; its reserved bits are left alone
 * @return 1 if an entry was stored, 0 at the end of the list and in every later call, or negative. Own errors: -22 for
 *   a null pointer; -1 for a context without an owner. No kernel errors. Short or malformed lines are not errors:
 *   missing fields are 0.
 * @note Does not block. Uses of one context must not overlap. Changes nothing but the context.
 */
VELMOR_API int mrfi_connection_list_read(mrfi_enum_ctx* context, mrfi_connection_t* connection);

/**
 * Close a list of connections and free its context.
 * @param context  a list from mrfi_connection_list_open(), not yet closed. The behaviour is undefined for any other
 *   pointer except null.
 * @return 0, or negative. Own errors: -22 for a null pointer; -1 for a context without an owner. No kernel errors.
 * @note Does not block. Uses of one context must not overlap.
 */
VELMOR_API int mrfi_connection_list_close(mrfi_enum_ctx* context);

/**
 * Take a snapshot of the devices that have been seen, to read them one by one.
 * @param index    MRFI interface, from 0
 * @param context  receives the list, which the caller owns until mrfi_device_list_close()
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. No kernel errors. A "devices" file that cannot be
 *   read counts as an empty list, and an empty line ends the list.
 * @note Blocks for reading the whole file. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_device_list_open(int index, mrfi_enum_ctx** context);

/**
 * Read the next device of a list.
 * @param context  a list from mrfi_device_list_open(), not yet closed. The behaviour is undefined for any
 *   other pointer except null.
 * @param device   receives the entry
 * @return 1 if an entry was stored, 0 at the end of the list and in every later call, or negative. Own errors: -22 for
 *   a null pointer; -1 for a context without an owner. No kernel errors. Short or malformed lines are not errors:
 *   missing fields are 0 or empty.
 * @note Does not block. Uses of one context must not overlap. Changes nothing but the context.
 */
VELMOR_API int mrfi_device_list_read(mrfi_enum_ctx* context, mrfi_device_t* device);

/**
 * Close a list of devices and free its context.
 * @param context  a list from mrfi_device_list_open(), not yet closed. The behaviour is undefined for any other
 *   pointer except null.
 * @return 0, or negative. Own errors: -22 for a null pointer; -1 for a context without an owner. No kernel errors.
 * @note Does not block. Uses of one context must not overlap.
 */
VELMOR_API int mrfi_device_list_close(mrfi_enum_ctx* context);

/**
 * Get the device class contained in an address. This works on boards without MRFI too.
 * @param address       an address; read during the call only
 * @param device_class  receives byte 2 plus 256 times byte 3 of the address, 0..65535
 * @return 0, or negative. Own errors: -22 for a null pointer. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int mrfi_class_get(const mrfi_addr_t* address, uint32_t* device_class);

/** @} */

/* ---- Motion sensors (none on this device) ----------------------------------------------------------------------- */

/**
 * @name Motion sensors
 * @code
 * car_motion_t motion;
 * if (car_motion_get(&motion) == 0) {
 *     printf("speed %d%s\n", motion.speed,
 *            motion.reverse ? ", reversing" : "");
 * }
 * @endcode
 * @{
 */

/** Three axes of the attitude sensor, in the input driver's unit. */
typedef struct attitude_t {
    int32_t x; /**< ABS_X */
    int32_t y; /**< ABS_Y */
    int32_t z; /**< ABS_Z */
} attitude_t;

/** Motion of the vehicle. */
typedef struct car_motion_t {
    int32_t speed; /**< ABS_X, in the input driver's unit */
    bool reverse;  /**< true if ABS_RX is below 0 */
} car_motion_t;

/**
 * Get the axes of the attitude sensor.
 * @param attitude  receives the axes' current values (EVIOCGABS on the sensor's input node)
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -errno of opening the node or of
 *   EVIOCGABS; the axes read before the failure are then already stored.
 * @note Blocks for three ioctls. Any thread, but the first calls must not overlap. The first call opens the node, which
 *   stays open until the process ends. Changes nothing.
 */
VELMOR_API int attitude_get(attitude_t* attitude);

/**
 * Get the motion of the vehicle.
 * @param motion  receives speed and direction (EVIOCGABS on the sensor's input node)
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. Kernel errors: -errno of opening the node or of
 *   EVIOCGABS.
 * @note Blocks for two ioctls. Any thread, but the first calls must not overlap. The first call opens the node, which
 *   stays open until the process ends. Changes nothing.
 */
VELMOR_API int car_motion_get(car_motion_t* motion);

/** @} */

/* ---- Serial ports ----------------------------------------------------------------------------------------------- */

/**
 * @name Serial ports
 * @code
 * serial_device_info_t device;
 * if (serial_device_info_get(0, &device) == 0) {
 *     printf("%s, %u bit/s\n", device.name, device.baud_rate);
 * }
 * @endcode
 * @{
 */

/** A connector of a serial multiplexer, as numbered by the board. */
typedef int32_t serial_mux_port_t;

/** A function of a serial pin; a board may define others besides these two. */
typedef int32_t serial_alt_func_t;
enum {
    SERIAL_ALT_FUNC_SERIAL = 0, /**< the pin is a serial signal, its key is disabled */
    SERIAL_ALT_FUNC_KEY = 1     /**< the pin is an input key of the kernel's gpio-keys driver */
};

/** Description of a serial device. */
typedef struct serial_device_info_t {
    char name[16];      /**< device node, NUL-terminated */
    uint32_t baud_rate; /**< line speed in bit/s */
    uint32_t options;   /**< a number defined by the board, passed through: 0 on this device */
} serial_device_info_t;

/**
 * Connect a serial port's UART to one of its connectors.
 * @param port      serial port, from 0
 * @param mux_port  connector, as numbered by the board
 * @return 0, or negative. Own errors: -95 on boards without a multiplexer, such as this device; -1 for a connector that
 *   the board does not list (nothing is written). Kernel errors: -1 if a select line cannot be written; the lines
 *   before it then already have their new levels.
 * @note Blocks for four writes per select line. Any thread, but accesses to one GPIO line must not overlap. The
 *   selection persists after the process ends.
 */
VELMOR_API int serial_mux(int port, serial_mux_port_t mux_port);

/**
 * Get the device node and the line speed of a serial port.
 * @param port  serial port: on this device 0 ("/dev/ttymxc4", 9600) and, if an echosounder is fitted, 1
 *   ("/dev/ttymxc3", 38400)
 * @param info  receives the description; the node itself is not opened
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int serial_device_info_get(int port, serial_device_info_t* info);

/**
 * Report whether a serial pin supports a function.
 * @param port       serial port, from 0
 * @param function   0 serial, 1 key, or another number defined by the board
 * @param supported  receives true if the board lists the function for this port and, for the key, the kernel's
 *   gpio-keys driver handles its key code. The driver prints neighbouring codes as a range, "114-116", of which only
 *   the first counts.
 * @return 0, or negative. Own errors: -22 for a null pointer; -95 on boards without alternate functions, such as this
 *   device. Kernel errors: -1 if "/sys/devices/platform/gpio-keys/keys" cannot be read.
 * @note Blocks for one read. Any thread. Changes nothing.
 */
VELMOR_API int serial_alt_func_has(int port, serial_alt_func_t function, bool* supported);

/**
 * Switch a serial pin to a function.
 * @param port      serial port, from 0
 * @param function  0 serial (disables the key), 1 key (enables the key); other functions that the board lists do
 *   nothing
 * @return 0, or negative. Own errors: -22 for a function that the port does not support or whose key code the driver
 *   does not handle; -95 on boards without alternate functions, such as this device. Kernel errors: -1 if
 *   "/sys/devices/platform/gpio-keys/keys" or "disabled_keys" cannot be read or written.
 * @note Blocks for up to three reads and a write. Any thread, but if calls overlap, even for two ports, one of the
 *   changes may be lost. The function persists after the process ends. HAZARD: of a range such as "114-116" in
 *   "disabled_keys" only the first code is kept, so switching one pin enables the other keys of the range.
 */
VELMOR_API int serial_alt_func_set(int port, serial_alt_func_t function);

/** @} */

/* ---- GPS and echosounder ---------------------------------------------------------------------------------------- */

/**
 * @name GPS and echosounder
 * @code
 * bool fitted = false;
 * if (es_present(&fitted) == 0 && fitted) {
 *     io_set(11, 0);  // out of reset
 *     printf("echosounder ready\n");
 * }
 * @endcode
 * @{
 */

/** Description of the GPS receiver: two numbers defined by the board, passed through; 1 and 1 on this device. */
typedef struct gps_info_t {
    uint32_t value1;
    uint32_t value2;
} gps_info_t;

/**
 * Get the description of the GPS receiver.
 * @param info  receives the two numbers; the receiver itself is not queried
 * @return 0, or negative. Own errors: -22 for a null pointer; -95. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int gps_info_get(gps_info_t* info);

/**
 * Report whether an echosounder is fitted, according to the hardware table.
 * @param present  receives true if one is fitted
 * @return 0, or negative. Own errors: -22 for a null pointer. No kernel errors.
 * @note Does not block once the board has started. Any thread. Changes nothing.
 */
VELMOR_API int es_present(bool* present);

/** @} */

/* ---- Layout checks: the records are binary interfaces ----------------------------------------------------------- */

/** @cond */
#define VELMOR_CHECK(name, condition) typedef char velmor_check_##name[(condition) ? 1 : -1]

VELMOR_CHECK(led_color_size, sizeof(led_color_t) == 12);
VELMOR_CHECK(led_color_red, offsetof(led_color_t, red) == 0);
VELMOR_CHECK(led_color_green, offsetof(led_color_t, green) == 4);
VELMOR_CHECK(led_color_blue, offsetof(led_color_t, blue) == 8);

VELMOR_CHECK(io_config_size, sizeof(io_config_t) == 8);
VELMOR_CHECK(io_config_duty, offsetof(io_config_t, duty) == 0);
VELMOR_CHECK(io_config_frequency, offsetof(io_config_t, frequency) == 4);

VELMOR_CHECK(thermal_state_size, sizeof(thermal_state_t) == 20);
VELMOR_CHECK(thermal_state_temp, offsetof(thermal_state_t, temp) == 0);
VELMOR_CHECK(thermal_state_active, offsetof(thermal_state_t, active) == 4);
VELMOR_CHECK(thermal_state_hot, offsetof(thermal_state_t, hot) == 8);
VELMOR_CHECK(thermal_state_very_hot, offsetof(thermal_state_t, very_hot) == 12);
VELMOR_CHECK(thermal_state_critical, offsetof(thermal_state_t, critical) == 16);

VELMOR_CHECK(wifi_info_size, sizeof(wifi_info_t) == 20);
VELMOR_CHECK(wifi_info_name, offsetof(wifi_info_t, name) == 0);
VELMOR_CHECK(wifi_info_value, offsetof(wifi_info_t, value) == 16);
VELMOR_CHECK(bluetooth_info_size, sizeof(bluetooth_info_t) == 20);
VELMOR_CHECK(bluetooth_info_name, offsetof(bluetooth_info_t, name) == 0);
VELMOR_CHECK(bluetooth_info_value, offsetof(bluetooth_info_t, value) == 16);

VELMOR_CHECK(platform_info_size, sizeof(platform_info_t) == 96);
VELMOR_CHECK(platform_info_os_version_major, offsetof(platform_info_t, os_version_major) == 0);
VELMOR_CHECK(platform_info_os_version_minor, offsetof(platform_info_t, os_version_minor) == 1);
VELMOR_CHECK(platform_info_os_version_revision, offsetof(platform_info_t, os_version_revision) == 2);
VELMOR_CHECK(platform_info_os_version_status, offsetof(platform_info_t, os_version_status) == 3);
VELMOR_CHECK(platform_info_os_version_build, offsetof(platform_info_t, os_version_build) == 4);
VELMOR_CHECK(platform_info_os_version_development, offsetof(platform_info_t, os_version_development) == 5);
VELMOR_CHECK(platform_info_os_date_day, offsetof(platform_info_t, os_date_day) == 6);
VELMOR_CHECK(platform_info_os_date_month, offsetof(platform_info_t, os_date_month) == 7);
VELMOR_CHECK(platform_info_os_date_year, offsetof(platform_info_t, os_date_year) == 8);
VELMOR_CHECK(platform_info_reserved_10, offsetof(platform_info_t, reserved_10) == 10);
VELMOR_CHECK(platform_info_featuremask_low, offsetof(platform_info_t, featuremask_low) == 12);
VELMOR_CHECK(platform_info_featuremask_high, offsetof(platform_info_t, featuremask_high) == 16);
VELMOR_CHECK(platform_info_compatibility_version, offsetof(platform_info_t, compatibility_version) == 20);
VELMOR_CHECK(platform_info_serial_number, offsetof(platform_info_t, serial_number) == 24);
VELMOR_CHECK(platform_info_reserved_56, offsetof(platform_info_t, reserved_56) == 56);
VELMOR_CHECK(platform_info_boot_info_kind, offsetof(platform_info_t, boot_info_kind) == 62);
VELMOR_CHECK(platform_info_boot_version_major, offsetof(platform_info_t, boot_version_major) == 63);
VELMOR_CHECK(platform_info_boot_version_minor, offsetof(platform_info_t, boot_version_minor) == 64);
VELMOR_CHECK(platform_info_boot_version_revision, offsetof(platform_info_t, boot_version_revision) == 65);
VELMOR_CHECK(platform_info_boot_version_status, offsetof(platform_info_t, boot_version_status) == 66);
VELMOR_CHECK(platform_info_boot_version_build, offsetof(platform_info_t, boot_version_build) == 67);
VELMOR_CHECK(platform_info_boot_version_development, offsetof(platform_info_t, boot_version_development) == 68);
VELMOR_CHECK(platform_info_boot_date_day, offsetof(platform_info_t, boot_date_day) == 69);
VELMOR_CHECK(platform_info_boot_date_month, offsetof(platform_info_t, boot_date_month) == 70);
VELMOR_CHECK(platform_info_reserved_71, offsetof(platform_info_t, reserved_71) == 71);
VELMOR_CHECK(platform_info_boot_date_year, offsetof(platform_info_t, boot_date_year) == 72);
VELMOR_CHECK(platform_info_fs_version_major, offsetof(platform_info_t, fs_version_major) == 74);
VELMOR_CHECK(platform_info_fs_version_minor, offsetof(platform_info_t, fs_version_minor) == 75);
VELMOR_CHECK(platform_info_fs_version_revision, offsetof(platform_info_t, fs_version_revision) == 76);
VELMOR_CHECK(platform_info_fs_version_status, offsetof(platform_info_t, fs_version_status) == 77);
VELMOR_CHECK(platform_info_fs_version_build, offsetof(platform_info_t, fs_version_build) == 78);
VELMOR_CHECK(platform_info_fs_version_development, offsetof(platform_info_t, fs_version_development) == 79);
VELMOR_CHECK(platform_info_fs_date_day, offsetof(platform_info_t, fs_date_day) == 80);
VELMOR_CHECK(platform_info_fs_date_month, offsetof(platform_info_t, fs_date_month) == 81);
VELMOR_CHECK(platform_info_fs_date_year, offsetof(platform_info_t, fs_date_year) == 82);
VELMOR_CHECK(platform_info_splash_version_major, offsetof(platform_info_t, splash_version_major) == 84);
VELMOR_CHECK(platform_info_splash_version_minor, offsetof(platform_info_t, splash_version_minor) == 85);
VELMOR_CHECK(platform_info_splash_version_revision, offsetof(platform_info_t, splash_version_revision) == 86);
VELMOR_CHECK(platform_info_splash_version_status, offsetof(platform_info_t, splash_version_status) == 87);
VELMOR_CHECK(platform_info_splash_version_build, offsetof(platform_info_t, splash_version_build) == 88);
VELMOR_CHECK(platform_info_splash_version_development, offsetof(platform_info_t, splash_version_development) == 89);
VELMOR_CHECK(platform_info_splash_date_day, offsetof(platform_info_t, splash_date_day) == 90);
VELMOR_CHECK(platform_info_splash_date_month, offsetof(platform_info_t, splash_date_month) == 91);
VELMOR_CHECK(platform_info_splash_date_year, offsetof(platform_info_t, splash_date_year) == 92);
VELMOR_CHECK(platform_info_reserved_94, offsetof(platform_info_t, reserved_94) == 94);

VELMOR_CHECK(mrfi_addr_size, sizeof(mrfi_addr_t) == 4);
VELMOR_CHECK(mrfi_addr_byte, offsetof(mrfi_addr_t, byte) == 0);
VELMOR_CHECK(mrfi_connection_size, sizeof(mrfi_connection_t) == 8);
VELMOR_CHECK(mrfi_connection_value1, offsetof(mrfi_connection_t, value1) == 1);
VELMOR_CHECK(mrfi_connection_value2, offsetof(mrfi_connection_t, value2) == 2);
VELMOR_CHECK(mrfi_connection_value3, offsetof(mrfi_connection_t, value3) == 3);
VELMOR_CHECK(mrfi_connection_address, offsetof(mrfi_connection_t, address) == 4);
VELMOR_CHECK(mrfi_device_size, sizeof(mrfi_device_t) == 28);
VELMOR_CHECK(mrfi_device_value1, offsetof(mrfi_device_t, value1) == 0);
VELMOR_CHECK(mrfi_device_value2, offsetof(mrfi_device_t, value2) == 4);
VELMOR_CHECK(mrfi_device_address, offsetof(mrfi_device_t, address) == 8);
VELMOR_CHECK(mrfi_device_name, offsetof(mrfi_device_t, name) == 12);

VELMOR_CHECK(attitude_size, sizeof(attitude_t) == 12);
VELMOR_CHECK(attitude_x, offsetof(attitude_t, x) == 0);
VELMOR_CHECK(attitude_y, offsetof(attitude_t, y) == 4);
VELMOR_CHECK(attitude_z, offsetof(attitude_t, z) == 8);
VELMOR_CHECK(car_motion_size, sizeof(car_motion_t) == 8);
VELMOR_CHECK(car_motion_speed, offsetof(car_motion_t, speed) == 0);
VELMOR_CHECK(car_motion_reverse, offsetof(car_motion_t, reverse) == 4);
VELMOR_CHECK(flag_size, sizeof(bool) == 1);

VELMOR_CHECK(serial_device_info_size, sizeof(serial_device_info_t) == 24);
VELMOR_CHECK(serial_device_info_name, offsetof(serial_device_info_t, name) == 0);
VELMOR_CHECK(serial_device_info_baud_rate, offsetof(serial_device_info_t, baud_rate) == 16);
VELMOR_CHECK(serial_device_info_options, offsetof(serial_device_info_t, options) == 20);

VELMOR_CHECK(gps_info_size, sizeof(gps_info_t) == 8);
VELMOR_CHECK(gps_info_value1, offsetof(gps_info_t, value1) == 0);
VELMOR_CHECK(gps_info_value2, offsetof(gps_info_t, value2) == 4);

#undef VELMOR_CHECK
/** @endcond */

#ifdef __cplusplus
}
#endif

#endif
