// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "velmor.h"

namespace Velmor {
class MRFI;
}

/**
 * A list being read by an application: a snapshot of a list file's lines, taken at construction, and the position in
 * it. A file that cannot be opened counts as an empty list, and an empty line ends the list. The caller of the C
 * function owns it from open to close. Threads: uses of one object must not overlap, different objects are independent.
 */
struct mrfi_enum_ctx {
    mrfi_enum_ctx(const std::string& path, Velmor::MRFI* owner);
    mrfi_enum_ctx(const mrfi_enum_ctx&) = delete;
    mrfi_enum_ctx& operator=(const mrfi_enum_ctx&) = delete;

    virtual ~mrfi_enum_ctx() = default;
    /** Gets the next line; false at the end, where the argument is unchanged. */
    virtual bool next(std::string& line);
    virtual Velmor::MRFI* owner() const;

private:
    std::vector<std::string> lines_;
    std::uint32_t next_ = 0;
    Velmor::MRFI* owner_;
};
