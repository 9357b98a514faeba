// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/descriptor.h"

namespace VelmorSim {

/** The "/proc" of the processes inside. The device's own "/proc" has a link to each of its entries. */
class InnerProc {
public:
    /** Its mount point inside. */
    static constexpr const char* path = "/.host-proc/p";

    InnerProc() = default;
    explicit InnerProc(Descriptor directory) : directory_(std::move(directory)) {}

    /** Whether the inode is that of such a link. The tree's inodes are lower. */
    static bool is_link(std::uint64_t inode) { return inode >= process_inodes; }

    /** The names of its entries, including those that get no link. */
    std::vector<std::string> names() const;
    /** The inode of the link to this entry, or nothing if there is none. */
    std::optional<std::uint64_t> link(const std::string& name);
    /** The target of the link with this inode. */
    std::string target(std::uint64_t inode) const;

    /** Whether the process with this id (as inside) runs a 32-bit program. */
    bool is_narrow(int pid) const;

private:
    /** The link to a process has this inode plus the process id. */
    static constexpr std::uint64_t process_inodes = 0x80000000U;
    /** The link to another entry has this inode plus the index of its name in `linked_`. */
    static constexpr std::uint64_t name_inodes = 0xc0000000U;

    Descriptor directory_;
    /** The names, other than process ids, that have been looked up. */
    std::vector<std::string> linked_;
};

}  // namespace VelmorSim
