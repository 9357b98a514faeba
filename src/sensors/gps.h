// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The GPS receiver's description: two numbers defined by the board, passed through. Immutable; any thread may use it.
 */
class Gps : public Resource {
public:
    Gps(std::uint32_t value1, std::uint32_t value2);

    virtual void info_get(gps_info_t& info);

private:
    gps_info_t info_;
};

}  // namespace Velmor
