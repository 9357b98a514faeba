// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <ios>
#include <istream>

#include "access/input_file.h"

mrfi_enum_ctx::mrfi_enum_ctx(const std::string& path, Velmor::MRFI* owner) : owner_(owner) {
    try {
        Velmor::InputFile file(path);
        file.exceptions(std::ios_base::goodbit);  // the end of the list is no failure
        std::string line;
        while (std::getline(file, line) && !line.empty()) lines_.push_back(line);
    } catch (const std::ios_base::failure&) {  // NOLINT(bugprone-empty-catch): a list that cannot be read is empty
    }
}

bool mrfi_enum_ctx::next(std::string& line) {
    if (next_ == lines_.size()) return false;
    line = lines_[next_++];
    return true;
}

Velmor::MRFI* mrfi_enum_ctx::owner() const {
    return owner_;
}
