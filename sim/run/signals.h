// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>

#include <array>

namespace VelmorSim {

/** The signals that the simulator takes for itself while the program runs, and gives back to the program. */
class Signals {
public:
    /** Remember what is in force and block them. SIGCHLD stays as it is. */
    void take();
    /** Before a program is run: all as it was. */
    void give_back() const;
    const sigset_t& set() const { return set_; }

private:
    static constexpr std::array<int, 7> all = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE};

    sigset_t set_{};
    sigset_t mask_{};
    std::array<struct sigaction, all.size()> actions_{};
};

}  // namespace VelmorSim
