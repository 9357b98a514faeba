// SPDX-License-Identifier: MIT
#include "record/errno_name.h"

#include <cstring>

namespace VelmorSim {

std::string errno_name(int number) {
    const char* name = strerrorname_np(number);
    return name != nullptr ? name : std::to_string(number);
}

std::optional<int> errno_number(const std::string& name) {
    constexpr int most = 134;
    for (int number = 1; number < most; number++) {
        const char* known = strerrorname_np(number);
        if (known != nullptr && name == known) return number;
    }
    return std::nullopt;
}

}  // namespace VelmorSim
