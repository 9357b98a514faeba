// SPDX-License-Identifier: MIT
#include "control/address.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <set>
#include <stdexcept>
#include <system_error>

namespace VelmorSim {

namespace {

/** The user's id on the machine; inside a run geteuid() gives 0. */
unsigned long user() {
    const unsigned long here = geteuid();
    std::ifstream map("/proc/self/uid_map");
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    while (map >> inside >> outside >> count) {
        if (here >= inside && here - inside < count) return outside + (here - inside);
    }
    return here;
}

std::string prefix() {
    return "velmor-sim/" + std::to_string(user()) + "/";
}

}  // namespace

Address::Address(const std::string& run) {
    const std::string name = prefix() + run;
    if (name.size() + 1 > sizeof address.sun_path) throw std::invalid_argument("the run's name is too long: " + run);
    address.sun_family = AF_UNIX;
    std::copy(name.begin(), name.end(), &address.sun_path[1]);
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
}

namespace {

/** Waits as long as its queue is full, unless `flags` has SOCK_NONBLOCK. */
Descriptor connected(const std::string& run, int flags) {
    // Another user's socket may have a queue that nobody serves.
    constexpr timeval limit{.tv_sec = 10, .tv_usec = 0};
    const Address address(run);
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!socket.is_open() || setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0 ||
        connect(socket.get(), address.socket(), address.length) != 0)
        throw std::system_error(errno, std::system_category(), "no run named " + run);
    return socket;
}

}  // namespace

bool is_own(int socket) {
    ucred other{};
    socklen_t length = sizeof other;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &other, &length) == 0 && other.uid == geteuid();
}

Descriptor reach(const std::string& run) {
    auto socket = connected(run, 0);
    if (!is_own(socket.get())) throw std::invalid_argument("the run named " + run + " is another user's");
    return socket;
}

std::vector<std::string> running() {
    const std::string begin = "@" + prefix();
    std::ifstream sockets("/proc/net/unix");
    std::set<std::string> names;
    std::string line;
    while (std::getline(sockets, line)) {
        const auto found = line.find(begin);
        if (found != std::string::npos) names.insert(line.substr(found + begin.size()));
    }
    std::vector<std::string> own;
    for (const auto& name : names) {
        try {
            if (is_own(connected(name, SOCK_NONBLOCK).get())) own.push_back(name);
        } catch (const std::exception&) {
            // Over by now, or its queue is full: a run empties its own.
        }
    }
    return own;
}

}  // namespace VelmorSim
