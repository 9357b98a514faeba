// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "run/call_filter.h"

namespace VelmorSim {

/** What a restart system call of a process inside asks for. */
struct RestartCall {
    /** Reads the text from the caller's memory. */
    explicit RestartCall(const CallFilter::Call& call);

    unsigned long magic1;
    unsigned long magic2;
    unsigned long command;
    /** The restart command's text, if the command has one. */
    std::optional<std::string> text;
};

}  // namespace VelmorSim
