// SPDX-License-Identifier: MIT
#pragma once

#include <istream>
#include <ostream>

#include "velmor.h"

namespace Velmor {

// How one value stands in an attribute's text: nothing is added, no newline either. Numbers, words and flags are the
// standard insertion and extraction; the records below have a form of their own.

template <typename T>
void put_text(std::ostream& text, const T& value) {
    text << value;
}

template <typename T>
void get_text(std::istream& text, T& value) {
    text >> value;
}

/** Three decimals, separated by single blanks: "255 0 16". */
inline void put_text(std::ostream& text, const led_color_t& color) {
    text << color.red << ' ' << color.green << ' ' << color.blue;
}

inline void get_text(std::istream& text, led_color_t& color) {
    text >> color.red >> color.green >> color.blue;
}

/** One hexadecimal number, its least significant byte first in the record: "0x1a2b3c4d", and "0" for zero. */
inline void put_text(std::ostream& text, const mrfi_addr_t& address) {
    unsigned long number = 0;
    for (int i = 3; i >= 0; --i) number = number << 8U | address.byte[i];
    text.setf(std::ios_base::hex, std::ios_base::basefield);
    text.setf(std::ios_base::showbase);
    text << number;
}

inline void get_text(std::istream& text, mrfi_addr_t& address) {
    unsigned int number = 0;
    text.setf(std::ios_base::hex, std::ios_base::basefield);
    text.setf(std::ios_base::showbase);
    text >> number;
    for (unsigned char& byte : address.byte) {
        byte = static_cast<unsigned char>(number & 0xFFU);
        number >>= 8U;
    }
}

}  // namespace Velmor
