// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "report.h"

namespace VelmorCtl {

/**
 * Call a function of the library. What it prints on standard error is kept as the cause of its failure. The index finds
 * its files.
 */
std::optional<Failure> call(const std::string& function, int index, const std::function<int()>& function_call);

}  // namespace VelmorCtl
