// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>

#include "access/file_buffer.h"

namespace Velmor {

/**
 * A text file of the kernel's, opened for writing and truncated. Every failure, that of opening it included, is
 * thrown as the standard stream failure. It speaks the classic locale. The text reaches the kernel in one write when
 * close() is called, which is also where a value that the driver refuses is noticed.
 */
class OutputFile : private FileBufferBase, public std::ostream {
public:
    explicit OutputFile(const std::string& path);

    void close();
};

}  // namespace Velmor
