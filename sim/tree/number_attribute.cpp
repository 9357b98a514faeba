// SPDX-License-Identifier: MIT
#include "tree/number_attribute.h"

#include <cerrno>

#include "common/text.h"

namespace VelmorSim {

void NumberAttribute::change(std::int64_t value) {
    forget_raw();
    const bool differs = value != value_;
    value_ = value;
    if (differs) notify();
    if (changed) changed(value);
}

std::string NumberAttribute::set(std::string_view text) {
    std::int64_t number = 0;
    if (parse_number(text, number) < 0 || number < lowest_ || number > highest_) return range_text(lowest_, highest_);
    if (check && check(number) < 0) return condition;
    change(number);
    return {};
}

int NumberAttribute::show(std::string& text) const {
    text = std::to_string(value_) + "\n";
    return 0;
}

int NumberAttribute::store(std::string_view text) {
    std::int64_t number = 0;
    if (const int result = parse_number(text, number); result < 0) return result;
    if (number < lowest_ || number > highest_) return -EINVAL;
    if (check) {
        if (const int result = check(number); result < 0) return result;
    }
    change(number);
    return 0;
}

}  // namespace VelmorSim
