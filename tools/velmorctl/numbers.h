// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "velmor.h"

namespace VelmorCtl {

/** A wrong command line: the message says what would be right. */
struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A whole number, or nothing if the text is anything else or the number is out of range. */
std::optional<int> number_in(const std::string& text, int lowest, int highest);

/** The same, for an argument. @throws WrongUse */
int number(const std::string& argument, const std::string& text, int lowest, int highest);

/** Seconds with at most a fraction, such as "0.5". @throws WrongUse */
double seconds(const std::string& argument, const std::string& text);

/** "#ff0010". @throws WrongUse */
led_color_t color(const std::string& text);
std::string text_of(const led_color_t& color);

/** Hexadecimal digits, with or without "0x". @throws WrongUse */
mrfi_addr_t address(const std::string& text);
std::string text_of(const mrfi_addr_t& address);

/** The position of the text among these words. @throws WrongUse */
int choice(const std::string& argument, const std::string& text, const std::vector<std::string>& words);

}  // namespace VelmorCtl
