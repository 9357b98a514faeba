// SPDX-License-Identifier: MIT
#pragma once

#include <istream>
#include <string>

#include "access/file_buffer.h"

namespace Velmor {

/**
 * A text file of the kernel's, opened for reading. Every failure, that of opening it included, is thrown as the
 * standard stream failure. Its text is the kernel's, so it speaks the classic locale whatever the application has set
 * globally. Call close() when done: a failing close is a failure too, which a destructor could not report.
 */
class InputFile : private FileBufferBase, public std::istream {
public:
    explicit InputFile(const std::string& path);

    void close();
};

}  // namespace Velmor
