// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A thermal zone of the kernel: its temperature and its trip points of four types, in millidegrees Celsius as the
 * kernel reports them. The types are read at construction, of trip points 0 to 3 only; if two have the same type, the
 * later one counts. If one of the four types is missing, every query fails like one with an unreadable file.
 *
 * Threads: the map of trip points is only read after construction, so queries may overlap.
 */
class Thermal : public Resource {
public:
    /** Zone directory without a trailing slash. Missing trip points are not an error. */
    explicit Thermal(const std::string& base);

    /** Five reads; on failure nothing is stored. */
    virtual void state_get(thermal_state_t& state);

private:
    std::string base_;
    std::map<std::string, std::string> trips_;  // type -> path of its temperature file, "" if there is none
};

}  // namespace Velmor
