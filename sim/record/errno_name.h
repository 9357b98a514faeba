// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace VelmorSim {

/** "EINVAL" for 22. */
std::string errno_name(int number);
/** 22 for "EINVAL". */
std::optional<int> errno_number(const std::string& name);

}  // namespace VelmorSim
