// SPDX-License-Identifier: MIT
#include "common/text.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <limits>
#include <sstream>

namespace VelmorSim {

int parse_number(std::string_view text, std::int64_t& number) {
    text = without_newline(text);
    bool negative = false;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == '0') {
        base = 8;
        text.remove_prefix(1);
    }
    std::uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, base);
    if (error == std::errc::result_out_of_range) return -ERANGE;
    if (error != std::errc() || stop != end) return -EINVAL;
    if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return -ERANGE;
    number = static_cast<std::int64_t>(magnitude);
    if (negative) number = -number;
    return 0;
}

std::string_view without_newline(std::string_view text) {
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    return text;
}

std::optional<std::int64_t> plain_number(std::string_view text) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

std::optional<std::int64_t> number_behind(std::string_view text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) return std::nullopt;
    const auto number = plain_number(text.substr(prefix.size()));
    return number && *number >= 0 ? number : std::nullopt;
}

std::string range_text(std::int64_t lowest, std::int64_t highest) {
    return "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
}

std::string one_line(const std::string& text) {
    const auto is_control = [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; };
    if (!text.starts_with('"') && std::none_of(text.begin(), text.end(), is_control)) return text;
    std::string line = "\"";
    for (const char c : text) {
        if (c == '\n') {
            line += "\\n";
        } else if (c == '\t') {
            line += "\\t";
        } else if (is_control(c)) {
            line += "\\x" + hex_text(std::string_view(&c, 1));
        } else {
            if (c == '"' || c == '\\') line += '\\';
            line += c;
        }
    }
    return line + "\"";
}

std::string hex_number(unsigned long number) {
    std::ostringstream text;
    text << "0x" << std::hex << number;
    return text.str();
}

std::string hex_text(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

}  // namespace VelmorSim
