// SPDX-License-Identifier: MIT
#include "tree/tree.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "tree/computed_attribute.h"

namespace VelmorSim {

namespace {

std::string parent_of(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}
std::string name_of(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

std::string relative_link(const std::string& from, const std::string& to) {
    return std::filesystem::path(to).lexically_relative(parent_of(from)).string();
}

Tree::Tree() {
    auto root = std::make_unique<Directory>();
    root_ = root.get();
    root_->parent = root_;
    adopt(std::move(root));
    for (const char* top : {"/sys", "/proc", "/dev", "/etc", "/sbin"}) directory(top);
}

void Tree::adopt(std::unique_ptr<Node> node) {
    nodes_.push_back(std::move(node));
    nodes_.back()->inode = static_cast<std::uint32_t>(nodes_.size() - 1) + root_inode;
}

Directory& Tree::directory(const std::string& path) {
    Directory* directory = root_;
    std::size_t start = 1;
    while (start < path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        const auto name = path.substr(start, end - start);
        // Through a class device's link, so that a board can add an attribute to it.
        auto* next = dynamic_cast<Directory*>(find(path.substr(0, end)));
        directory = next != nullptr ? next : &add<Directory>(*directory, name);
        start = end + 1;
    }
    return *directory;
}

Directory& Tree::class_device(const std::string& path, const std::string& place) {
    if (find(path) != nullptr || find(place) != nullptr) throw std::invalid_argument(path + " is there already");
    Directory& device = passing_class_device(path, place);
    device.comes_and_goes = false;
    for (const auto& [name, node] : device.children()) node->comes_and_goes = false;
    show(path, place, device);
    directory(parent_of(path)).child(name_of(path))->comes_and_goes = false;
    return device;
}

Directory& Tree::passing_class_device(const std::string& path, const std::string& place) {
    auto owned = std::make_unique<Directory>();
    Directory& device = *owned;
    adopt(std::move(owned));
    device.path = path;
    device.comes_and_goes = true;
    add<Link>(device, "subsystem", relative_link(place + "/subsystem", parent_of(path)));
    add<ComputedAttribute>(
        device, "uevent", mode_t{0644}, [] { return std::string(); }, [](std::string_view) { return 0; });
    return device;
}

void Tree::show(const std::string& path, const std::string& place, Directory& device) {
    directory(parent_of(place)).attach(name_of(place), device);
    Directory& group = directory(parent_of(path));
    const auto target = relative_link(path, place);
    if (path == place) return;
    // The link of a line that went before serves again.
    for (const auto& node : nodes_) {
        const auto* link = dynamic_cast<const Link*>(node.get());
        if (link == nullptr || node->path != path) continue;
        group.attach(name_of(path), *node);
        return;
    }
    add<Link>(group, name_of(path), target).comes_and_goes = true;
}

void Tree::hide(const std::string& path, const std::string& place) {
    directory(parent_of(place)).detach(name_of(place));
    directory(parent_of(path)).detach(name_of(path));
}

Node* Tree::by_inode(std::uint64_t inode) const {
    const auto index = inode - root_inode;
    return index < nodes_.size() ? nodes_[index].get() : nullptr;
}

Node* Tree::find(const std::string& path) const {
    auto rest = std::filesystem::path(path).lexically_normal();
    for (int links = 0; links < 16; links++) {
        Node* node = root_;
        std::filesystem::path walked = "/";
        bool again = false;
        for (auto part = std::next(rest.begin()); part != rest.end(); ++part) {
            const auto* directory = dynamic_cast<Directory*>(node);
            node = directory == nullptr ? nullptr : directory->child(part->string());
            if (node == nullptr) return nullptr;
            if (const auto* link = dynamic_cast<Link*>(node)) {
                std::filesystem::path target = walked / link->target;
                for (++part; part != rest.end(); ++part) target /= *part;
                rest = target.lexically_normal();
                again = true;
                break;
            }
            walked /= *part;
        }
        if (!again) return node;
    }
    return nullptr;
}

}  // namespace VelmorSim
