// SPDX-License-Identifier: MIT
#include "families/calls.h"

#include <cstddef>
#include <stdexcept>

#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

/** A context without an owner. The library's own class is opaque here; its virtual table is as this one's. */
struct mrfi_enum_ctx {
    mrfi_enum_ctx() = default;
    mrfi_enum_ctx(const mrfi_enum_ctx&) = delete;
    mrfi_enum_ctx& operator=(const mrfi_enum_ctx&) = delete;
    virtual ~mrfi_enum_ctx() = default;
    virtual bool next(std::string& /*line*/) { return false; }
    virtual void* owner() const { return nullptr; }
};

namespace families {

namespace {

using testing_support::answer;
using testing_support::Out;

using Call = std::function<std::string(int)>;

/** A call that takes an index. */
Call of(int (*function)(int)) {
    return [function](int index) { return answer([=] { return function(index); }); };
}

Call of(int (*function)()) {
    return [function](int) { return answer(function); };
}

/** HAZARD: on a machine that is not virtual these act on it. */
Call ending(int (*function)()) {
    return [function](int) {
        if (!testing_support::in_namespaces_of_its_own()) throw std::runtime_error("refused outside of a device");
        return answer(function);
    };
}

template <typename T>
Call of(int (*function)(int, T*)) {
    return [function](int index) {
        Out<T> out;
        return answer([&] { return function(index, out); }, out);
    };
}

template <typename T>
Call of(int (*function)(T*)) {
    return [function](int) {
        Out<T> out;
        return answer([&] { return function(out); }, out);
    };
}

const mrfi_addr_t some_address = {{0x78, 0x56, 0x34, 0x12}};
const led_color_t some_color = {255, 0, 16};
const io_config_t some_config = {25, 1000};

template <typename Entry>
Call read_of(int (*read)(mrfi_enum_ctx*, Entry*)) {
    return [read](int) {
        mrfi_enum_ctx none;
        Out<Entry> entry;
        return answer([&] { return read(&none, entry); }, entry);
    };
}

Call close_of(int (*close)(mrfi_enum_ctx*)) {
    return [close](int) {
        mrfi_enum_ctx none;
        return answer([&] { return close(&none); });
    };
}

}  // namespace

const std::map<std::string, Call>& calls() {
    static const std::map<std::string, Call> all = {
        {"backlight_set", of([](int index) { return backlight_set(index, 255); })},
        {"backlight_get", of(backlight_get)},
        {"display_set", of([](int index) { return display_set(index, 1); })},
        {"display_get", of(display_get)},
        {"led_color_set", of([](int index) { return led_color_set(index, &some_color); })},
        {"led_color_get", of(led_color_get)},
        {"io_set", of([](int index) { return io_set(index, 1); })},
        {"io_get", of(io_get)},
        {"io_config_set", of([](int index) { return io_config_set(index, &some_config); })},
        {"io_config_get", of(io_config_get)},
        {"thermal_state_get", of(thermal_state_get)},
        {"wifi_antenna_set", of([] { return wifi_antenna_set(1); })},
        {"wifi_present", of(wifi_present)},
        {"wifi_info_get", of(wifi_info_get)},
        {"bluetooth_antenna_set", of([] { return bluetooth_antenna_set(1); })},
        {"bluetooth_present", of(bluetooth_present)},
        {"bluetooth_info_get", of(bluetooth_info_get)},
        {"power_shutdown", ending(power_shutdown)},
        {"power_reboot", ending(power_reboot)},
        {"power_suspend", ending(power_suspend)},
        {"watchdog_enable", of([] { return watchdog_enable(30); })},
        {"watchdog_disable", of(watchdog_disable)},
        {"watchdog_refresh", of(watchdog_refresh)},
        {"platform_info_get", of([] {
             platform_info_t info;
             return platform_info_get(&info, sizeof info);
         })},
        {"platform_uid_get", of(platform_uid_get)},
        {"platform_oemid_get", of(platform_oemid_get)},
        {"platform_mid_get", of(platform_mid_get)},
        {"platform_can_manuf_code_get", of(platform_can_manuf_code_get)},
        {"platform_can_unique_num_get", of(platform_can_unique_num_get)},
        {"mrfi_rssi_get", of(mrfi_rssi_get)},
        {"mrfi_type_get", of(mrfi_type_get)},
        {"mrfi_address_get", of(mrfi_address_get)},
        {"mrfi_autolink_set", of([](int index) { return mrfi_autolink_set(index, 1); })},
        {"mrfi_autolink_get", of(mrfi_autolink_get)},
        {"mrfi_link", of([](int index) { return mrfi_link(index, &some_address); })},
        {"mrfi_unlink", of([](int index) { return mrfi_unlink(index, &some_address); })},
        {"mrfi_connection_list_open", of(mrfi_connection_list_open)},
        {"mrfi_connection_list_read", read_of(mrfi_connection_list_read)},
        {"mrfi_connection_list_close", close_of(mrfi_connection_list_close)},
        {"mrfi_device_list_open", of(mrfi_device_list_open)},
        {"mrfi_device_list_read", read_of(mrfi_device_list_read)},
        {"mrfi_device_list_close", close_of(mrfi_device_list_close)},
        {"mrfi_class_get",
         [](int) {
             Out<uint32_t> device_class;
             return answer([&] { return mrfi_class_get(&some_address, device_class); }, device_class);
         }},
        {"attitude_get", of(attitude_get)},
        {"car_motion_get", of(car_motion_get)},
        {"serial_mux", of([](int index) { return serial_mux(index, 0); })},
        {"serial_device_info_get", of(serial_device_info_get)},
        {"serial_alt_func_has",
         [](int index) {
             Out<bool> supported;
             return answer([&] { return serial_alt_func_has(index, SERIAL_ALT_FUNC_KEY, supported); }, supported);
         }},
        {"serial_alt_func_set", of([](int index) { return serial_alt_func_set(index, SERIAL_ALT_FUNC_SERIAL); })},
        {"gps_info_get", of(gps_info_get)},
        {"es_present", of(es_present)},
    };
    return all;
}

}  // namespace families
