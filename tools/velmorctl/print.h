// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "report.h"

namespace VelmorCtl {

enum class Form { text, value, json };

/**
 * Print the result of a command on standard output, and its failures on standard error.
 * @param overview  parts that are not fitted are listed by name, and are no failures
 */
void print(const std::string& command, const Report& report, Form form, bool overview);

}  // namespace VelmorCtl
