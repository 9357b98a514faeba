// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VelmorSim {

/**
 * Parse a number as the kernel's attribute parsers do: decimal, hexadecimal after 0x or octal after 0, with or without
 * a sign. One newline may follow. Returns 0, -EINVAL (not a number) or -ERANGE (more than INT64_MAX in magnitude).
 */
int parse_number(std::string_view text, std::int64_t& number);

/** The text without one trailing newline, which the kernel ignores when it compares words. */
std::string_view without_newline(std::string_view text);

/** A decimal number, or nothing if the text is anything else. */
std::optional<std::int64_t> plain_number(std::string_view text);

/** The number behind the prefix, as 3 in "ttymxc3", or nothing if the text is anything else. */
std::optional<std::int64_t> number_behind(std::string_view text, std::string_view prefix);

/** "a whole number from 0 to 7" */
std::string range_text(std::int64_t lowest, std::int64_t highest);

/**
 * The text in one line: if it has a control character, in quotes and with the escapes \n, \t, \xHH, \" and \\, which
 * "raw" takes. A text that begins with a quote is quoted as well.
 */
std::string one_line(const std::string& text);

/** "0x1f" */
std::string hex_number(unsigned long number);

/** Lower-case hexadecimal digits of the bytes. */
std::string hex_text(std::string_view bytes);

}  // namespace VelmorSim
