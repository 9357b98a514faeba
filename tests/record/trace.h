// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "support/acts.h"

namespace record {

using Acts = testing_support::Acts;

/**
 * The acts that the virtual device has recorded since this object was made: those of any process on any file of the
 * device, as "open PATH r", "read PATH", "write PATH <bytes>", "ioctl PATH 0x<request>", "close PATH" and
 * "restart <text>", followed by " = EIO" or the like if the act failed.
 */
class Trace {
public:
    Trace();
    Acts acts() const;

private:
    std::string file_;
    long begin_;
};

/** The kind and the path of an act. */
struct Target {
    std::string kind;
    std::string path;
    bool operator==(const Target&) const = default;
};

Target target_of(const std::string& act);

}  // namespace record
