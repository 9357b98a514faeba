// SPDX-License-Identifier: MIT
#include "numbers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace VelmorCtl {

namespace {

[[noreturn]] void refuse(const std::string& argument, const std::string& text, const std::string& right) {
    throw WrongUse(argument + ": \"" + text + "\" is not valid; use " + right);
}

/** The number that the whole text is. */
template <typename Number, typename Format>
std::optional<Number> parse(const std::string& text, Format format) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, format);
    if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
    return number;
}

}  // namespace

std::optional<int> number_in(const std::string& text, int lowest, int highest) {
    const auto number = parse<int>(text, 10);
    return number && *number >= lowest && *number <= highest ? number : std::nullopt;
}

int number(const std::string& argument, const std::string& text, int lowest, int highest) {
    const auto number = number_in(text, lowest, highest);
    if (number) return *number;
    refuse(argument, text,
           highest == std::numeric_limits<int>::max()
               ? "a whole number from " + std::to_string(lowest)
               : "a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
}

double seconds(const std::string& argument, const std::string& text) {
    constexpr double shortest = 0.01;
    constexpr double longest = 86400;
    const auto number = parse<double>(text, std::chars_format::fixed);
    if (!number || !(*number >= shortest && *number <= longest)) refuse(argument, text, "0.01 to 86400 seconds");
    return *number;
}

led_color_t color(const std::string& text) {
    constexpr std::size_t length = 7;
    const auto number =
        text.size() == length && text.front() == '#' ? parse<std::uint32_t>(text.substr(1), 16) : std::nullopt;
    if (!number) refuse("color", text, "\"#\" and six hexadecimal digits, such as '#ff0010'");
    const auto component = [&](unsigned shift) { return static_cast<std::int32_t>(*number >> shift & 0xFFU); };
    return {component(16), component(8), component(0)};
}

std::string text_of(const led_color_t& color) {
    char text[40];  // a confused driver may report any three numbers
    const auto valid = [](std::int32_t component) { return component >= 0 && component <= 255; };
    if (!valid(color.red) || !valid(color.green) || !valid(color.blue))
        std::snprintf(text, sizeof text, "%d %d %d", color.red, color.green, color.blue);
    else
        std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<unsigned>(color.red),
                      static_cast<unsigned>(color.green), static_cast<unsigned>(color.blue));
    return text;
}

mrfi_addr_t address(const std::string& text) {
    const bool has_prefix = text.starts_with("0x") || text.starts_with("0X");
    const auto number = parse<std::uint32_t>(has_prefix ? text.substr(2) : text, 16);
    if (!number) refuse("address", text, "one to eight hexadecimal digits, such as 0x12340001");
    mrfi_addr_t address = {};
    std::uint32_t rest = *number;
    for (std::uint8_t& byte : address.byte) {
        byte = static_cast<std::uint8_t>(rest & 0xFFU);
        rest >>= 8U;
    }
    return address;
}

std::string text_of(const mrfi_addr_t& address) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%02x%02x%02x%02x", address.byte[3], address.byte[2], address.byte[1],
                  address.byte[0]);
    return text;
}

int choice(const std::string& argument, const std::string& text, const std::vector<std::string>& words) {
    const auto found = std::ranges::find(words, text);
    if (found != words.end()) return static_cast<int>(found - words.begin());
    std::string right;
    for (const std::string& word : words) right += (right.empty() ? "" : " or ") + word;
    refuse(argument, text, right);
}

}  // namespace VelmorCtl
