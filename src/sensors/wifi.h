// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The Wi-Fi radio's description: its network interface and a number of the board's, passed through. The radio itself
 * is never touched; it is present where the board has registered this. Immutable; any threads.
 */
class Wifi : public Resource {
public:
    /** Throws std::invalid_argument for a name of more than 15 characters. */
    Wifi(const std::string& name, std::uint32_t value);

    virtual void info_get(wifi_info_t& info);

private:
    wifi_info_t info_;
};

}  // namespace Velmor
