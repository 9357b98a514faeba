// SPDX-License-Identifier: MIT
#pragma once

#include <ios>
#include <locale>
#include <sstream>
#include <string>

namespace Velmor {

/**
 * The number at the start of a piece of kernel text, in the base given (std::ios_base::dec or hex); what follows it is
 * ignored. 0 for an empty piece and for one that holds no number of this type.
 */
template <typename Number>
Number parse_or_zero(const std::string& piece, std::ios_base::fmtflags base) {
    std::istringstream text(piece);
    text.imbue(std::locale::classic());
    text.setf(base, std::ios_base::basefield);
    Number number = 0;
    return text >> number ? number : Number{0};
}

}  // namespace Velmor
