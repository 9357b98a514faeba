// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

namespace Velmor {

/** Room for a device's name in the public records, its NUL included. */
constexpr std::size_t device_name_size = 16;

/**
 * Copy a device's name into its record, filled up with NUL. Throws std::invalid_argument "device name is too long"
 * where it does not fit: a name that was cut would name another device.
 */
inline void copy_device_name(char (&record)[device_name_size], const std::string& name) {
    if (name.size() >= device_name_size) throw std::invalid_argument("device name is too long");
    std::memset(record, 0, sizeof record);
    name.copy(record, sizeof record);
}

}  // namespace Velmor
