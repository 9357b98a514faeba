// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The Bluetooth radio's description: its network interface and a number of the board's, passed through. The radio
 * itself is never touched; it is present where the board has registered this. Immutable; any threads.
 */
class Bluetooth : public Resource {
public:
    /** Throws std::invalid_argument for a name of more than 15 characters. */
    Bluetooth(const std::string& name, std::uint32_t value);

    virtual void info_get(bluetooth_info_t& info);

private:
    bluetooth_info_t info_;
};

}  // namespace Velmor
