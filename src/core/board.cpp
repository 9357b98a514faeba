// SPDX-License-Identifier: MIT
#include "core/board.h"

#include <cxxabi.h>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <typeinfo>

#include "access/failure.h"
#include "access/io.h"
#include "access/io_pwm.h"
#include "access/pwm.h"
#include "access/sysfs_io.h"
#include "lighting/backlight.h"
#include "lighting/backlight_sysfs.h"
#include "lighting/display.h"
#include "lighting/display_sysfs.h"
#include "lighting/led_group.h"
#include "lighting/led_group_sysfs.h"
#include "mrfi/mrfi.h"
#include "mrfi/mrfi_enum_ctx.h"
#include "platform/hardware_table.h"
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

namespace {

// Contexts come from the application: reject one that is null or has no owner.
MRFI& owner_of(const mrfi_enum_ctx* context) {
    MRFI* const owner = context == nullptr ? nullptr : context->owner();
    if (owner == nullptr) throw std::invalid_argument("enumeration context not valid");
    return *owner;
}

}  // namespace

template <typename Interface, typename Usual>
Interface& Board::resource(Resource::type first, int index) {
    const std::int64_t key = std::int64_t{static_cast<std::int32_t>(first)} + index;
    if (key > std::numeric_limits<std::int32_t>::max()) throw_system_error(EOPNOTSUPP);
    Resource* const entry = find(static_cast<Resource::type>(key));
    if (entry == nullptr) throw_system_error(EOPNOTSUPP);
    // One comparison. The cast below has to search the base classes.
    if (typeid(*entry) == typeid(Usual)) return static_cast<Usual&>(*entry);
    auto* const found = dynamic_cast<Interface*>(entry);
    if (found == nullptr) throw_system_error(EOPNOTSUPP);
    return *found;
}

void Board::backlight_set(const int& index, std::uint32_t level) {
    resource<Backlight, BacklightSysFS>(Resource::type::backlight, index).set(level);
}

std::uint32_t Board::backlight_get(const int& index) {
    return resource<Backlight, BacklightSysFS>(Resource::type::backlight, index).get();
}

void Board::display_set(const int& index, std::uint32_t on) {
    resource<Display, DisplaySysFS>(Resource::type::display, index).set(on);
}

bool Board::display_get(const int& index) {
    return resource<Display, DisplaySysFS>(Resource::type::display, index).get();
}

void Board::led_color_set(const int& index, const led_color_t* color) {
    resource<LedGroup, LedGroupSysFS>(Resource::type::led_group, index).set(*color);
}

void Board::led_color_get(const int& index, led_color_t* color) {
    resource<LedGroup, LedGroupSysFS>(Resource::type::led_group, index).get(*color);
}

void Board::io_set(const int& io, const io_value_t& value) {
    resource<IO, SysFSIO>(Resource::type::io, io).set(value);
}

io_value_t Board::io_get(const int& io) {
    return resource<IO, SysFSIO>(Resource::type::io, io).get();
}

void Board::io_config_set(const int& io, const io_config_t* config) {
    resource<PWM, IOPWM>(Resource::type::io, io).set_frequency(config->frequency, config->duty);
}

io_config_t Board::io_config_get(const int& io) {
    const PWM& pwm = resource<PWM, IOPWM>(Resource::type::io, io);
    io_config_t config = {};
    config.frequency = pwm.get_frequency();
    config.duty = static_cast<std::int32_t>(pwm.get_duty());
    return config;
}

void Board::thermal_state_get(const int& zone, thermal_state_t* state) {
    resource<Thermal>(Resource::type::thermal, zone).state_get(*state);
}

void Board::wifi_antenna_set(const antenna_t& antenna) {
    resource<Antenna>(Resource::type::wifi_antenna).set(antenna);
}

bool Board::wifi_present() {
    return present(Resource::type::wifi);
}

void Board::wifi_info_get(wifi_info_t* info) {
    resource<Wifi>(Resource::type::wifi).info_get(*info);
}

void Board::bluetooth_antenna_set(const antenna_t& antenna) {
    resource<Antenna>(Resource::type::bluetooth_antenna).set(antenna);
}

bool Board::bluetooth_present() {
    return present(Resource::type::bluetooth);
}

void Board::bluetooth_info_get(bluetooth_info_t* info) {
    resource<Bluetooth>(Resource::type::bluetooth).info_get(*info);
}

void Board::power_shutdown() {
    resource<Power>(Resource::type::power).shutdown();
}

void Board::power_reboot() {
    resource<Power>(Resource::type::power).reboot();
}

void Board::power_suspend() {
    resource<Power>(Resource::type::power).suspend();
}

void Board::watchdog_enable(int timeout_s) {
    resource<Watchdog>(Resource::type::watchdog).enable(timeout_s);
}

void Board::watchdog_disable() {
    resource<Watchdog>(Resource::type::watchdog).disable();
}

void Board::watchdog_refresh() {
    resource<Watchdog>(Resource::type::watchdog).refresh();
}

void Board::platform_info_get(platform_info_t* info, std::size_t size) {
    resource<Platform>(Resource::type::platform).info_get(info, size);
}

std::uint16_t Board::platform_uid_get() {
    return resource<Platform>(Resource::type::platform).uid_get();
}

std::uint32_t Board::platform_oemid_get() {
    return resource<Platform>(Resource::type::platform).oemid_get();
}

std::uint32_t Board::platform_mid_get() {
    return resource<Platform>(Resource::type::platform).mid_get();
}

std::uint16_t Board::platform_can_manuf_code_get() {
    return resource<Platform>(Resource::type::platform).can_manuf_code_get();
}

std::uint32_t Board::platform_can_unique_num_get() {
    return resource<Platform>(Resource::type::platform).can_unique_num_get();
}

int Board::mrfi_rssi_get(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).rssi_get();
}

mrfi_device_type_t Board::mrfi_type_get(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).type_get();
}

mrfi_addr_t Board::mrfi_address_get(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).address_get();
}

void Board::mrfi_autolink_set(const int& index, bool on) {
    resource<MRFI>(Resource::type::mrfi, index).autolink_set(on);
}

bool Board::mrfi_autolink_get(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).autolink_get();
}

void Board::mrfi_link(const int& index, const mrfi_addr_t* address) {
    resource<MRFI>(Resource::type::mrfi, index).link(*address);
}

void Board::mrfi_unlink(const int& index, const mrfi_addr_t* address) {
    resource<MRFI>(Resource::type::mrfi, index).unlink(*address);
}

mrfi_enum_ctx* Board::mrfi_connection_list_open(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).connection_list_open();
}

bool Board::mrfi_connection_list_read(mrfi_enum_ctx* context, mrfi_connection_t* connection) {
    return owner_of(context).connection_list_read(*context, *connection);
}

void Board::mrfi_connection_list_close(mrfi_enum_ctx* context) {
    owner_of(context).list_close(context);
}

mrfi_enum_ctx* Board::mrfi_device_list_open(const int& index) {
    return resource<MRFI>(Resource::type::mrfi, index).device_list_open();
}

bool Board::mrfi_device_list_read(mrfi_enum_ctx* context, mrfi_device_t* device) {
    return owner_of(context).device_list_read(*context, *device);
}

void Board::mrfi_device_list_close(mrfi_enum_ctx* context) {
    owner_of(context).list_close(context);
}

std::uint32_t Board::mrfi_class_get(const mrfi_addr_t* address) {
    return MRFI::class_get(*address);
}

void Board::attitude_get(attitude_t* attitude) {
    resource<Attitude>(Resource::type::attitude).get(*attitude);
}

void Board::car_motion_get(car_motion_t* motion) {
    resource<CarMotion>(Resource::type::car_motion).get(*motion);
}

void Board::serial_mux(const int& port, const serial_mux_port_t& mux_port) {
    resource<SerialMux>(Resource::type::serial_mux, port).mux(mux_port);
}

void Board::serial_device_info_get(const int& port, serial_device_info_t* info) {
    resource<SerialDevice>(Resource::type::serial_device, port).get_info(*info);
}

bool Board::serial_alt_func_has(const int& port, const serial_alt_func_t& function) {
    return resource<SerialAltFunc>(Resource::type::serial_alt_func, port).has(function);
}

void Board::serial_alt_func_set(const int& port, const serial_alt_func_t& function) {
    resource<SerialAltFunc>(Resource::type::serial_alt_func, port).set(function);
}

void Board::gps_info_get(gps_info_t* info) {
    resource<Gps>(Resource::type::gps).info_get(*info);
}

bool Board::es_present() {
    return present(Resource::type::echosounder);
}

bool Board::present(const Resource::type& key) {
    return find(key) != nullptr;
}

void Board::add(const Resource::type& key, Resource* resource) {
    if (supported(key)) registry_[key] = resource;
}

bool Board::supported(const Resource::type& key) {
    using type = Resource::type;
    constexpr type with_echosounder[] = {type::echosounder, type::serial_device + 1, type::io + 10, type::io + 11};
    try {
        if (std::ranges::find(with_echosounder, key) != std::end(with_echosounder))
            return platform_hw_get(echosounder_kind) != no_echosounder;
        if (key == type::bluetooth) return platform_hw_get(bluetooth_kind) != 0;
        if (key == type::wifi) return platform_hw_get(wifi_kind) != 0;
        return true;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}

Resource* Board::find(const Resource::type& key) {
    const auto entry = registry_.find(key);
    return entry == registry_.end() ? nullptr : entry->second;
}

int Board::platform_hw_get(int field) {
    auto* const platform = dynamic_cast<Platform*>(find(Resource::type::platform));
    if (platform == nullptr) throw_system_error(EINVAL);
    return static_cast<int>(platform->field_get(static_cast<std::uint32_t>(field)));
}

}  // namespace Velmor
