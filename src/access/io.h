// SPDX-License-Identifier: MIT
#pragma once

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/** One digital line of the device; callers address it by its number. Levels: 0 low (off), 1 high (on). */
class IO : public Resource {
public:
    virtual void set(const io_value_t& value) = 0;
    virtual io_value_t get() = 0;
};

}  // namespace Velmor
