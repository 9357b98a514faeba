// SPDX-License-Identifier: MIT
#include "run/children.h"

#include <sys/types.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace VelmorSim {

namespace {

/** Empty if this user may not know it. */
std::string user_namespace(const std::string& process) {
    std::error_code error;
    return std::filesystem::read_symlink(process + "/ns/user", error).string();
}

}  // namespace

void kill_children(const std::string& proc, bool only_inside) {
    const auto own = user_namespace(proc + "/self");
    while (true) {
        std::ifstream children(proc + "/thread-self/children");
        std::vector<pid_t> killed;
        pid_t child = 0;
        while (children >> child) {
            const auto theirs = user_namespace(std::string(proc).append("/").append(std::to_string(child)));
            if (only_inside && (theirs.empty() || theirs == own)) continue;
            kill(child, SIGKILL);
            killed.push_back(child);
        }
        if (killed.empty()) return;
        for (const auto each : killed) waitpid(each, nullptr, 0);
    }
}

}  // namespace VelmorSim
