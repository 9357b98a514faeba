// SPDX-License-Identifier: MIT
#include "tree/tree.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "tree/computed_attribute.h"
#include "tree/link.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

const std::string platform = "/sys/devices/platform";

/** The files that add_common() adds to every device. */
constexpr std::array common_files = {
    "uevent",        "power/runtime_status",      "power/runtime_active_time", "power/runtime_suspended_time",
    "power/control", "power/autosuspend_delay_ms"};

std::string parent_of(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}
std::string name_of(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string numbers_text(const Uevent& uevent) {
    return std::to_string(uevent.major) + ":" + std::to_string(uevent.minor);
}

void make_lasting(Node& node) {
    node.comes_and_goes = false;
    const auto* directory = dynamic_cast<Directory*>(&node);
    if (directory == nullptr) return;
    for (const auto& [name, entry] : directory->children()) make_lasting(*entry);
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
        // find() follows the link to a class device, so that a board can add an attribute to the device.
        auto* next = dynamic_cast<Directory*>(find(path.substr(0, end)));
        directory = next != nullptr ? next : &add<Directory>(*directory, name);
        start = end + 1;
    }
    return *directory;
}

Directory& Tree::class_device(const std::string& path, const std::string& place, const Uevent& uevent) {
    require_unreserved(path);
    require_unreserved(place);
    if (find(path) != nullptr || find(place) != nullptr) throw std::invalid_argument(path + " already exists");
    Directory& device = passing_class_device(path, place, uevent);
    make_lasting(device);
    show(path, place, device);
    directory(parent_of(path)).child(name_of(path))->comes_and_goes = false;
    if (!uevent.node.empty()) {
        const auto entry = "/sys/dev/char/" + numbers_text(uevent);
        add<Link>(entry, relative_link(entry, place));
        auto* node = find("/dev/" + uevent.node);
        if (node != nullptr && node->stand_in.empty())
            node->device = makedev(static_cast<unsigned>(uevent.major), static_cast<unsigned>(uevent.minor));
    }
    return device;
}

Directory& Tree::passing_class_device(const std::string& path, const std::string& place, const Uevent& uevent) {
    auto owned = std::make_unique<Directory>();
    Directory& device = *owned;
    adopt(std::move(owned));
    device.path = path;
    device.comes_and_goes = true;
    add<Link>(device, "subsystem", relative_link(place + "/subsystem", parent_of(path)));
    add_common(device, uevent);
    // A class device below another one, or below a platform device, has a link back to it.
    const auto* above = dynamic_cast<Directory*>(find(parent_of(place)));
    const bool is_nested = above != nullptr && above->child("subsystem") != nullptr;
    const auto parent = is_nested ? parent_of(place) : parent_of(parent_of(place));
    if (is_nested || parent_of(parent) == platform) {
        const auto group = relative_link(place + "/device", parent_of(parent));
        add<Link>(device, "device", group + "/" + name_of(parent));
    }
    return device;
}

void Tree::finish_platform() {
    Directory& devices = directory(platform);
    for (const auto& [name, node] : devices.children()) {
        auto* device = dynamic_cast<Directory*>(node);
        if (device == nullptr || device->child("subsystem") != nullptr) continue;
        const auto path = std::string(platform).append("/").append(name);
        const auto driver = name.substr(0, name.rfind('.'));
        add<Link>(*device, "subsystem", relative_link(path + "/subsystem", "/sys/bus/platform"));
        const auto alias = "platform:" + driver;
        add<TextAttribute>(*device, "modalias", mode_t{0444}, alias);
        std::string lines = "DRIVER=" + driver;
        lines.append("\nMODALIAS=").append(alias).append("\n");
        add_common(*device, {.lines = lines});
        const auto bound = "/sys/bus/platform/drivers/" + driver;
        add<Link>(*device, "driver", relative_link(path + "/driver", bound));
        for (const auto& group : {std::string("/sys/bus/platform/devices"), bound}) {
            const auto entry = std::string(group).append("/").append(name);
            add<Link>(entry, relative_link(entry, path));
        }
    }
}

// The entries that the kernel's driver core gives to every device.
void Tree::add_common(Directory& device, const Uevent& uevent) {
    const auto ignore = [](std::string_view) { return 0; };
    std::string text;
    if (!uevent.node.empty()) {
        text = "MAJOR=" + std::to_string(uevent.major) + "\nMINOR=" + std::to_string(uevent.minor) +
               "\nDEVNAME=" + uevent.node + "\n";
        add<TextAttribute>(device, "dev", mode_t{0444}, numbers_text(uevent));
    }
    text += uevent.lines;
    add<ComputedAttribute>(
        device, "uevent", mode_t{0644}, [text] { return text; }, ignore);
    auto& power = add<Directory>(device, "power");
    add<TextAttribute>(power, "runtime_status", mode_t{0444}, "unsupported");
    for (const char* name : {"runtime_active_time", "runtime_suspended_time"})
        add<TextAttribute>(power, name, mode_t{0444}, "0");
    add<ComputedAttribute>(
        power, "control", mode_t{0644}, [] { return std::string("auto\n"); }, ignore);
    add<ComputedAttribute>(power, "autosuspend_delay_ms", mode_t{0644}, nullptr, nullptr);
}

void Tree::show(const std::string& path, const std::string& place, Directory& device) {
    directory(parent_of(place)).attach(name_of(place), device);
    Directory& group = directory(parent_of(path));
    const auto target = relative_link(path, place);
    if (path == place) return;
    // A line that was shown before gets its old link again.
    if (const auto old = shown_.find(path); old != shown_.end()) {
        group.attach(name_of(path), *old->second);
        return;
    }
    auto& link = put<Link>(group, name_of(path), target);
    link.comes_and_goes = true;
    shown_[path] = &link;
}

void Tree::hide(const std::string& path, const std::string& place) {
    directory(parent_of(place)).detach(name_of(place));
    directory(parent_of(path)).detach(name_of(path));
}

void Tree::reserve(const std::string& path, std::span<const char* const> files) {
    if (find(path) != nullptr || !reserved_.emplace(path, files).second)
        throw std::invalid_argument(path + " already exists, but an export puts a line there");
}

void Tree::require_unreserved(const std::string& path) const {
    if (reserved_.contains(path)) throw std::invalid_argument(path + " must be free: an export puts a line there");
}

Node* Tree::by_inode(std::uint64_t inode) const {
    const auto index = inode - root_inode;
    return index < nodes_.size() ? nodes_[static_cast<std::size_t>(index)].get() : nullptr;
}

Node* Tree::find(const std::string& path) const {
    constexpr int most_links = 16;
    return walk(*root_, path, most_links);
}

std::vector<std::string> Tree::served_paths() const {
    std::vector<std::string> paths;
    for (const auto& node : nodes_) {
        if (dynamic_cast<const File*>(node.get()) != nullptr && node->stand_in.empty()) paths.push_back(node->path);
    }
    for (const auto& [device, files] : reserved_) {
        if (files.empty()) continue;
        for (const char* file : files) paths.push_back(device + "/" + file);
        for (const char* file : common_files) paths.push_back(device + "/" + file);
    }
    return paths;
}

Node* Tree::walk(Directory& from, std::string_view path, int links) const {
    Node* node = &from;
    while (!path.empty()) {
        const auto part = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(part.size() + 1, path.size()));
        auto* directory = dynamic_cast<Directory*>(node);
        if (directory == nullptr) return nullptr;
        if (part.empty() || part == ".") continue;
        node = part == ".." ? directory->parent : directory->child(part);
        const auto* link = dynamic_cast<const Link*>(node);
        if (link == nullptr) continue;
        if (links == 0) return nullptr;
        node = walk(*directory, link->target, links - 1);
    }
    return node;
}

}  // namespace VelmorSim
