// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The registry of the device's resources and the one dispatcher behind the C functions: each operation computes the
 * key, finds the resource, converts it to its family's interface and calls one operation of it. If the key has no
 * resource, or one of another family, the operation throws std::system_error with EOPNOTSUPP.
 *
 * Resources are held as raw pointers and never destroyed. Threads: the registry is filled while the board starts and
 * only read afterwards, so any operations may overlap as far as the registry is concerned.
 *
 * The order of the virtual operations, their arguments and the raw pointers must not change: see docs/architecture.md.
 */
class Board {
public:
    Board() = default;
    virtual ~Board() = default;
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    virtual void backlight_set(const int& index, std::uint32_t level);
    virtual std::uint32_t backlight_get(const int& index);
    virtual void display_set(const int& index, std::uint32_t on);
    virtual bool display_get(const int& index);
    virtual void led_color_set(const int& index, const led_color_t* color);
    virtual void led_color_get(const int& index, led_color_t* color);
    virtual void io_set(const int& io, const io_value_t& value);
    virtual io_value_t io_get(const int& io);
    virtual void io_config_set(const int& io, const io_config_t* config);
    virtual io_config_t io_config_get(const int& io);
    virtual void thermal_state_get(const int& zone, thermal_state_t* state);
    virtual void wifi_antenna_set(const antenna_t& antenna);
    virtual bool wifi_present();
    virtual void wifi_info_get(wifi_info_t* info);
    virtual void bluetooth_antenna_set(const antenna_t& antenna);
    virtual bool bluetooth_present();
    virtual void bluetooth_info_get(bluetooth_info_t* info);
    virtual void power_shutdown();
    virtual void power_reboot();
    virtual void power_suspend();
    virtual void watchdog_enable(int timeout_s);
    virtual void watchdog_disable();
    virtual void watchdog_refresh();
    virtual void platform_info_get(platform_info_t* info, std::size_t size);
    virtual std::uint16_t platform_uid_get();
    virtual std::uint32_t platform_oemid_get();
    virtual std::uint32_t platform_mid_get();
    virtual std::uint16_t platform_can_manuf_code_get();
    virtual std::uint32_t platform_can_unique_num_get();
    virtual int mrfi_rssi_get(const int& index);
    virtual mrfi_device_type_t mrfi_type_get(const int& index);
    virtual mrfi_addr_t mrfi_address_get(const int& index);
    virtual void mrfi_autolink_set(const int& index, bool on);
    virtual bool mrfi_autolink_get(const int& index);
    virtual void mrfi_link(const int& index, const mrfi_addr_t* address);
    virtual void mrfi_unlink(const int& index, const mrfi_addr_t* address);
    virtual mrfi_enum_ctx* mrfi_connection_list_open(const int& index);
    virtual bool mrfi_connection_list_read(mrfi_enum_ctx* context, mrfi_connection_t* connection);
    virtual void mrfi_connection_list_close(mrfi_enum_ctx* context);
    virtual mrfi_enum_ctx* mrfi_device_list_open(const int& index);
    virtual bool mrfi_device_list_read(mrfi_enum_ctx* context, mrfi_device_t* device);
    virtual void mrfi_device_list_close(mrfi_enum_ctx* context);
    virtual std::uint32_t mrfi_class_get(const mrfi_addr_t* address);
    virtual void attitude_get(attitude_t* attitude);
    virtual void car_motion_get(car_motion_t* motion);
    virtual void serial_mux(const int& port, const serial_mux_port_t& mux_port);
    virtual void serial_device_info_get(const int& port, serial_device_info_t* info);
    virtual bool serial_alt_func_has(const int& port, const serial_alt_func_t& function);
    virtual void serial_alt_func_set(const int& port, const serial_alt_func_t& function);
    virtual void gps_info_get(gps_info_t* info);
    virtual bool es_present();

    virtual bool present(const Resource::type& key);
    /**
     * Registers a resource, replacing one that is there; does nothing if the hardware table says that it is not fitted.
     */
    virtual void add(const Resource::type& key, Resource* resource);
    /** Whether the device has this according to the hardware table; false if the table cannot be read. */
    virtual bool supported(const Resource::type& key);
    virtual Resource* find(const Resource::type& key);
    /** One field of the hardware table; throws std::system_error with EINVAL if no platform is registered. */
    virtual int platform_hw_get(int field);

private:
    /** The resource with this key as its family's interface; `Usual` is the class that it has most often. */
    template <typename Interface, typename Usual = Interface>
    Interface& resource(Resource::type first, int index = 0);

    std::map<Resource::type, Resource*> registry_;
};

}  // namespace Velmor
