// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

#include "support/scenario.h"

namespace families {

/** A call of each function by name, with good arguments and the index where it has one; it returns its result as text.
 */
const std::map<std::string, std::function<std::string(int index)>>& calls();

/** The call of this function, with this index. */
testing_support::Scenario call_of(const std::string& function, int index = 0);

}  // namespace families
