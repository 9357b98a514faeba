// SPDX-License-Identifier: MIT
#include "support/null_calls.h"

#include "velmor.h"

namespace testing_support {

std::vector<NullCall> null_calls() {
    static int memory = 0;  // a context that no call may look at
    auto* const some_context = reinterpret_cast<mrfi_enum_ctx*>(&memory);
    static mrfi_connection_t some_connection;
    static mrfi_device_t some_device;
    static mrfi_addr_t address;
    static uint32_t some_number;
    return {
        {"backlight_get", "", call(backlight_get, 0, nullptr)},
        {"display_get", "", call(display_get, 0, nullptr)},
        {"led_color_set", "", call(led_color_set, 0, nullptr)},
        {"led_color_get", "", call(led_color_get, 0, nullptr)},
        {"io_get", "", call(io_get, 0, nullptr)},
        {"io_config_set", "", call(io_config_set, 0, nullptr)},
        {"io_config_get", "", call(io_config_get, 0, nullptr)},
        {"thermal_state_get", "", call(thermal_state_get, 0, nullptr)},
        {"wifi_present", "", call(wifi_present, nullptr)},
        {"wifi_info_get", "", call(wifi_info_get, nullptr)},
        {"bluetooth_present", "", call(bluetooth_present, nullptr)},
        {"bluetooth_info_get", "", call(bluetooth_info_get, nullptr)},
        {"platform_info_get", "", call(platform_info_get, nullptr, sizeof(platform_info_t))},
        {"platform_uid_get", "", call(platform_uid_get, nullptr)},
        {"platform_oemid_get", "", call(platform_oemid_get, nullptr)},
        {"platform_mid_get", "", call(platform_mid_get, nullptr)},
        {"platform_can_manuf_code_get", "", call(platform_can_manuf_code_get, nullptr)},
        {"platform_can_unique_num_get", "", call(platform_can_unique_num_get, nullptr)},
        {"mrfi_rssi_get", "", call(mrfi_rssi_get, 0, nullptr)},
        {"mrfi_type_get", "", call(mrfi_type_get, 0, nullptr)},
        {"mrfi_address_get", "", call(mrfi_address_get, 0, nullptr)},
        {"mrfi_autolink_get", "", call(mrfi_autolink_get, 0, nullptr)},
        {"mrfi_link", "", call(mrfi_link, 0, nullptr)},
        {"mrfi_unlink", "", call(mrfi_unlink, 0, nullptr)},
        {"mrfi_connection_list_open", "", call(mrfi_connection_list_open, 0, nullptr)},
        {"mrfi_connection_list_read", "context", call(mrfi_connection_list_read, nullptr, &some_connection)},
        {"mrfi_connection_list_read", "entry", call(mrfi_connection_list_read, some_context, nullptr)},
        {"mrfi_connection_list_read", "both", call(mrfi_connection_list_read, nullptr, nullptr)},
        {"mrfi_connection_list_close", "", call(mrfi_connection_list_close, nullptr)},
        {"mrfi_device_list_open", "", call(mrfi_device_list_open, 0, nullptr)},
        {"mrfi_device_list_read", "context", call(mrfi_device_list_read, nullptr, &some_device)},
        {"mrfi_device_list_read", "entry", call(mrfi_device_list_read, some_context, nullptr)},
        {"mrfi_device_list_read", "both", call(mrfi_device_list_read, nullptr, nullptr)},
        {"mrfi_device_list_close", "", call(mrfi_device_list_close, nullptr)},
        {"mrfi_class_get", "address", call(mrfi_class_get, nullptr, &some_number)},
        {"mrfi_class_get", "class", call(mrfi_class_get, &address, nullptr)},
        {"mrfi_class_get", "both", call(mrfi_class_get, nullptr, nullptr)},
        {"attitude_get", "", call(attitude_get, nullptr)},
        {"car_motion_get", "", call(car_motion_get, nullptr)},
        {"serial_device_info_get", "", call(serial_device_info_get, 0, nullptr)},
        {"serial_alt_func_has", "", call(serial_alt_func_has, 0, 0, nullptr)},
        {"gps_info_get", "", call(gps_info_get, nullptr)},
        {"es_present", "", call(es_present, nullptr)},
    };
}

}  // namespace testing_support
