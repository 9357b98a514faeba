// SPDX-License-Identifier: MIT
#include "control/wait.h"

#include <stdexcept>

#include "record/faults.h"

namespace VelmorSim {

namespace {

constexpr auto patience = std::chrono::seconds(10);

}  // namespace

Wait::Wait(Commands& commands, const Words& words) : commands_(commands), longest_(patience) {
    const auto& command = words.at(0);
    if (words.size() != 2 && words.size() != 3) {
        const std::string awaited = is_for_act(command) ? "PATH:OP" : "NAME=VALUE";
        throw std::invalid_argument("\"" + command + "\" should be \"" + command + " " + awaited + " [TIME]\"");
    }
    awaited_ = words[1];
    if (words.size() == 3) longest_ = duration(words[2]);
    if (is_for_act(command)) {
        act_ = commands.faults().await(awaited_);
    } else {
        condition_.emplace(commands.model(), awaited_);
    }
}

bool Wait::is_over() const {
    return condition_ ? condition_->holds(commands_.model()) : *act_;
}

std::string Wait::failure(const std::string& event) const {
    return event + " waiting for " + awaited_ + (condition_ ? "; " + condition_->found(commands_.model()) : "");
}

}  // namespace VelmorSim
