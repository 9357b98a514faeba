// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace VelmorSim {

/** A board file, or a value for the board, is wrong. The text says file, place and what would be right. */
class BoardError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** One object of a board file: every key is asked for by its type, and what nobody asked for is refused. */
class Settings {
public:
    /** `place` is the file and the way to this object, for messages. */
    Settings(const nlohmann::ordered_json& object, std::string place);

    const std::string& place() const { return place_; }
    bool has(const std::string& key);

    std::string text(const std::string& key);
    std::string text(const std::string& key, const std::string& otherwise);
    std::int64_t number(const std::string& key, std::int64_t lowest, std::int64_t highest);
    std::int64_t number(const std::string& key, std::int64_t lowest, std::int64_t highest, std::int64_t otherwise);
    /** A text or a number, as text. */
    std::string scalar(const std::string& key);
    Settings object(const std::string& key);
    /** The objects of a list; empty when the key is missing. */
    std::vector<Settings> objects(const std::string& key);
    std::vector<std::string> texts(const std::string& key);
    std::vector<std::int64_t> numbers(const std::string& key, std::int64_t lowest, std::int64_t highest);
    /** All keys, for objects whose keys are names. */
    std::vector<std::string> keys();

    /** Refuse the keys that nobody has asked for. */
    void finish() const;
    [[noreturn]] void refuse(const std::string& key, const std::string& right) const;

private:
    const nlohmann::ordered_json* get(const std::string& key);

    const nlohmann::ordered_json* object_;
    std::string place_;
    std::set<std::string> asked_;
};

}  // namespace VelmorSim
