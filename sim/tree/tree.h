// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tree/directory.h"
#include "tree/node.h"

namespace VelmorSim {

/** What the kernel says about a device to programs that look for devices. */
struct Uevent {
    /** The name of the device's node below "/dev"; empty if it has none. */
    std::string node{};
    /** The node's numbers. */
    std::int64_t major = 0;
    std::int64_t minor = 0;
    /** The lines of its class or bus, each with its newline. */
    std::string lines{};
};

/** All files of the device, under their absolute paths. */
class Tree {
public:
    /** The root's inode, as FUSE defines it. */
    static constexpr std::uint32_t root_inode = 1;

    Tree();

    // Adding a path twice, or one that is reserved, throws std::invalid_argument.

    /** The directory with this path. It and its parents are made if missing. */
    Directory& directory(const std::string& path);
    /**
     * Add a class device. Its directory is at `place`, and the class directory has a link to it. Programs and the
     * record use the path through the class directory. Add its node before it.
     */
    Directory& class_device(const std::string& path, const std::string& place, const Uevent& uevent = {});
    /** The same, but not visible yet: show() and hide() make it appear and disappear. */
    Directory& passing_class_device(const std::string& path, const std::string& place, const Uevent& uevent = {});
    void show(const std::string& path, const std::string& place, Directory& device);
    void hide(const std::string& path, const std::string& place);
    /** Keep this path free for show(). `files` are those that the device's directory will have of its own. */
    void reserve(const std::string& path, std::span<const char* const> files = {});
    /** Call after adding everything: gives each platform device the files that the kernel adds to all of them. */
    void finish_platform();

    template <class T, class... Arguments>
    T& add(Directory& parent, const std::string& name, Arguments&&... arguments) {
        const auto path = parent.path + "/" + name;
        require_unreserved(path);
        if (parent.child(name) != nullptr) throw std::invalid_argument(path + " already exists");
        return put<T>(parent, name, std::forward<Arguments>(arguments)...);
    }
    template <class T, class... Arguments>
    T& add(const std::string& path, Arguments&&... arguments) {
        const auto slash = path.rfind('/');
        return add<T>(directory(path.substr(0, slash)), path.substr(slash + 1), std::forward<Arguments>(arguments)...);
    }

    Node* by_inode(std::uint64_t inode) const;
    /** The node with this absolute path, following links, or null. */
    Node* find(const std::string& path) const;
    /**
     * The paths of all files that are served, also of those that a reserved device will have. Some may be there twice.
     * Serial ports are not among them.
     */
    std::vector<std::string> served_paths() const;
    Directory& root() const { return *root_; }

private:
    /** Add it without a check. */
    template <class T, class... Arguments>
    T& put(Directory& parent, const std::string& name, Arguments&&... arguments) {
        auto owned = std::make_unique<T>(std::forward<Arguments>(arguments)...);
        T& node = *owned;
        adopt(std::move(owned));
        node.path = parent.path + "/" + name;
        node.comes_and_goes = parent.comes_and_goes;
        parent.attach(name, node);
        return node;
    }
    void require_unreserved(const std::string& path) const;
    /** The node at the end of this path from `from`, following at most `links` links, or null. */
    Node* walk(Directory& from, std::string_view path, int links) const;
    void adopt(std::unique_ptr<Node> node);
    void add_common(Directory& device, const Uevent& uevent);

    std::vector<std::unique_ptr<Node>> nodes_;
    /** Each with its files. */
    std::unordered_map<std::string, std::span<const char* const>> reserved_;
    /** The links that show() has made, by their paths. */
    std::unordered_map<std::string, Node*> shown_;
    Directory* root_ = nullptr;
};

/** The text of a relative link from one absolute path to another. */
std::string relative_link(const std::string& from, const std::string& to);

}  // namespace VelmorSim
