// SPDX-License-Identifier: MIT
#pragma once

#include "platform/power.h"

namespace Velmor {

/**
 * HAZARD: restarts the machine.
 *
 * For units that cannot be switched on again by hand: instead of powering off, it restarts with the command "wdt", so
 * that the unit comes back by itself. Otherwise like Power.
 */
class AutoPowerOn : public Power {
public:
    void shutdown() override;
};

}  // namespace Velmor
