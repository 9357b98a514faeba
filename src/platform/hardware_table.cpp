// SPDX-License-Identifier: MIT
#include "platform/hardware_table.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "access/text.h"

namespace Velmor {

namespace {

constexpr std::size_t table_size = 64;

// clang-format off
constexpr HardwareTableField version_1[] = {
    // id, byte, mask, shift
    { 1,  0, 0x07, 5},
    { 2,  0, 0x03, 3},
    { 3,  0, 0x07, 0},
    { 4,  1, 0xFF, 0},  // unit identifier, high byte
    { 5,  2, 0xFF, 0},  // unit identifier, low byte
    { 6,  3, 0x1F, 3},  // OEM identifier
    { 7,  4, 0x01, 7},
    { 8,  4, 0x01, 6},
    { 9,  4, 0x01, 5},
    {10,  4, 0x07, 2},  // Wi-Fi fitted when not 0
    {11,  5, 0x07, 0},  // CAN manufacturer code, bits 10 to 8
    {12,  6, 0xFF, 0},  // CAN manufacturer code, bits 7 to 0
    {13,  7, 0x1F, 0},  // CAN unique number, bits 20 to 16
    {14,  8, 0xFF, 0},  // CAN unique number, bits 15 to 8
    {15,  9, 0xFF, 0},  // CAN unique number, bits 7 to 0
    {16, 10, 0xFF, 0},
    {17, 11, 0xFF, 0},
    {18, 12, 0xFF, 0},
    {19, 13, 0xFF, 0},
    {20, 14, 0xFF, 0},
    {21, 15, 0xFF, 0},
    {22, 16, 0xFF, 0},  // model identifier, high byte
    {23, 17, 0xFF, 0},  // model identifier, low byte
    {24, 18, 0x07, 5},  // Bluetooth fitted when not 0
    {25, 18, 0x07, 2},
    {26, 19, 0x0F, 4},
    {27, 19, 0x0F, 0},  // 15: neither an echosounder nor what comes with it
};

// Like version 1 without the CAN identity; the later fields are five bytes earlier.
constexpr HardwareTableField version_2[] = {
    // id, byte, mask, shift
    { 1,  0, 0x07, 5},
    { 2,  0, 0x03, 3},
    { 3,  0, 0x07, 0},
    { 4,  1, 0xFF, 0},
    { 5,  2, 0xFF, 0},
    { 6,  3, 0x1F, 3},
    { 7,  4, 0x01, 7},
    { 8,  4, 0x01, 6},
    { 9,  4, 0x01, 5},
    {10,  4, 0x07, 2},
    {16,  5, 0xFF, 0},
    {17,  6, 0xFF, 0},
    {18,  7, 0xFF, 0},
    {19,  8, 0xFF, 0},
    {20,  9, 0xFF, 0},
    {21, 10, 0xFF, 0},
    {22, 11, 0xFF, 0},
    {23, 12, 0xFF, 0},
    {24, 13, 0x07, 5},
    {25, 13, 0x07, 2},
    {26, 14, 0x0F, 4},
    {27, 14, 0x0F, 0},
};
// clang-format on

}  // namespace

std::span<const HardwareTableField> hardware_table_layout(int version) {
    switch (version) {
        case 1:
        case 3: return version_1;  // versions 1 and 3 have the same layout
        case 2: return version_2;
        default:
            throw std::system_error(ENODEV, std::system_category(),
                                    "Invalid PHT table version " + std::to_string(version));
    }
}

std::vector<std::uint8_t> hardware_table_bytes(const std::string& text) {
    const std::size_t x = text.find('x');
    if (x == std::string::npos) throw std::invalid_argument("platform hardware table has no \"x\" before its digits");
    std::vector<std::uint8_t> bytes;
    bytes.reserve(table_size);
    // The digits begin at twice the index of the "x". Only in "0x..." is that directly after it, but units in the field
    // are read by this formula.
    for (std::size_t pair = 2 * x; bytes.size() < table_size; pair += 2) {
        const auto digits = std::string_view(text).substr(std::min(pair, text.size()), 2);
        bytes.push_back(static_cast<std::uint8_t>(number_or_zero<int>(digits, 16)));
    }
    return bytes;
}

}  // namespace Velmor
