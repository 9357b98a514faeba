// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/named_info.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A radio's description: its network interface and a number defined by the board, passed through. The radio itself is
 * never accessed; it is present if the board has registered this. Immutable; any thread may use it.
 */
template <typename Info>
class Radio : public Resource {
public:
    /** Throws std::invalid_argument for a name of more than 15 characters. */
    Radio(const std::string& name, std::uint32_t value) : info_(named_info<Info>(name, value)) {}

    virtual void info_get(Info& info) { info = info_; }

private:
    Info info_;
};

using Wifi = Radio<wifi_info_t>;
using Bluetooth = Radio<bluetooth_info_t>;

}  // namespace Velmor
