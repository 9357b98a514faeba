// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/named_info.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The tty of a serial port, its speed, and a number defined by the board, passed through. The tty itself is never
 * opened. Immutable; any thread may use it.
 */
class SerialDevice : public Resource {
public:
    /** Throws std::invalid_argument for a node of more than 15 characters. Speed in bit/s. */
    SerialDevice(const std::string& name, std::uint32_t baud_rate, std::uint32_t options)
        : info_(named_info<serial_device_info_t>(name, baud_rate, options)) {}

    virtual void get_info(serial_device_info_t& info) { info = info_; }

private:
    serial_device_info_t info_;
};

}  // namespace Velmor
