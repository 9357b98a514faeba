// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace Velmor {

// Parsing of the kernel's text: each of these functions takes a piece off the front. The rules are those of the
// standard formatted extraction in the classic locale, whatever locale the application has set.

inline std::string_view take_front(std::string_view& text, std::size_t length) {
    const std::string_view piece = text.substr(0, length);
    text.remove_prefix(piece.size());
    return piece;
}

inline std::string_view take_until(std::string_view& text, std::string_view ends) {
    return take_front(text, text.find_first_of(ends));
}

inline std::string_view take_all_of(std::string_view& text, std::string_view characters) {
    return take_front(text, text.find_first_not_of(characters));
}

inline void skip_white_space(std::string_view& text) {
    while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r')))
        take_front(text, 1);
}

/** Empty if there is none. */
inline std::string_view take_word(std::string_view& text) {
    skip_white_space(text);
    return take_until(text, " \t\n\v\f\r");
}

/**
 * Takes a number in base 10 or 16, the latter with or without "0x". An unsigned number may have a minus sign: "-1" is
 * the largest. Returns false if there is no number that fits. The value is then 0; for a number that does not fit, the
 * nearest that does; at the end of the text, unchanged. Inlined so that the base is a constant.
 */
template <typename Number>
[[gnu::always_inline]] inline bool take_number(std::string_view& text, Number& value, int base = 10) {
    using Limits = std::numeric_limits<Number>;
    using Magnitude = std::make_unsigned_t<Number>;
    skip_white_space(text);
    if (text.empty()) return false;
    const bool negative = text.front() == '-';
    if (negative || text.front() == '+') take_front(text, 1);
    if (base == 16 && (text.starts_with("0x") || text.starts_with("0X")))
        take_front(text, 2);  // "0x" alone is not a number
    Magnitude magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    take_front(text, static_cast<std::size_t>(end - text.data()));
    const bool below_zero = negative && Limits::is_signed;
    const auto largest = static_cast<Magnitude>(static_cast<Magnitude>(Limits::max()) + (below_zero ? 1 : 0));
    const bool fits = error == std::errc() && magnitude <= largest;
    if (!fits && error != std::errc::invalid_argument) magnitude = largest;
    value = static_cast<Number>(negative && (fits || below_zero) ? 0 - magnitude : magnitude);
    return fits;
}

/** The number at the beginning of a piece of text; 0 if there is none that fits the type. */
template <typename Number>
Number number_or_zero(std::string_view piece, int base = 10) {
    Number number = 0;
    return take_number(piece, number, base) ? number : Number{0};
}

}  // namespace Velmor
