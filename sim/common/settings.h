// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace VelmorSim {

/** A board file is wrong. The text gives the file, the place in it and what would be valid. */
class BoardError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * One object of a board file. Each key is read as one type, and finish() rejects the keys that were not read. Wrong
 * values throw BoardError.
 */
class Settings {
public:
    /** `place` is the file and the path to this object in it, for messages. */
    Settings(const nlohmann::ordered_json& object, std::string place);

    const std::string& place() const { return place_; }
    bool has(const std::string& key);

    std::string text(const std::string& key);
    std::string text(const std::string& key, const std::string& otherwise);
    std::int64_t number(const std::string& key, std::int64_t lowest, std::int64_t highest);
    std::int64_t number(const std::string& key, std::int64_t lowest, std::int64_t highest, std::int64_t otherwise);
    /** A string or a whole number, as text. */
    std::string scalar(const std::string& key);
    Settings object(const std::string& key);
    /** The objects of a list; empty when the key is missing. */
    std::vector<Settings> objects(const std::string& key);
    std::vector<std::string> texts(const std::string& key);
    std::vector<std::int64_t> numbers(const std::string& key, std::int64_t lowest, std::int64_t highest);
    /** All keys, for an object whose keys are names. */
    std::vector<std::string> keys();

    /** Reject the object if it has a key that was not read. */
    void finish() const;
    /** Throw BoardError: `key` is missing, or is not `right`. */
    [[noreturn]] void refuse(const std::string& key, const std::string& right) const;

private:
    const nlohmann::ordered_json* get(const std::string& key);

    const nlohmann::ordered_json* object_;
    std::string place_;
    std::set<std::string> asked_;
};

}  // namespace VelmorSim
