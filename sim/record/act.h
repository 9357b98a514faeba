// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace VelmorSim {

/** One thing that an application did to the device, and what came of it. */
struct Act {
    /** open, read, write, ioctl, close, lookup (of a name that is not there) or restart. */
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
    /** As the system call gives it, or minus the errno. */
    long result = 0;
    /** As inside. */
    int pid = 0;
    std::string meaning{};
};

}  // namespace VelmorSim
