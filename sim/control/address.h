// SPDX-License-Identifier: MIT
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <vector>

#include "common/descriptor.h"

namespace VelmorSim {

/** The environment variable that names a run, for commands and for programs on the device. */
constexpr const char* name_variable = "VELMOR_SIM_NAME";

/**
 * The address on which a run listens: an abstract socket, which leaves nothing behind however the run ends. Only
 * processes of the same user are served.
 */
struct Address {
    explicit Address(const std::string& run);

    const sockaddr* socket() const { return reinterpret_cast<const sockaddr*>(&address); }

    sockaddr_un address{};
    socklen_t length = 0;
};

/**
 * Connect to a run. Any user can listen under any name, so this checks that the run belongs to this user. Throws
 * std::system_error if there is no such run, and std::invalid_argument if it is another user's.
 */
Descriptor reach(const std::string& run);
/** The names of this user's runs. */
std::vector<std::string> running();
/** Whether the process at the other end belongs to this user. */
bool is_own(int socket);

}  // namespace VelmorSim
