// SPDX-License-Identifier: MIT
#include "mrfi/mrfi_enum_ctx.h"

#include <fstream>
#include <locale>

mrfi_enum_ctx::mrfi_enum_ctx(const std::string& path, Velmor::MRFI* owner) : owner_(owner) {
    std::ifstream file;
    file.imbue(std::locale::classic());
    file.open(path);
    std::string line;
    while (std::getline(file, line) && !line.empty()) lines_.push_back(line);
}

bool mrfi_enum_ctx::next(std::string& line) {
    if (next_ == lines_.size()) return false;
    line = lines_[next_++];
    return true;
}

Velmor::MRFI* mrfi_enum_ctx::owner() const {
    return owner_;
}
