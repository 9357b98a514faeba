// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "access/text.h"
#include "access/text_file.h"
#include "velmor.h"

namespace Velmor {

// One value as an attribute's text. Nothing is added to it, not even a newline. A type with a form of its own adds its
// text_of() and take_value() here; take_value() returns false if the text contains no such value.

template <std::integral Number>
std::string text_of(Number number) {
    return std::to_string(number);
}

template <std::integral Number>
bool take_value(TextFile& file, Number& number) {
    return file.take([&number](std::string_view& text) { return take_number(text, number); });
}

/** "0" or "1", and no other number. */
inline std::string text_of(bool flag) {
    return flag ? "1" : "0";
}

inline bool take_value(TextFile& file, bool& flag) {
    int number = 0;
    const bool taken = take_value(file, number);
    flag = number == 1;
    return taken && (number == 0 || number == 1);
}

inline bool take_value(TextFile& file, char& character) {
    return file.take_character(character);
}

/** Written unchanged, read as one word. */
inline std::string_view text_of(const std::string& text) {
    return text;
}

inline bool take_value(TextFile& file, std::string& word) {
    return file.take([&word](std::string_view& text) { return word = take_word(text), !word.empty(); });
}

/** Three decimal numbers, separated by single blanks: "255 0 16". */
inline std::string text_of(const led_color_t& color) {
    return text_of(color.red) + ' ' + text_of(color.green) + ' ' + text_of(color.blue);
}

inline bool take_value(TextFile& file, led_color_t& color) {
    return take_value(file, color.red) && take_value(file, color.green) && take_value(file, color.blue);
}

/** An address as the number that the driver's files show: the first byte is the least significant. */
inline std::uint32_t number_of(const mrfi_addr_t& address) {
    std::uint32_t number = 0;
    for (int i = 3; i >= 0; --i) number = number << 8U | address.byte[i];
    return number;
}

inline mrfi_addr_t address_of(std::uint32_t number) {
    mrfi_addr_t address = {};
    for (std::uint8_t& byte : address.byte) {
        byte = static_cast<std::uint8_t>(number & 0xFFU);
        number >>= 8U;
    }
    return address;
}

/** Hexadecimal: "0x1a2b3c4d", and "0" for zero. */
[[gnu::stack_protect]] inline std::string text_of(const mrfi_addr_t& address) {
    const std::uint32_t number = number_of(address);
    char digits[8];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), number, 16);
    return std::string(number == 0 ? "" : "0x").append(digits, end);
}

inline bool take_value(TextFile& file, mrfi_addr_t& address) {
    std::uint32_t number = 0;
    const bool taken = file.take([&number](std::string_view& text) { return take_number(text, number, 16); });
    address = address_of(number);
    return taken;
}

}  // namespace Velmor
