// SPDX-License-Identifier: MIT
#include "families/calls.h"

#include <cerrno>
#include <stdexcept>

#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

/** A context without an owner. The library's own class is opaque here, but has the same virtual table. */
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
using testing_support::call;

using Call = std::function<std::string(int)>;

template <typename Function, typename... Arguments>
Call indexed(Function function, const Arguments&... arguments) {
    return [=](int index) { return call(function, index, arguments...)(); };
}

template <typename Function, typename... Arguments>
Call single(Function function, const Arguments&... arguments) {
    return [=](int) { return call(function, arguments...)(); };
}

/** HAZARD: outside of a virtual device these act on the machine itself. */
Call ending(int (*function)()) {
    return [function](int) {
        if (!testing_support::in_namespaces_of_its_own()) throw std::runtime_error("refused outside of a device");
        return answer(function);
    };
}

template <typename Function>
Call without_owner(Function function) {
    return [function](int) {
        mrfi_enum_ctx none;
        return call(function, &none)();
    };
}

const mrfi_addr_t some_address = {{0x78, 0x56, 0x34, 0x12}};
const led_color_t some_color = {255, 0, 16};
const io_config_t some_config = {25, 1000};

}  // namespace

const std::map<std::string, Call>& calls() {
    static const std::map<std::string, Call> all = {
        {"backlight_set", indexed(backlight_set, 255U)},
        {"backlight_get", indexed(backlight_get)},
        {"display_set", indexed(display_set, 1U)},
        {"display_get", indexed(display_get)},
        {"led_color_set", indexed(led_color_set, some_color)},
        {"led_color_get", indexed(led_color_get)},
        {"io_set", indexed(io_set, 1)},
        {"io_get", indexed(io_get)},
        {"io_config_set", indexed(io_config_set, some_config)},
        {"io_config_get", indexed(io_config_get)},
        {"thermal_state_get", indexed(thermal_state_get)},
        {"wifi_antenna_set", single(wifi_antenna_set, 1)},
        {"wifi_present", single(wifi_present)},
        {"wifi_info_get", single(wifi_info_get)},
        {"bluetooth_antenna_set", single(bluetooth_antenna_set, 1)},
        {"bluetooth_present", single(bluetooth_present)},
        {"bluetooth_info_get", single(bluetooth_info_get)},
        {"power_shutdown", ending(power_shutdown)},
        {"power_reboot", ending(power_reboot)},
        {"power_suspend", ending(power_suspend)},
        {"watchdog_enable", single(watchdog_enable, 30)},
        {"watchdog_disable", single(watchdog_disable)},
        {"watchdog_refresh", single(watchdog_refresh)},
        {"platform_info_get",
         [](int) {
             platform_info_t info;
             return answer([&] { return platform_info_get(&info, sizeof info); });
         }},
        {"platform_uid_get", single(platform_uid_get)},
        {"platform_oemid_get", single(platform_oemid_get)},
        {"platform_mid_get", single(platform_mid_get)},
        {"platform_can_manuf_code_get", single(platform_can_manuf_code_get)},
        {"platform_can_unique_num_get", single(platform_can_unique_num_get)},
        {"mrfi_rssi_get", indexed(mrfi_rssi_get)},
        {"mrfi_type_get", indexed(mrfi_type_get)},
        {"mrfi_address_get", indexed(mrfi_address_get)},
        {"mrfi_autolink_set", indexed(mrfi_autolink_set, 1)},
        {"mrfi_autolink_get", indexed(mrfi_autolink_get)},
        {"mrfi_link", indexed(mrfi_link, some_address)},
        {"mrfi_unlink", indexed(mrfi_unlink, some_address)},
        {"mrfi_connection_list_open", indexed(mrfi_connection_list_open)},
        {"mrfi_connection_list_read", without_owner(mrfi_connection_list_read)},
        {"mrfi_connection_list_close", without_owner(mrfi_connection_list_close)},
        {"mrfi_device_list_open", indexed(mrfi_device_list_open)},
        {"mrfi_device_list_read", without_owner(mrfi_device_list_read)},
        {"mrfi_device_list_close", without_owner(mrfi_device_list_close)},
        {"mrfi_class_get", single(mrfi_class_get, some_address)},
        {"attitude_get", single(attitude_get)},
        {"car_motion_get", single(car_motion_get)},
        {"serial_mux", indexed(serial_mux, 0)},
        {"serial_device_info_get", indexed(serial_device_info_get)},
        {"serial_alt_func_has", indexed(serial_alt_func_has, SERIAL_ALT_FUNC_KEY)},
        {"serial_alt_func_set", indexed(serial_alt_func_set, SERIAL_ALT_FUNC_SERIAL)},
        {"gps_info_get", single(gps_info_get)},
        {"es_present", single(es_present)},
    };
    return all;
}

testing_support::Scenario call_of(const std::string& function, int index) {
    return [function, index] { return calls().at(function)(index); };
}

testing_support::CallResult not_supported_result(const std::string& function) {
    const bool has_output = (function.ends_with("_get") || function.ends_with("_has") || function.ends_with("_open")) &&
                            function != "platform_info_get";
    return testing_support::fails_with(EOPNOTSUPP, has_output ? testing_support::untouched : "");
}

}  // namespace families
