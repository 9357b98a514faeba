// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Velmor {

/**
 * One hardware function of the device: the base of everything that a Board registers. A plain Resource is a valid entry
 * too, for hardware of which only the presence matters (the echosounder).
 *
 * The order of virtual operations and fields in derived classes must not change: see docs/architecture.md.
 */
class Resource {
public:
    /**
     * Registry keys. The resources of a family have consecutive keys, up to the first key of the next family. The
     * caller's index is added to the family's first key, so these numbers are part of the C interface. The last family
     * has no end: begin a new one at 1000 (docs/new-family.md) to leave room for thermal zones. An index that reaches
     * into another family finds a resource of another class, which counts as missing.
     */
    enum class type : std::int32_t {
        io = 0,
        wifi = 12,
        wifi_antenna = 13,
        bluetooth = 14,
        bluetooth_antenna = 15,
        backlight = 16,
        power = 19,
        watchdog = 20,
        platform = 21,
        mrfi = 22,
        attitude = 24,
        car_motion = 25,
        serial_alt_func = 26,
        serial_mux = 31,
        serial_device = 36,
        gps = 38,
        echosounder = 39,
        led_group = 40,
        display = 41,
        thermal = 43,
    };

    /** The key of a family's resource with this index. */
    friend constexpr type operator+(type family, int index) {
        return static_cast<type>(static_cast<std::int32_t>(family) + index);
    }

    Resource() = default;
    virtual ~Resource() = default;

protected:
    // Resources and IO lines may be copied, but not sliced.
    Resource(const Resource&) = default;
    Resource(Resource&&) = default;
    Resource& operator=(const Resource&) = default;
    Resource& operator=(Resource&&) = default;
};

}  // namespace Velmor
