// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace VelmorSim {

/** One name in the device's file tree. Nodes live as long as the tree: a line that goes is taken off, not destroyed. */
class Node {
public:
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    virtual ~Node() = default;

    /** Type and permission bits, as stat shows them. */
    mode_t mode() const { return mode_; }
    /** What stat calls the size: a page for a sysfs attribute, as the kernel has it. */
    virtual std::int64_t size() const { return 0; }

    /** Below 2^32, so that 32-bit programs can stat it. */
    std::uint32_t inode = 0;
    /** Where applications find it: the class directory's name, not the one behind its link. */
    std::string path;
    /** The kernel must ask again on every use: the name may be gone. */
    bool comes_and_goes = false;
    /** Counts how often the name went; a descriptor from before is dead (ENODEV). */
    unsigned incarnation = 0;
    /** A node of the machine that stands here instead of a served file, or nothing. */
    std::string stand_in;

protected:
    explicit Node(mode_t mode) : mode_(mode) {}

private:
    mode_t mode_;
};

}  // namespace VelmorSim
