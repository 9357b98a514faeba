// SPDX-License-Identifier: MIT
#include "tree/directory.h"

namespace VelmorSim {

namespace {

void let_go(Node& node) {
    node.incarnation++;
    const auto* directory = dynamic_cast<Directory*>(&node);
    if (directory == nullptr) return;
    for (const auto& [name, entry] : directory->children()) let_go(*entry);
}

}  // namespace

void Directory::attach(const std::string& name, Node& node) {
    children_[name] = &node;
    if (auto* directory = dynamic_cast<Directory*>(&node)) directory->parent = this;
}

void Directory::detach(const std::string& name) {
    const auto entry = children_.find(name);
    if (entry == children_.end()) return;
    let_go(*entry->second);
    children_.erase(entry);
}

Node* Directory::child(std::string_view name) const {
    const auto entry = children_.find(name);
    return entry == children_.end() ? nullptr : entry->second;
}

}  // namespace VelmorSim
