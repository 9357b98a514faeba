// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "support/acts.h"

namespace record {

using Acts = testing_support::Acts;

/**
 * What the virtual device has recorded since this object was made: all that anybody has done to any file of the device,
 * each act as "open PATH r", "read PATH", "write PATH <bytes>", "ioctl PATH 0x<request>", "close PATH", "restart
 * <text>", followed by " = EIO" or the like where it failed.
 */
class Trace {
public:
    Trace();
    Acts acts() const;

private:
    std::string file_;
    long begin_;
};

/** An act without what it wrote and what came of it: its kind and path. */
struct Target {
    std::string kind;
    std::string path;
    bool operator==(const Target&) const = default;
};

Target target_of(const std::string& act);

}  // namespace record
