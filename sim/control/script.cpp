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
#include <utility>

#include "common/file_text.h"
#include "model/model.h"

namespace VelmorSim {

namespace {

constexpr std::string_view script_commands[] = {"set",   "raw",   "get",   "list",     "fault",
                                                "delay", "clear", "sleep", "wait-for", "wait-for-act"};
/** After one of these, only later acts count. */
constexpr std::string_view changing_commands[] = {"set", "raw", "fault", "delay", "clear"};

template <std::size_t count>
bool is_among(const std::string_view (&commands)[count], const std::string& word) {
    return std::find(std::begin(commands), std::end(commands), word) != std::end(commands);
}

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
    expect_act(0);
}

// Rejects mistakes that can be found before the program starts.
void Script::check(const Line& line) {
    const auto& words = line.words;
    if (words[0] == "sleep") {
        if (words.size() != 2) throw std::invalid_argument(R"("sleep" should be "sleep TIME")");
        duration(words[1]);
    } else if (Wait::is_command(words[0])) {
        const Wait wait(commands_, words);
    } else if (!is_among(script_commands, words[0])) {
        throw std::invalid_argument("\"" + words[0] +
                                    "\" is not a script command; those are set, raw, get, list, fault, delay, clear, "
                                    "sleep, wait-for and wait-for-act");
    } else if (words[0] == "set" || words[0] == "raw" || words[0] == "get") {
        const auto names = words[0] == "get" ? words.size() - 1 : 1;
        if (words.size() < 2) commands_.run(words);  // says what is missing
        for (std::size_t i = 1; i <= names; i++) commands_.model().known_value(words[i]);
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
    if (!Wait::is_command(line.words[0])) {
        std::cout << commands_.run(line.words) << std::flush;
        if (!std::cout) throw std::invalid_argument("the output cannot be written");
        if (is_among(changing_commands, line.words[0])) {
            changed();
            expected_.clear();
            expect_act(next_ + 1);
        }
        return true;
    }
    if (!awaited_) {
        if (Wait::is_for_act(line.words[0])) {
            awaited_ = std::move(expected_.front().act);
            expected_.pop_front();
        } else {
            awaited_ = std::make_unique<Wait>(commands_, line.words);
        }
        deadline_ = timers.after(awaited_->longest(), [this] {
            if (!awaited_->is_over()) fail(awaited_->failure("timed out"));
        });
    }
    if (!awaited_->is_over()) return false;
    timers.cancel(*deadline_);
    awaited_.reset();
    if (Wait::is_for_act(line.words[0]) && expected_.empty()) expect_act(next_ + 1);
    return true;
}

// From now on acts count for the first wait-for-act from this line on.
void Script::expect_act(std::size_t from) {
    for (auto i = from; i < lines_.size(); i++) {
        if (!Wait::is_for_act(lines_[i].words[0])) continue;
        expected_.push_back({i, std::make_unique<Wait>(commands_, lines_[i].words)});
        return;
    }
}

// An act may come before the script gets to its wait. Later acts count for the wait after that.
void Script::expect_next_act() {
    if (!expected_.empty() && expected_.back().act->has_act()) expect_act(expected_.back().line + 1);
}

void Script::step() {
    expect_next_act();
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

void Script::step_after_act() {
    expect_next_act();
    if (awaited_ && awaited_->is_over()) step();
}

}  // namespace VelmorSim
