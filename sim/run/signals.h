// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>

#include <array>

namespace VelmorSim {

/** The signals that the simulator handles while the program runs. The program gets their original actions. */
class Signals {
public:
    /** Save the actions and the signal mask, ignore SIGPIPE and block the others. SIGCHLD stays as it is. */
    void take();
    /** Restore what take() saved; call before executing the program. */
    void give_back() const;
    const sigset_t& set() const { return set_; }

private:
    static constexpr std::array<int, 7> all = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE};

    sigset_t set_{};
    sigset_t mask_{};
    std::array<struct sigaction, all.size()> actions_{};
};

}  // namespace VelmorSim
