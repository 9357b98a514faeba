// SPDX-License-Identifier: MIT
#include "control/script.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "common/file_text.h"
#include "model/model.h"

namespace VelmorSim {

namespace {

constexpr auto patience = std::chrono::seconds(10);
constexpr std::string_view script_commands[] = {"set",   "raw",   "get",   "list",    "fault",
                                                "delay", "clear", "sleep", "wait-for"};

Words split(const std::string& line) {
    std::istringstream stream(line);
    Words words;
    std::string word;
    while (stream >> std::ws && stream.peek() != '#' && stream >> std::quoted(word)) words.push_back(word);
    return words;
}

std::string script_text(const std::string& file) {
    try {
        return file_text(file);
    } catch (const std::system_error& error) {
        throw std::invalid_argument(file + ": cannot be read (" + error.code().message() +
                                    "); --script takes a file of commands");
    }
}

}  // namespace

Script::Script(const std::string& file, Commands& commands) : file_(file), commands_(commands) {
    std::istringstream stream(script_text(file));
    std::string text;
    for (int number = 1; std::getline(stream, text); number++) {
        Line line{number, split(text)};
        if (line.words.empty()) continue;
        try {
            check(line);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(file + ":" + std::to_string(number) + ": " + error.what());
        }
        lines_.push_back(std::move(line));
    }
}

// Rejects mistakes that can be found before the program starts.
void Script::check(const Line& line) {
    const auto& words = line.words;
    if (words[0] == "sleep") {
        if (words.size() != 2) throw std::invalid_argument(R"("sleep" should be "sleep TIME")");
        duration(words[1]);
    } else if (words[0] == "wait-for") {
        if (words.size() != 2 && words.size() != 3)
            throw std::invalid_argument(R"("wait-for" should be "wait-for NAME=VALUE [TIME]")");
        const Condition condition(commands_.model(), words[1]);
        if (words.size() == 3) duration(words[2]);
    } else if (std::find(std::begin(script_commands), std::end(script_commands), words[0]) ==
               std::end(script_commands)) {
        throw std::invalid_argument("\"" + words[0] +
                                    "\" is not a script command; those are set, raw, get, list, fault, delay, clear, "
                                    "sleep and wait-for");
    } else if (words[0] == "set" || words[0] == "raw" || words[0] == "get") {
        commands_.model().known_value(words.size() < 2 ? "" : words[1]);
    }
}

void Script::fail(const std::string& reason) {
    const auto where = file_ + ":" + std::to_string(lines_[next_].number) + ": ";
    next_ = lines_.size();
    failed(where + reason);
}

bool Script::go_on(const Line& line) {
    Timers& timers = commands_.model().timers;
    if (line.words[0] == "sleep") {
        sleeping_ = true;
        timers.after(duration(line.words[1]), [this] { sleeping_ = false; });
        return true;
    }
    if (line.words[0] != "wait-for") {
        std::cout << commands_.run(line.words) << std::flush;
        return true;
    }
    if (!awaited_) {
        awaited_.emplace(commands_.model(), line.words[1]);
        const auto most = line.words.size() == 3 ? duration(line.words[2]) : std::chrono::milliseconds(patience);
        deadline_ = timers.after(most, [this] { fail("timed out waiting for " + lines_[next_].words[1]); });
    }
    if (!awaited_->holds(commands_.model())) return false;
    timers.cancel(*deadline_);
    awaited_.reset();
    return true;
}

void Script::step() {
    while (next_ < lines_.size() && !sleeping_) {
        try {
            if (!go_on(lines_[next_])) return;
        } catch (const std::invalid_argument& error) {
            fail(error.what());
            return;
        }
        next_++;
    }
}

}  // namespace VelmorSim
