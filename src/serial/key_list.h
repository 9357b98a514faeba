// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

namespace Velmor {

/**
 * A list of key codes (linux/input-event-codes.h) that the kernel's gpio-keys driver keeps in an attribute: decimal
 * numbers with commas between them. A piece that is not a number is code 0, and so is the piece after a trailing comma.
 * A code that does not fit an int becomes the nearest that does.
 *
 * HAZARD: the driver prints neighbouring codes as a range, "114-116", of which only the first code is read. If a list
 * is read and written back, the others are lost.
 *
 * Threads: no state but the path; if two threads write, the kernel keeps the later list.
 */
class KeyList {
public:
    /** The attribute's full path, which must outlive the list. Touches no file. */
    explicit constexpr KeyList(const char* path) : path_(path) {}

    /** An empty attribute throws a stream failure. */
    std::vector<int> read() const;
    /** The same without that failure: the driver shows an empty line if the list is empty. */
    std::vector<int> read_or_empty() const;
    /** Writes each code with a comma after it. */
    void write(const std::vector<int>& codes) const;

private:
    const char* path_;
};

}  // namespace Velmor
