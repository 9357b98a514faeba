// SPDX-License-Identifier: MIT
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <vector>

namespace VelmorSim {

/**
 * Where a run listens: an abstract socket, which leaves nothing behind however the run ends. Others of the same user
 * may connect.
 */
struct Address {
    explicit Address(const std::string& run);

    const sockaddr* socket() const { return reinterpret_cast<const sockaddr*>(&address); }

    sockaddr_un address{};
    socklen_t length = 0;
};

/** The names of this user's runs. */
std::vector<std::string> running();
/** Whether the process at the other end is this user's. */
bool is_own(int socket);

}  // namespace VelmorSim
