// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Velmor {

/** Where one field stands in the platform hardware table. */
struct HardwareTableField {
    std::uint32_t id;
    std::uint8_t byte_index;
    std::uint8_t mask;  // applied after the shift
    std::uint8_t shift;
};

/** The layout of this version, std::system_error with ENODEV for a version that there is none of. */
std::span<const HardwareTableField> hardware_table_layout(int version);

/**
 * The 64 bytes of the table's text, "0x" and 128 hexadecimal digits. A pair that is no number is 0, and so is one
 * beyond the end. Throws std::invalid_argument for a text without an "x".
 */
std::vector<std::uint8_t> hardware_table_bytes(const std::string& text);

}  // namespace Velmor
