// SPDX-License-Identifier: MIT
#include "common/settings.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "common/text.h"

namespace VelmorSim {

namespace {

std::string shown(const nlohmann::ordered_json& value) {
    std::string text = value.dump();
    constexpr std::size_t most = 60;
    if (text.size() > most) text = text.substr(0, most) + "...";
    return text;
}

/** Whether it is a whole number that fits std::int64_t. */
bool is_whole(const nlohmann::ordered_json& value) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return value.is_number_integer() && (!value.is_number_unsigned() || value.get<std::uint64_t>() <= most);
}

}  // namespace

Settings::Settings(const nlohmann::ordered_json& object, std::string place)
    : object_(&object), place_(std::move(place)) {
    if (!object.is_object())
        throw BoardError(place_ + (place_.back() == ' ' ? "" : ": ") + shown(object) + " should be an object {...}");
}

bool Settings::has(const std::string& key) {
    return get(key) != nullptr;
}

const nlohmann::ordered_json* Settings::get(const std::string& key) {
    asked_.insert(key);
    const auto found = object_->find(key);
    return found == object_->end() ? nullptr : &*found;
}

void Settings::refuse(const std::string& key, const std::string& right) const {
    const auto found = object_->find(key);
    if (found == object_->end()) throw BoardError(place_ + "/" + key + ": is missing; it should be " + right);
    throw BoardError(place_ + "/" + key + ": " + shown(*found) + " should be " + right);
}

std::string Settings::text(const std::string& key) {
    const auto* value = get(key);
    if (value == nullptr || !value->is_string()) refuse(key, "a string");
    return value->get<std::string>();
}

std::string Settings::text(const std::string& key, const std::string& otherwise) {
    return get(key) == nullptr ? otherwise : text(key);
}

std::int64_t Settings::number(const std::string& key, std::int64_t lowest, std::int64_t highest) {
    const auto* value = get(key);
    if (value == nullptr || !is_whole(*value)) refuse(key, range_text(lowest, highest));
    const auto number = value->get<std::int64_t>();
    if (number < lowest || number > highest) refuse(key, range_text(lowest, highest));
    return number;
}

std::int64_t Settings::number(const std::string& key, std::int64_t lowest, std::int64_t highest,
                              std::int64_t otherwise) {
    return get(key) == nullptr ? otherwise : number(key, lowest, highest);
}

std::string Settings::scalar(const std::string& key) {
    const auto* value = get(key);
    if (value != nullptr && value->is_string()) return value->get<std::string>();
    if (value == nullptr || !value->is_number_integer()) refuse(key, "a string or a whole number");
    return value->dump();
}

Settings Settings::object(const std::string& key) {
    const auto* value = get(key);
    if (value == nullptr || !value->is_object()) refuse(key, "an object {...}");
    return {*value, place_ + "/" + key};
}

std::vector<Settings> Settings::objects(const std::string& key) {
    const auto* value = get(key);
    if (value == nullptr) return {};
    if (!value->is_array()) refuse(key, "a list [...] of objects");
    std::vector<Settings> all;
    const auto way = place_ + "/" + key + "/";
    for (const auto& item : *value) all.emplace_back(item, std::string(way).append(std::to_string(all.size())));
    return all;
}

std::vector<std::string> Settings::texts(const std::string& key) {
    const auto* value = get(key);
    if (value == nullptr) return {};
    if (!value->is_array()) refuse(key, "a list [...] of strings");
    std::vector<std::string> all;
    for (const auto& item : *value) {
        if (!item.is_string()) refuse(key, "a list [...] of strings");
        all.push_back(item.get<std::string>());
    }
    return all;
}

std::vector<std::int64_t> Settings::numbers(const std::string& key, std::int64_t lowest, std::int64_t highest) {
    const auto* value = get(key);
    if (value == nullptr) return {};
    const auto right = "a list [...], each " + range_text(lowest, highest);
    if (!value->is_array()) refuse(key, right);
    std::vector<std::int64_t> all;
    for (const auto& item : *value) {
        if (!is_whole(item)) refuse(key, right);
        all.push_back(item.get<std::int64_t>());
        if (all.back() < lowest || all.back() > highest) refuse(key, right);
    }
    return all;
}

std::vector<std::string> Settings::keys() {
    std::vector<std::string> all;
    for (const auto& [key, value] : object_->items()) all.push_back(key);
    return all;
}

void Settings::finish() const {
    for (const auto& [key, value] : object_->items()) {
        if (asked_.contains(key)) continue;
        std::string known;
        for (const auto& name : asked_) known.append(known.empty() ? "" : ", ").append(name);
        throw BoardError(
            std::string(place_).append("/").append(key).append(": unknown key; the keys here are ").append(known));
    }
}

}  // namespace VelmorSim
