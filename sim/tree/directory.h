// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tree/node.h"

namespace VelmorSim {

/** A directory of the tree. It does not own its entries. */
class Directory : public Node {
public:
    Directory() : Node(S_IFDIR | 0755) {}

    /** Add an entry, unless there is one of this name. */
    void attach(const std::string& name, Node& node);
    /** Remove the name. Descriptors that are open on it or below it fail with ENODEV from now on. */
    void detach(const std::string& name);

    /** The entry of this name, or null. */
    Node* child(std::string_view name) const;
    const std::map<std::string, Node*, std::less<>>& children() const { return children_; }
    /** How many of them are directories. */
    unsigned subdirectories() const { return subdirectories_; }

    Directory* parent = nullptr;

private:
    std::map<std::string, Node*, std::less<>> children_;
    unsigned subdirectories_ = 0;
};

}  // namespace VelmorSim
