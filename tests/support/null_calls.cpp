// SPDX-License-Identifier: MIT
#include "support/null_calls.h"

#include "velmor.h"

namespace testing_support {

namespace {

/** The address of a context for the calls that must not look at it. */
mrfi_enum_ctx* some_context() {
    static int memory = 0;
    return reinterpret_cast<mrfi_enum_ctx*>(&memory);
}

mrfi_connection_t some_connection;
mrfi_device_t some_device;
mrfi_addr_t some_address;
uint32_t some_number;

}  // namespace

std::vector<NullCall> null_calls() {
    return {
        {"backlight_get", "", [] { return backlight_get(0, nullptr); }},
        {"display_get", "", [] { return display_get(0, nullptr); }},
        {"led_color_set", "", [] { return led_color_set(0, nullptr); }},
        {"led_color_get", "", [] { return led_color_get(0, nullptr); }},
        {"io_get", "", [] { return io_get(0, nullptr); }},
        {"io_config_set", "", [] { return io_config_set(0, nullptr); }},
        {"io_config_get", "", [] { return io_config_get(0, nullptr); }},
        {"thermal_state_get", "", [] { return thermal_state_get(0, nullptr); }},
        {"wifi_present", "", [] { return wifi_present(nullptr); }},
        {"wifi_info_get", "", [] { return wifi_info_get(nullptr); }},
        {"bluetooth_present", "", [] { return bluetooth_present(nullptr); }},
        {"bluetooth_info_get", "", [] { return bluetooth_info_get(nullptr); }},
        {"platform_info_get", "", [] { return platform_info_get(nullptr, 96); }},
        {"platform_uid_get", "", [] { return platform_uid_get(nullptr); }},
        {"platform_oemid_get", "", [] { return platform_oemid_get(nullptr); }},
        {"platform_mid_get", "", [] { return platform_mid_get(nullptr); }},
        {"platform_can_manuf_code_get", "", [] { return platform_can_manuf_code_get(nullptr); }},
        {"platform_can_unique_num_get", "", [] { return platform_can_unique_num_get(nullptr); }},
        {"mrfi_rssi_get", "", [] { return mrfi_rssi_get(0, nullptr); }},
        {"mrfi_type_get", "", [] { return mrfi_type_get(0, nullptr); }},
        {"mrfi_address_get", "", [] { return mrfi_address_get(0, nullptr); }},
        {"mrfi_autolink_get", "", [] { return mrfi_autolink_get(0, nullptr); }},
        {"mrfi_link", "", [] { return mrfi_link(0, nullptr); }},
        {"mrfi_unlink", "", [] { return mrfi_unlink(0, nullptr); }},
        {"mrfi_connection_list_open", "", [] { return mrfi_connection_list_open(0, nullptr); }},
        {"mrfi_connection_list_read", "context", [] { return mrfi_connection_list_read(nullptr, &some_connection); }},
        {"mrfi_connection_list_read", "entry", [] { return mrfi_connection_list_read(some_context(), nullptr); }},
        {"mrfi_connection_list_read", "both", [] { return mrfi_connection_list_read(nullptr, nullptr); }},
        {"mrfi_connection_list_close", "", [] { return mrfi_connection_list_close(nullptr); }},
        {"mrfi_device_list_open", "", [] { return mrfi_device_list_open(0, nullptr); }},
        {"mrfi_device_list_read", "context", [] { return mrfi_device_list_read(nullptr, &some_device); }},
        {"mrfi_device_list_read", "entry", [] { return mrfi_device_list_read(some_context(), nullptr); }},
        {"mrfi_device_list_read", "both", [] { return mrfi_device_list_read(nullptr, nullptr); }},
        {"mrfi_device_list_close", "", [] { return mrfi_device_list_close(nullptr); }},
        {"mrfi_class_get", "address", [] { return mrfi_class_get(nullptr, &some_number); }},
        {"mrfi_class_get", "class", [] { return mrfi_class_get(&some_address, nullptr); }},
        {"mrfi_class_get", "both", [] { return mrfi_class_get(nullptr, nullptr); }},
        {"attitude_get", "", [] { return attitude_get(nullptr); }},
        {"car_motion_get", "", [] { return car_motion_get(nullptr); }},
        {"serial_device_info_get", "", [] { return serial_device_info_get(0, nullptr); }},
        {"serial_alt_func_has", "", [] { return serial_alt_func_has(0, 0, nullptr); }},
        {"gps_info_get", "", [] { return gps_info_get(nullptr); }},
        {"es_present", "", [] { return es_present(nullptr); }},
    };
}

}  // namespace testing_support
