// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/device_file.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * The attitude sensor: axes X, Y and Z of an input device node. The first query opens the node, which stays open.
 * Threads: the first queries must not overlap, later ones may.
 */
class Attitude : public Resource {
public:
    explicit Attitude(const std::string& path);

    /** Each axis is stored as soon as it is read: after a failure, the axes before it are in the record. */
    virtual void get(attitude_t& attitude);

private:
    DeviceFile device_;
};

}  // namespace Velmor
