// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

namespace Velmor {

/**
 * A list of key codes (linux/input-event-codes.h) that the kernel's gpio-keys driver keeps in an attribute: decimals
 * with a comma between them. A piece that is no number is code 0, and so is the piece behind a trailing comma. A code
 * that does not fit an int is the nearest that does.
 *
 * HAZARD: the driver prints neighbouring codes as a range, "114-116", of which only the first code is read. A list that
 * is read and written back loses the others.
 *
 * Threads: no state but the path; of two writers the kernel keeps the later.
 */
class KeyList {
public:
    /** The attribute's whole path, which must outlive the list. Touches no file. */
    explicit constexpr KeyList(const char* path) : path_(path) {}

    /** An empty attribute is a stream failure. */
    std::vector<int> read() const;
    /** The driver shows an empty line where the list is empty. */
    std::vector<int> read_or_empty() const;
    /** Each code with a comma behind it. */
    void write(const std::vector<int>& codes) const;

private:
    const char* path_;
};

}  // namespace Velmor
