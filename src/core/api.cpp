// SPDX-License-Identifier: MIT

// The exported functions, in the header's order: each checks its pointers, then calls one Board operation in the frame.

#include "core/board.h"
#include "core/frame.h"
#include "velmor.h"

using Velmor::any_null;
using Velmor::Board;
using Velmor::frame;
using Velmor::null_pointer;
using Velmor::succeed;

namespace {

/** The release, to be read from the file: readelf --string-dump .velmor.release libvelmor.so.3 */
[[gnu::used, gnu::section(".velmor.release")]] constexpr char release[] = "libvelmor " VELMOR_VERSION_STRING;

}  // namespace

int backlight_set(int index, uint32_t level) {
    return frame(__func__, succeed([&](Board& board) { board.backlight_set(index, level); }));
}

int backlight_get(int index, uint32_t* level) {
    return any_null(level) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { *level = board.backlight_get(index); }));
}

int display_set(int index, uint32_t on) {
    return frame(__func__, succeed([&](Board& board) { board.display_set(index, on); }));
}

int display_get(int index, bool* on) {
    return any_null(on) ? null_pointer()
                        : frame(__func__, succeed([&](Board& board) { *on = board.display_get(index); }));
}

int led_color_set(int index, const led_color_t* color) {
    return any_null(color) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { board.led_color_set(index, color); }));
}

int led_color_get(int index, led_color_t* color) {
    return any_null(color) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { board.led_color_get(index, color); }));
}

int io_set(int io, io_value_t value) {
    return frame(__func__, succeed([&](Board& board) { board.io_set(io, value); }));
}

int io_get(int io, io_value_t* value) {
    return any_null(value) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { *value = board.io_get(io); }));
}

int io_config_set(int io, const io_config_t* config) {
    return any_null(config) ? null_pointer()
                            : frame(__func__, succeed([&](Board& board) { board.io_config_set(io, config); }));
}

int io_config_get(int io, io_config_t* config) {
    return any_null(config) ? null_pointer()
                            : frame(__func__, succeed([&](Board& board) { *config = board.io_config_get(io); }));
}

int thermal_state_get(int zone, thermal_state_t* state) {
    return any_null(state) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { board.thermal_state_get(zone, state); }));
}

int wifi_antenna_set(antenna_t antenna) {
    return frame(__func__, succeed([&](Board& board) { board.wifi_antenna_set(antenna); }));
}

int wifi_present(bool* present) {
    return any_null(present) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { *present = board.wifi_present(); }));
}

int wifi_info_get(wifi_info_t* info) {
    return any_null(info) ? null_pointer() : frame(__func__, succeed([&](Board& board) { board.wifi_info_get(info); }));
}

int bluetooth_antenna_set(antenna_t antenna) {
    return frame(__func__, succeed([&](Board& board) { board.bluetooth_antenna_set(antenna); }));
}

int bluetooth_present(bool* present) {
    return any_null(present) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { *present = board.bluetooth_present(); }));
}

int bluetooth_info_get(bluetooth_info_t* info) {
    return any_null(info) ? null_pointer()
                          : frame(__func__, succeed([&](Board& board) { board.bluetooth_info_get(info); }));
}

int power_shutdown() {
    return frame(__func__, succeed([&](Board& board) { board.power_shutdown(); }));
}

int power_reboot() {
    return frame(__func__, succeed([&](Board& board) { board.power_reboot(); }));
}

int power_suspend() {
    return frame(__func__, succeed([&](Board& board) { board.power_suspend(); }));
}

int watchdog_enable(int timeout_s) {
    return frame(__func__, succeed([&](Board& board) { board.watchdog_enable(timeout_s); }));
}

int watchdog_disable() {
    return frame(__func__, succeed([&](Board& board) { board.watchdog_disable(); }));
}

int watchdog_refresh() {
    return frame(__func__, succeed([&](Board& board) { board.watchdog_refresh(); }));
}

int platform_info_get(platform_info_t* info, size_t size) {
    return any_null(info) ? null_pointer()
                          : frame(__func__, succeed([&](Board& board) { board.platform_info_get(info, size); }));
}

int platform_uid_get(uint16_t* uid) {
    return any_null(uid) ? null_pointer()
                         : frame(__func__, succeed([&](Board& board) { *uid = board.platform_uid_get(); }));
}

int platform_oemid_get(uint32_t* oemid) {
    return any_null(oemid) ? null_pointer()
                           : frame(__func__, succeed([&](Board& board) { *oemid = board.platform_oemid_get(); }));
}

int platform_mid_get(uint32_t* mid) {
    return any_null(mid) ? null_pointer()
                         : frame(__func__, succeed([&](Board& board) { *mid = board.platform_mid_get(); }));
}

int platform_can_manuf_code_get(uint16_t* code) {
    return any_null(code)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *code = board.platform_can_manuf_code_get(); }));
}

int platform_can_unique_num_get(uint32_t* number) {
    return any_null(number)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *number = board.platform_can_unique_num_get(); }));
}

int mrfi_rssi_get(int index, int* rssi) {
    return any_null(rssi) ? null_pointer()
                          : frame(__func__, succeed([&](Board& board) { *rssi = board.mrfi_rssi_get(index); }));
}

int mrfi_type_get(int index, mrfi_device_type_t* type) {
    return any_null(type) ? null_pointer()
                          : frame(__func__, succeed([&](Board& board) { *type = board.mrfi_type_get(index); }));
}

int mrfi_address_get(int index, mrfi_addr_t* address) {
    return any_null(address)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *address = board.mrfi_address_get(index); }));
}

int mrfi_autolink_set(int index, int on) {
    return frame(__func__, succeed([&](Board& board) { board.mrfi_autolink_set(index, (on & 0xFF) != 0); }));
}

int mrfi_autolink_get(int index, bool* on) {
    return any_null(on) ? null_pointer()
                        : frame(__func__, succeed([&](Board& board) { *on = board.mrfi_autolink_get(index); }));
}

int mrfi_link(int index, const mrfi_addr_t* address) {
    return any_null(address) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { board.mrfi_link(index, address); }));
}

int mrfi_unlink(int index, const mrfi_addr_t* address) {
    return any_null(address) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { board.mrfi_unlink(index, address); }));
}

int mrfi_connection_list_open(int index, mrfi_enum_ctx** context) {
    return any_null(context)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *context = board.mrfi_connection_list_open(index); }));
}

int mrfi_connection_list_read(mrfi_enum_ctx* context, mrfi_connection_t* connection) {
    return any_null(context, connection) ? null_pointer() : frame(__func__, [&](Board& board) {
        return board.mrfi_connection_list_read(context, connection) ? 1 : 0;
    });
}

int mrfi_connection_list_close(mrfi_enum_ctx* context) {
    return any_null(context)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { board.mrfi_connection_list_close(context); }));
}

int mrfi_device_list_open(int index, mrfi_enum_ctx** context) {
    return any_null(context)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *context = board.mrfi_device_list_open(index); }));
}

int mrfi_device_list_read(mrfi_enum_ctx* context, mrfi_device_t* device) {
    return any_null(context, device)
               ? null_pointer()
               : frame(__func__, [&](Board& board) { return board.mrfi_device_list_read(context, device) ? 1 : 0; });
}

int mrfi_device_list_close(mrfi_enum_ctx* context) {
    return any_null(context) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { board.mrfi_device_list_close(context); }));
}

int mrfi_class_get(const mrfi_addr_t* address, uint32_t* device_class) {
    return any_null(address, device_class)
               ? null_pointer()
               : frame(__func__, succeed([&](Board& board) { *device_class = board.mrfi_class_get(address); }));
}

int attitude_get(attitude_t* attitude) {
    return any_null(attitude) ? null_pointer()
                              : frame(__func__, succeed([&](Board& board) { board.attitude_get(attitude); }));
}

int car_motion_get(car_motion_t* motion) {
    return any_null(motion) ? null_pointer()
                            : frame(__func__, succeed([&](Board& board) { board.car_motion_get(motion); }));
}

int serial_mux(int port, serial_mux_port_t mux_port) {
    return frame(__func__, succeed([&](Board& board) { board.serial_mux(port, mux_port); }));
}

int serial_device_info_get(int port, serial_device_info_t* info) {
    return any_null(info) ? null_pointer()
                          : frame(__func__, succeed([&](Board& board) { board.serial_device_info_get(port, info); }));
}

int serial_alt_func_has(int port, serial_alt_func_t function, bool* supported) {
    return any_null(supported) ? null_pointer() : frame(__func__, succeed([&](Board& board) {
                                                            *supported = board.serial_alt_func_has(port, function);
                                                        }));
}

int serial_alt_func_set(int port, serial_alt_func_t function) {
    return frame(__func__, succeed([&](Board& board) { board.serial_alt_func_set(port, function); }));
}

int gps_info_get(gps_info_t* info) {
    return any_null(info) ? null_pointer() : frame(__func__, succeed([&](Board& board) { board.gps_info_get(info); }));
}

int es_present(bool* present) {
    return any_null(present) ? null_pointer()
                             : frame(__func__, succeed([&](Board& board) { *present = board.es_present(); }));
}
