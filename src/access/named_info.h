// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace Velmor {

/**
 * A public record of a device's name, padded with NUL, and numbers. Throws std::invalid_argument "device name is too
 * long" if the name and its NUL do not fit: a truncated name would name another device.
 */
template <typename Info, typename... Numbers>
Info named_info(const std::string& name, Numbers... numbers) {
    Info info = {{}, numbers...};
    if (name.size() >= sizeof info.name) throw std::invalid_argument("device name is too long");
    name.copy(info.name, name.size());
    return info;
}

}  // namespace Velmor
