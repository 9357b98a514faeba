// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Velmor {

/** The numbers of the platform hardware table's fields that the library reads. */
enum HardwareField : std::uint32_t {
    unit_id_high = 4,
    unit_id_low = 5,
    oem_id = 6,
    wifi_kind = 10,  // 0: not fitted
    can_manufacturer_code_high = 11,
    can_manufacturer_code_low = 12,
    can_unique_number_high = 13,
    can_unique_number_middle = 14,
    can_unique_number_low = 15,
    model_id_high = 22,
    model_id_low = 23,
    bluetooth_kind = 24,  // 0: not fitted
    echosounder_kind = 27,
};

/** The `echosounder_kind` of a unit with neither an echosounder nor what comes with it. */
constexpr int no_echosounder = 15;

/** Where one field is in the platform hardware table. */
struct HardwareTableField {
    std::uint32_t id;
    std::uint8_t byte_index;
    std::uint8_t mask;  // applied after the shift
    std::uint8_t shift;
};

/** The layout of this version; throws std::system_error with ENODEV for an unknown version. */
std::span<const HardwareTableField> hardware_table_layout(int version);

/**
 * The 64 bytes of the table's text, "0x" and 128 hexadecimal digits. A pair that is not a number is 0, and so is one
 * beyond the end. Throws std::invalid_argument for a text without an "x".
 */
std::vector<std::uint8_t> hardware_table_bytes(const std::string& text);

}  // namespace Velmor
