// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace VelmorSim {

/** One thing that a program did to the device, and its result. */
struct Act {
    /** open, read, write, ioctl, close, lookup (of a name that does not exist) or restart. */
    std::string act;
    std::string path{};
    /** r, w or rw. */
    std::string mode{};
    std::optional<std::string> text{};
    std::optional<unsigned long> request{};
    /** A restart's command. */
    std::string command{};
    std::optional<std::string> in{};
    std::optional<std::string> out{};
    /** What the system call returns, or minus the errno. */
    long result = 0;
    /** The process id, as inside. */
    int pid = 0;
    /** A few words for people; not in the JSON record. */
    std::string meaning{};
};

}  // namespace VelmorSim
