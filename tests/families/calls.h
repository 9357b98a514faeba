// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

#include "support/scenario.h"

namespace families {

/**
 * Each function by name, called with good arguments; returns the result as text. Functions without an index ignore it.
 * A list is read and closed with a context that no list_open() has returned.
 */
const std::map<std::string, std::function<std::string(int index)>>& calls();

/** The call of this function, with this index. */
testing_support::Scenario call_of(const std::string& function, int index = 0);

/** The result of this call on a board without the hardware. */
testing_support::CallResult not_supported_result(const std::string& function);

/** The cause that a list is not read or closed with that context. */
inline constexpr char context_not_valid[] = "enumeration context not valid";

}  // namespace families
