// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <optional>
#include <string>

#include "run/call_filter.h"

namespace VelmorSim {

class Node;
class Tree;

/**
 * A call of the stat family. FUSE in a user namespace cannot serve device nodes, so the simulator answers it if it is
 * for one of the device's.
 *
 * HAZARD: nothing here may look up a path through the caller's files: the simulator would wait for its own answer. It
 * finds the path in the caller's memory, reads where the caller's descriptors lead, and looks the path up in the model.
 */
class CaughtStat {
public:
    /** Those of the simulator's own architecture. On 32-bit machines struct stat is not the kernel's record. */
#if defined(SYS_stat) && defined(__LP64__)
    static constexpr std::array<unsigned, 5> calls = {SYS_statx, SYS_newfstatat, SYS_fstat, SYS_stat, SYS_lstat};
#elif defined(__LP64__)
    static constexpr std::array<unsigned, 3> calls = {SYS_statx, SYS_newfstatat, SYS_fstat};
#else
    static constexpr std::array<unsigned, 1> calls = {SYS_statx};
#endif

    explicit CaughtStat(const CallFilter::Call& call);

    /** The device node that the call is for, or null. A link to it is not followed. */
    const Node* device_node(const Tree& tree) const;
    /** Write what stat shows to the caller's memory. False if the memory cannot be written. */
    bool write(const struct stat& attributes) const;

private:
    std::optional<std::string> path() const;
    std::string read_link(const std::string& name) const;

    int caller_;
    bool is_statx_ = false;
    int directory_;
    /** The addresses of the path, 0 if there is none, and of the result. */
    unsigned long path_ = 0;
    unsigned long result_ = 0;
    unsigned flags_ = 0;
    unsigned mask_ = 0;
};

}  // namespace VelmorSim
