// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/device_file.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The motion of the vehicle: axis X of an input device node is the speed, the sign of axis RX the direction. The first
 * query opens the node, which stays open. Threads: the first queries must not overlap, later ones may.
 */
class CarMotion : public Resource {
public:
    explicit CarMotion(const std::string& path);

    /** On failure nothing is stored. */
    virtual void get(car_motion_t& motion);

private:
    DeviceFile device_;
};

}  // namespace Velmor
