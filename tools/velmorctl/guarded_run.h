// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report.h"

namespace VelmorCtl {

struct GuardedRun {
    int timeout_s;
    std::optional<std::string> alive_file;  // if set, only a change of its modification time feeds
    std::vector<std::string> command;
};

/**
 * Run a command under the watchdog. HAZARD: the unit restarts if the command fails or goes silent, or if this process
 * is killed. If the command ends well, the watchdog is disarmed.
 * @param announce  receives the report before the watchdog bites
 * @return the report of a command that has ended well, or could not be started; or that the watchdog has not bitten
 */
Report run_guarded(const GuardedRun& run, const std::function<void(const Report&)>& announce);

}  // namespace VelmorCtl
