// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/descriptor.h"

namespace VelmorSim {

/** The "/proc" of the processes inside. The device's own "/proc" has a link to each of its names. */
class InnerProc {
public:
    /** Where it stands inside. */
    static constexpr const char* path = "/.host-proc/p";

    InnerProc() = default;
    explicit InnerProc(Descriptor directory) : directory_(std::move(directory)) {}

    /** Whether it is a link's inode. Those of the tree are lower. */
    static bool is_link(std::uint64_t inode) { return inode >= process_inodes; }

    /** Its names, those that are withheld too. */
    std::vector<std::string> names() const;
    /** The inode of the link to this name, or nothing when there is none. */
    std::optional<std::uint64_t> link(const std::string& name);
    /** Where the link of this inode leads. */
    std::string target(std::uint64_t inode) const;

    /** Whether this process, numbered as inside, is a 32-bit program. */
    bool is_narrow(int pid) const;

private:
    /** Links to processes are numbered from here, by the process; links to other names above, by their first use. */
    static constexpr std::uint64_t process_inodes = 0x80000000U;
    static constexpr std::uint64_t name_inodes = 0xc0000000U;

    Descriptor directory_;
    /** The other names that have been asked for; the links' inodes are their places here. */
    std::vector<std::string> linked_;
};

}  // namespace VelmorSim
