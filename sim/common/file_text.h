// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

/** The whole text of a file. Throws std::system_error. */
std::string file_text(const std::string& file);

}  // namespace VelmorSim
