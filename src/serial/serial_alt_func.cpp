// SPDX-License-Identifier: MIT
#include "serial/serial_alt_func.h"

#include <algorithm>
#include <cerrno>
#include <unordered_set>
#include <utility>

#include "access/failure.h"
#include "serial/key_list.h"

namespace Velmor {

namespace {

constexpr KeyList all_keys("/sys/devices/platform/gpio-keys/keys");
constexpr KeyList disabled_keys("/sys/devices/platform/gpio-keys/disabled_keys");

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
        const std::vector<int> disabled = disabled_keys.read_or_empty();
        std::unordered_set<int> codes(disabled.begin(), disabled.end());
        codes.insert(key_);
        disabled_keys.write({codes.begin(), codes.end()});
    } else if (function == SERIAL_ALT_FUNC_KEY) {
        check_key();
        std::vector<int> codes = disabled_keys.read_or_empty();
        std::erase(codes, key_);
        if (codes.empty()) codes.push_back(0);
        disabled_keys.write(codes);
    }
}

bool SerialAltFunc::has(const serial_alt_func_t& function) {
    if (!contains(funcs_, function)) return false;
    if (function != SERIAL_ALT_FUNC_KEY) return true;
    if (key_ == 0) return false;
    return contains(all_keys.read(), key_);
}

void SerialAltFunc::check_key() const {
    if (!contains(all_keys.read(), key_)) throw_system_error(EINVAL);
}

}  // namespace Velmor
