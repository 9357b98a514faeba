// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace VelmorCtl {

/** Keeps the order of its keys. */
using Json = nlohmann::ordered_json;

/** The exit statuses of the program. */
enum class Status { done = 0, failed = 1, wrong_use = 2, not_fitted = 3, not_permitted = 4 };

struct Failure {
    Status status = Status::failed;
    std::string cause;
    std::string hint{};           // what the user can do; may be empty
    std::string function{};       // of the library; empty if no call failed
    std::optional<int> result{};  // of that call
};

/** One value that was read or set, or the failure to do so. */
struct Item {
    std::string object;
    std::optional<int> index;
    std::string name;
    Json value{};  // null, a number, text, true or false, a record of these, or a list of records
    std::string unit{};
    std::string source{};  // the file or files behind the value, where they are known
    std::optional<Failure> failure{};
    std::string note{};
    std::string text{};  // the value for people, if the value itself does not do; lines are separated by "\n"
    bool alarming = false;
};

/** The result of a command. */
using Report = std::vector<Item>;

/** The status of the first failure. A part that is not fitted counts only if nothing else was reported. */
Status status_of(const Report& report);

/** True if there are items, and none of them is fitted. */
bool is_absent(const Report& report);

/** The document of schema.json. */
Json to_json(const std::string& command, const Report& report);

}  // namespace VelmorCtl
