// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tree/node.h"

namespace VelmorSim {

/** A directory of the tree. It names its entries and does not own them. */
class Directory : public Node {
public:
    Directory() : Node(S_IFDIR | 0755) {}

    void attach(const std::string& name, Node& node);
    /** Take the name away. Descriptors that are open on it die. */
    void detach(const std::string& name);

    /** The entry of this name, or null. */
    Node* child(std::string_view name) const;
    const std::map<std::string, Node*, std::less<>>& children() const { return children_; }

    Directory* parent = nullptr;

private:
    std::map<std::string, Node*, std::less<>> children_;
};

}  // namespace VelmorSim
