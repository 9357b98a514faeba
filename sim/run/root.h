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
 * The root file system of the processes inside: the machine's own, with the device's files at their places. Built in
 * the private mount namespace of the first process; nothing of it is seen outside. Functions throw std::system_error.
 *
 * HAZARD: started by root, everything that the machine's root may do stays possible inside through the machine's own
 * files. What would reach the machine's power or kernel settings is covered or read-only.
 */
class Root {
public:
    /** `as_root`: the simulator was started by the machine's root. */
    Root(const Model& model, bool as_root) : model_(model), as_root_(as_root) {}

    /** Take a private copy of the mounts and make the place for the new root. */
    void begin();
    /** Mount the device's file system; the result is the descriptor on which it is served. */
    Descriptor mount_fuse();
    /** Mount a "/proc" for this PID namespace. False where the machine does not allow it. */
    bool mount_proc();
    /** Instead of that, use the machine's. */
    void reuse_proc();
    /** A descriptor of the inner "/proc". */
    Descriptor open_proc() const;
    /** Put everything in its place; the device's file system must be served by now. */
    void fill();
    /** Make it the root of this process, which stays in its working directory. */
    void enter();

private:
    void link_top_level();
    /** A directory of links to the machine's entries, with the device's files in between. */
    void shadow(const std::string& machine, const std::string& copy, const std::string& place, const Directory& device);
    void place_device_files(const Directory& device, const std::string& place);
    void fill_dev();
    void fill_sys();
    void protect();

    const Model& model_;
    bool as_root_;
    std::string sbin_;
    std::vector<std::pair<std::string, Descriptor>> kept_;
};

}  // namespace VelmorSim
