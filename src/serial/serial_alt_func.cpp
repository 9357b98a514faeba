// SPDX-License-Identifier: MIT
#include "serial/serial_alt_func.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "access/failure.h"
#include "access/sysfs.h"
#include "access/text.h"
#include "access/text_file.h"

namespace Velmor {

namespace {

constexpr char keys_file[] = "/sys/devices/platform/gpio-keys/keys";
constexpr char disabled_keys_file[] = "/sys/devices/platform/gpio-keys/disabled_keys";

// The driver shows an empty line when no key is disabled, which a SysFS<std::string> would report as a failure.
std::string disabled_keys_word() {
    std::string word;
    TextFile file({disabled_keys_file});
    take_value(file, word);
    file.close();
    return word;
}

/** A piece that is no number is 0, and one that does not fit the nearest that does. */
int key_code(std::string_view piece) {
    int code = 0;
    take_number(piece, code);
    return code;
}

// Behind a trailing comma there is one more piece, of no number.
std::vector<int> key_codes(std::string_view list) {
    std::vector<int> codes;
    do {
        codes.push_back(key_code(take_until(list, ",")));
    } while (!take_front(list, 1).empty());
    return codes;
}

std::vector<int> read_keys() {
    return key_codes(SysFS<std::string>::read_from({keys_file}));
}

std::vector<int> read_disabled_keys() {
    const std::string word = disabled_keys_word();
    return word.empty() ? std::vector<int>() : key_codes(word);
}

template <typename Codes>
void write_disabled_keys(const Codes& codes) {
    std::string list;
    for (const int code : codes) list += std::to_string(code) + ",";
    SysFS<std::string>::write_to({disabled_keys_file}, list);
}

template <typename Value>
bool contains(const std::vector<Value>& values, const Value& value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

SerialAltFunc::SerialAltFunc(std::vector<serial_alt_func_t> funcs) : SerialAltFunc(std::move(funcs), 0) {}

SerialAltFunc::SerialAltFunc(std::vector<serial_alt_func_t> funcs, int key) : funcs_(std::move(funcs)), key_(key) {}

void SerialAltFunc::set(const serial_alt_func_t& function) {
    if (!has(function)) throw_system_error(EINVAL);
    if (function == SERIAL_ALT_FUNC_SERIAL) {
        check_key();
        const std::vector<int> disabled = read_disabled_keys();
        std::unordered_set<int> codes(disabled.begin(), disabled.end());
        codes.insert(key_);
        write_disabled_keys(codes);
    } else if (function == SERIAL_ALT_FUNC_KEY) {
        check_key();
        std::vector<int> codes = read_disabled_keys();
        std::erase(codes, key_);
        if (codes.empty()) codes.push_back(0);
        write_disabled_keys(codes);
    }
}

bool SerialAltFunc::has(const serial_alt_func_t& function) {
    if (!contains(funcs_, function)) return false;
    if (function != SERIAL_ALT_FUNC_KEY) return true;
    if (key_ == 0) return false;
    return contains(read_keys(), key_);
}

void SerialAltFunc::check_key() const {
    if (!contains(read_keys(), key_)) throw_system_error(EINVAL);
}

}  // namespace Velmor
