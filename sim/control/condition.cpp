// SPDX-License-Identifier: MIT
#include "control/condition.h"

#include <cstdlib>
#include <stdexcept>

#include "common/text.h"
#include "model/model.h"

namespace VelmorSim {

namespace {

bool is_number(const std::string& text, double& number) {
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

}  // namespace

Condition::Condition(Model& model, const std::string& text) {
    const auto start = text.find_first_of("=!<>");
    if (start == std::string::npos || start == 0)
        throw std::invalid_argument("\"" + text + "\" should be NAME=VALUE, or with !=, <, <=, > or >=");
    const auto length = start + 1 < text.size() && text[start + 1] == '=' ? 2U : 1U;
    name_ = text.substr(0, start);
    relation_ = text.substr(start, length);
    value_ = text.substr(start + length);
    double number = 0;
    if (relation_ == "!") throw std::invalid_argument("\"" + text + "\" should be NAME!=VALUE");
    if ((relation_[0] == '<' || relation_[0] == '>') && !is_number(value_, number))
        throw std::invalid_argument("\"" + text + "\" should compare with a number");
    model.known_value(name_);
}

bool Condition::holds(Model& model) const {
    const auto* value = model.value(name_);
    // The files of a GPIO line vanish when it is unexported.
    if (value == nullptr) return false;
    const auto now = value->get();
    if (relation_ == "=" || relation_ == "==") return now == value_;
    if (relation_ == "!=") return now != value_;
    double left = 0;
    double right = 0;
    if (!is_number(now, left) || !is_number(value_, right)) return false;
    if (relation_ == "<") return left < right;
    if (relation_ == "<=") return left <= right;
    return relation_ == ">" ? left > right : left >= right;
}

std::string Condition::found(Model& model) const {
    const auto* value = model.value(name_);
    if (value == nullptr) return "the value has no file now";
    const auto now = value->get();
    return "the last value is " + (now.empty() ? "empty" : one_line(now));
}

}  // namespace VelmorSim
