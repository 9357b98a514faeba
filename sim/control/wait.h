// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "control/commands.h"
#include "control/condition.h"

namespace VelmorSim {

/** What "wait-for CONDITION [TIME]" or "wait-for-act PATH:OP [TIME]" waits for. */
class Wait {
public:
    static bool is_command(const std::string& command) { return command == "wait-for" || is_for_act(command); }
    static bool is_for_act(const std::string& command) { return command == "wait-for-act"; }

    /** Parse the command. Acts count from now on. Throws std::invalid_argument with what would be valid. */
    Wait(Commands& commands, const Words& words);

    bool is_over() const;
    /** It is for an act, and the act has come. */
    bool has_act() const { return act_ && *act_; }
    /** How long to wait. */
    std::chrono::milliseconds longest() const { return longest_; }
    /** What has failed, with the last value of a condition: "timed out waiting for motion.x>5; the last value is 0". */
    std::string failure(const std::string& event) const;

private:
    Commands& commands_;
    std::string awaited_;
    std::chrono::milliseconds longest_;
    std::optional<Condition> condition_;
    std::shared_ptr<const bool> act_;
};

}  // namespace VelmorSim
