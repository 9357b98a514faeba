// SPDX-License-Identifier: MIT
#pragma once

#include "access/gpio.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/** An antenna switch: one GPIO output line selects the antenna. Threads: as for GPIO. */
class Antenna : public Resource {
public:
    /** Touches no file. */
    explicit Antenna(const GPIO::pin& pin);

    virtual void set(const antenna_t& antenna);

private:
    GPIO line_;
};

}  // namespace Velmor
