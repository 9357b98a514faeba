// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>

namespace families {

/** A call of each function by name, with good arguments and the index where it has one; it returns the answer. */
const std::map<std::string, std::function<std::string(int index)>>& calls();

}  // namespace families
