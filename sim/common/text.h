// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VelmorSim {

/**
 * A number as the kernel's attribute parsers take it: decimal, 0x hexadecimal or 0 octal, one newline may follow,
 * nothing else. 0, or -EINVAL (no number), or -ERANGE (beyond 64 bits).
 */
int parse_number(std::string_view text, std::int64_t& number);

/** The same text without one trailing newline, as the kernel compares words. */
std::string_view without_newline(std::string_view text);

/** A decimal number and nothing else, as people give it. */
std::optional<std::int64_t> plain_number(std::string_view text);

/** "a whole number from 0 to 7" */
std::string range_text(std::int64_t lowest, std::int64_t highest);

/** "0x1f" */
std::string hex_number(unsigned long number);

/** Lower-case hexadecimal digits of the bytes. */
std::string hex_text(std::string_view bytes);

}  // namespace VelmorSim
