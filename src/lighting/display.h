// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "core/resource.h"

namespace Velmor {

/** A display that can be switched on (1) and off (0). */
class Display : public Resource {
public:
    virtual void set(std::uint32_t on) = 0;
    virtual bool get() = 0;
};

}  // namespace Velmor
