// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <ios>

#include "access/text_file.h"

[[gnu::stack_protect]] mrfi_enum_ctx::mrfi_enum_ctx(const std::string& path, Velmor::MRFI* owner) : owner_(owner) {
    try {
        Velmor::TextFile file({path});
        std::string line;
        while (file.take_line(line) && !line.empty()) lines_.push_back(line);
    } catch (const std::ios_base::failure&) {  // NOLINT(bugprone-empty-catch): a list that cannot be read is empty
    }
}

bool mrfi_enum_ctx::next(std::string& line) {
    if (next_ == lines_.size()) return false;
    line = lines_[next_];  // if there is no memory for the entry, the next call gets it again
    ++next_;
    return true;
}

Velmor::MRFI* mrfi_enum_ctx::owner() const {
    return owner_;
}
