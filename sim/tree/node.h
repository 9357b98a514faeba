// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

namespace VelmorSim {

/** An entry of the device's file tree. It lives as long as the tree: an unexported line is detached, not destroyed. */
class Node {
public:
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    virtual ~Node() = default;

    /** Type and permission bits, as stat shows them. */
    mode_t mode() const { return mode_; }
    /** chmod: other permission bits. */
    void set_permissions(mode_t permissions) { mode_ = (mode_ & S_IFMT) | (permissions & ~mode_t{S_IFMT}); }
    /** The size that stat shows: a page for a sysfs attribute, as in the kernel. */
    virtual std::int64_t size() const { return 0; }

    /** Below 2^32, so that 32-bit programs can stat it. */
    std::uint32_t inode = 0;
    /** Its path for programs: that through the class directory, not that of the link's target. */
    std::string path;
    /** The name may go at any time, so the kernel must look it up on every use. */
    bool comes_and_goes = false;
    /** How often the name has been removed; descriptors from before fail with ENODEV. */
    unsigned incarnation = 0;
    /** The numbers of a device node that is served as a plain file; 0 for all others. */
    dev_t device = 0;
    /** Whose it is, if that has been changed. Otherwise it belongs to the user who started velmor-sim. */
    std::optional<uid_t> uid;
    std::optional<gid_t> gid;
    /** The path of the machine's node that is mounted here instead of a served file, or empty. */
    std::string stand_in;

protected:
    explicit Node(mode_t mode) : mode_(mode) {}

private:
    mode_t mode_;
};

}  // namespace VelmorSim
