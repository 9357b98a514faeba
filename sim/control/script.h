// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/timers.h"
#include "control/commands.h"
#include "control/wait.h"

namespace VelmorSim {

/**
 * Commands from a file, one per line: those of Commands, "sleep TIME", "wait-for CONDITION [TIME]" and "wait-for-act
 * PATH:OP [TIME]". '#' starts a comment. A word that contains blanks is in double quotes.
 */
class Script {
public:
    /** Read and check the whole file. Throws std::invalid_argument with file, line and what would be valid. */
    Script(const std::string& file, Commands& commands);

    /** Run commands until one has to wait. */
    void step();
    /** The same, if an act has ended a wait: what follows must run before the next act. */
    void step_after_act();
    /** Called after each command that changes the device. */
    std::function<void()> changed;
    /** Called with file, line and reason when a command fails. */
    std::function<void(const std::string&)> failed;

private:
    struct Line {
        int number;
        Words words;
    };
    struct Expected {
        std::size_t line;
        std::unique_ptr<Wait> act;
    };

    void check(const Line& line);
    void fail(const std::string& reason);
    bool go_on(const Line& line);
    void expect_act(std::size_t from);
    void expect_next_act();

    std::string file_;
    Commands& commands_;
    std::vector<Line> lines_;
    std::size_t next_ = 0;
    bool sleeping_ = false;
    /** The next "wait-for-act"s: acts count before the script gets there. All but the last have had their act. */
    std::deque<Expected> expected_;
    std::unique_ptr<Wait> awaited_;
    std::optional<Timers::Id> deadline_;
};

}  // namespace VelmorSim
