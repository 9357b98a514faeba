// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <string>

namespace Velmor {

/**
 * A text file of the kernel's, opened for reading. Every failure, that of opening it included, is thrown as the
 * standard stream failure. Its text is the kernel's, so it speaks the classic locale whatever the application has set
 * globally. Call close() when done: a failing close is a failure too, which a destructor could not report.
 */
class InputFile : public std::ifstream {
public:
    explicit InputFile(const std::string& path);
};

}  // namespace Velmor
