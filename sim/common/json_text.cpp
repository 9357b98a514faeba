// SPDX-License-Identifier: MIT
#include "common/json_text.h"

#include <set>
#include <stdexcept>
#include <vector>

namespace VelmorSim {

namespace {

constexpr std::size_t deepest_nesting = 16;

/** Follows the parser. */
class JsonWatcher {
public:
    using Event = nlohmann::ordered_json::parse_event_t;

    void follow(Event event, const nlohmann::ordered_json& parsed) {
        switch (event) {
            case Event::object_start:
            case Event::array_start:
                if (levels_.size() == deepest_nesting)
                    refuse("lists and objects may be nested " + std::to_string(deepest_nesting) + " deep");
                levels_.push_back({.is_list = event == Event::array_start});
                break;
            case Event::object_end:
            case Event::array_end:
                levels_.pop_back();
                end_value();
                break;
            case Event::key:
                levels_.back().key = parsed.get<std::string>();
                if (!levels_.back().keys.insert(levels_.back().key).second) refuse("the object has this key twice");
                break;
            case Event::value: end_value(); break;
        }
    }

private:
    struct Level {
        bool is_list;
        std::size_t index = 0;
        std::string key{};
        std::set<std::string> keys{};
    };

    void end_value() {
        if (!levels_.empty()) levels_.back().index++;
    }
    [[noreturn]] void refuse(const std::string& reason) const {
        std::string place;
        for (const auto& level : levels_) place += "/" + (level.is_list ? std::to_string(level.index) : level.key);
        throw std::invalid_argument(place + ": " + reason);
    }

    std::vector<Level> levels_;
};

}  // namespace

nlohmann::ordered_json parse_json(const std::string& text) {
    JsonWatcher watcher;
    try {
        return nlohmann::ordered_json::parse(text, [&](int /*depth*/, auto event, const auto& parsed) {
            watcher.follow(event, parsed);
            return true;
        });
    } catch (const nlohmann::ordered_json::parse_error& error) {
        // Drop the library's error number from the start of its text.
        std::string reason = error.what();
        reason.erase(0, reason.find("] ") + 2);
        throw std::invalid_argument("is not valid JSON: " + reason);
    }
}

}  // namespace VelmorSim
