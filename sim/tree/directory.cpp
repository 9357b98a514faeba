// SPDX-License-Identifier: MIT
#include "tree/directory.h"

#include "tree/file.h"

namespace VelmorSim {

namespace {

void let_go(Node& node) {
    node.incarnation++;
    if (auto* file = dynamic_cast<File*>(&node)) file->wake();
    const auto* directory = dynamic_cast<Directory*>(&node);
    if (directory == nullptr) return;
    for (const auto& [name, entry] : directory->children()) let_go(*entry);
}

}  // namespace

void Directory::attach(const std::string& name, Node& node) {
    if (!children_.emplace(name, &node).second) return;
    if (auto* directory = dynamic_cast<Directory*>(&node)) {
        directory->parent = this;
        subdirectories_++;
    }
}

void Directory::detach(const std::string& name) {
    const auto entry = children_.find(name);
    if (entry == children_.end()) return;
    let_go(*entry->second);
    if (S_ISDIR(entry->second->mode())) subdirectories_--;
    children_.erase(entry);
}

Node* Directory::child(std::string_view name) const {
    const auto entry = children_.find(name);
    return entry == children_.end() ? nullptr : entry->second;
}

}  // namespace VelmorSim
