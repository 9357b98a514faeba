// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A thermal zone of the kernel's: its temperature and its trip points of four types, in millidegrees Celsius as the
 * kernel gives them. Which trip point is of which type is learnt at construction, from trip points 0 to 3 only; the
 * last of a type counts. A type that none of them has makes every query fail as an unreadable file does.
 *
 * Threads: the map of trip points is only read after construction, so queries may overlap.
 */
class Thermal : public Resource {
public:
    /** Zone directory without a trailing slash. Missing trip points are no error. */
    explicit Thermal(const std::string& base);

    /** Five reads; on failure nothing is stored. */
    virtual void state_get(thermal_state_t& state);

private:
    std::string base_;
    std::map<std::string, std::string> trips_;  // type -> path of its temperature file, "" where there is none
};

}  // namespace Velmor
