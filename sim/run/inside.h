// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

#include "run/channel.h"

namespace VelmorSim {

class Model;
class Signals;

/**
 * The processes inside: the first one, which builds the root and reaps, and the one that executes the program in a user
 * and mount namespace of its own, where it cannot change the root.
 */
class Inside {
public:
    /**
     * `device_nodes`: whether stat shows device nodes as such. `all_users`: whether the program can become another
     * user.
     */
    Inside(const Model& model, const Signals& signals, std::vector<std::string> program, bool device_nodes,
           bool all_users)
        : model_(model),
          signals_(signals),
          program_(std::move(program)),
          device_nodes_(device_nodes),
          all_users_(all_users) {}

    /**
     * Start the first process in its own namespaces. `channel` becomes the simulator's end of the connection to it.
     * Returns its process id. Throws std::system_error.
     */
    pid_t start(bool own_pids, Channel& channel);

private:
    [[noreturn]] void first_process(bool own_pids, uid_t user, gid_t group);
    void build_root(bool own_pids, bool as_root) const;
    [[noreturn]] void program_process(bool own_pids) const;
    [[noreturn]] void reap(pid_t program, bool own_pids, const sigset_t& children);
    void repeat_ioctl(const Message& message) const;
    [[noreturn]] void fail(const std::string& text) const;

    const Model& model_;
    const Signals& signals_;
    std::vector<std::string> program_;
    bool device_nodes_;
    bool all_users_;
    /** The other end; closed in the simulator. */
    Channel channel_;
};

}  // namespace VelmorSim
