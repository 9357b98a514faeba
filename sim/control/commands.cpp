// SPDX-License-Identifier: MIT
#include "control/commands.h"

#include <fnmatch.h>

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "board/board.h"
#include "common/text.h"
#include "model/model.h"
#include "record/faults.h"

namespace VelmorSim {

namespace {

void need(const Words& words, std::size_t count, const std::string& right) {
    if (words.size() != count) throw std::invalid_argument("\"" + words[0] + "\" should be \"" + right + "\"");
}

}  // namespace

std::string value_line(const std::string& name, const std::string& value) {
    return name + "=" + one_line(value) + "\n";
}

std::chrono::milliseconds duration(const std::string& text) {
    constexpr double thousand = 1000;
    constexpr double day = 86400 * thousand;
    char* end = nullptr;
    double time = std::strtod(text.c_str(), &end);
    const std::string unit = end;
    if (unit.empty() || unit == "s") time *= thousand;
    const bool good = end != text.c_str() && (unit.empty() || unit == "s" || unit == "ms") && time >= 0 && time <= day;
    if (!good) throw std::invalid_argument("\"" + text + "\" should be a time such as 2, 1.5s or 200ms");
    return std::chrono::milliseconds(std::llround(time));
}

std::string Commands::run(const Words& words) {
    const auto& command = words.at(0);
    if (command == "set") {
        need(words, 3, "set NAME VALUE");
        set_value(model_, words[1], words[2]);
        return {};
    }
    if (command == "raw") {
        need(words, 3, "raw NAME TEXT");
        set_raw(model_, words[1], words[2]);
        return {};
    }
    if (command == "get") {
        if (words.size() < 3) need(words, 2, "get NAME...");
        if (words.size() == 2) return model_.known_value(words[1]).get() + "\n";
        std::string text;
        for (std::size_t i = 1; i < words.size(); i++) text += value_line(words[i], model_.known_value(words[i]).get());
        return text;
    }
    if (command == "list") {
        if (words.size() > 2) need(words, 2, "list [PATTERN]");
        std::string text;
        for (const auto& [name, value] : model_.values()) {
            if (words.size() == 2 && fnmatch(words[1].c_str(), name.c_str(), 0) != 0) continue;
            text.append(name).append("=").append(one_line(value->get()));
            if (!value->where().empty()) text.append("\t").append(value->where());
            text += "\n";
        }
        return text;
    }
    if (command == "fault") {
        need(words, 2, "fault PATH:OP:ERRNO[:N]");
        faults_.add_fault(words[1]);
        return {};
    }
    if (command == "delay") {
        need(words, 2, "delay PATH:OP:MS");
        faults_.add_delay(words[1]);
        return {};
    }
    if (command == "clear") {
        need(words, 1, "clear");
        faults_.clear();
        return {};
    }
    throw std::invalid_argument("\"" + command + "\" is not a command");
}

}  // namespace VelmorSim
