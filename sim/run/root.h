// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "common/descriptor.h"

namespace VelmorSim {

class Directory;
class Model;

/**
 * The root file system of the processes inside: the machine's own, with the device's files in their places. It is built
 * in the private mount namespace of the first process and cannot be seen outside. Functions throw std::system_error.
 *
 * HAZARD: if root started the simulator, a program inside can do to the machine's files whatever root can. Only the
 * files that control the machine's power or kernel settings are covered or read-only. Whoever starts it, the machine's
 * D-Bus is covered, because a user at the machine may ask it for a restart.
 */
class Root {
public:
    /** `as_root`: the simulator was started by the machine's root. `device_nodes`: "/dev" lists device nodes as such.
     */
    Root(const Model& model, bool as_root, bool device_nodes)
        : model_(model), as_root_(as_root), device_nodes_(device_nodes) {}

    /** Take a private copy of the mounts, and mount the new root, which is empty. */
    void begin();
    /**
     * Mount the device's file system. `checks_permissions`: the kernel checks owner, group and mode. Returns the
     * descriptor on which to serve it.
     */
    Descriptor mount_fuse(bool checks_permissions);
    /** Mount a "/proc" for this PID namespace. False if the machine does not allow it. */
    bool mount_proc();
    /** Use the machine's "/proc" instead. */
    void reuse_proc();
    /** A descriptor of the inner "/proc". */
    Descriptor open_proc() const;
    /** Put everything in its place. The device's file system must be served by now. */
    void fill();
    /** Make it the root of this process, which keeps its working directory. */
    void enter();

private:
    void link_top_level();
    /** Fill a directory with links to the machine's entries and with the device's files. */
    void shadow(const std::string& machine, const std::string& copy, const std::string& place, const Directory& device);
    void place_device_files(const Directory& device, const std::string& place);
    void make_place(const std::string& path, bool is_device) const;
    void fill_dev();
    void fill_sys();
    void cover(const std::string& path);
    void protect();

    const Model& model_;
    bool as_root_;
    bool device_nodes_;
    std::string sbin_;
    std::vector<std::pair<std::string, Descriptor>> kept_;
};

}  // namespace VelmorSim
