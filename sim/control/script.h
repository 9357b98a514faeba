// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/timers.h"
#include "control/commands.h"
#include "control/condition.h"

namespace VelmorSim {

/**
 * Commands from a file, one in each line: those of the second terminal, "sleep TIME" and "wait-for CONDITION [TIME]".
 * '#' begins a comment; a word with blanks stands in double quotes.
 */
class Script {
public:
    /** Reads and checks the whole file; throws std::invalid_argument with file, line and what would be right. */
    Script(const std::string& file, Commands& commands);

    /** Do what can be done now. */
    void step();
    /** Called when a command fails, with file, line and reason. */
    std::function<void(const std::string&)> failed;

private:
    struct Line {
        int number;
        Words words;
    };

    void check(const Line& line);
    void fail(const std::string& reason);
    bool go_on(const Line& line);

    std::string file_;
    Commands& commands_;
    std::vector<Line> lines_;
    std::size_t next_ = 0;
    bool sleeping_ = false;
    std::optional<Condition> awaited_;
    std::optional<Timers::Id> deadline_;
};

}  // namespace VelmorSim
