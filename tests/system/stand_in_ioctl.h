// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace testing_support {

/** While it lives, ioctls with an int argument do not reach the kernel. They are kept, and succeed or fail as set. */
class StandInIoctl {
public:
    explicit StandInIoctl(int error = 0);
    ~StandInIoctl();
    StandInIoctl(const StandInIoctl&) = delete;
    StandInIoctl& operator=(const StandInIoctl&) = delete;

    /** Request and argument of each: "0x80045705 0". */
    static std::vector<std::string> seen;
};

}  // namespace testing_support
