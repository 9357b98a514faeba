// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tree/directory.h"
#include "tree/node.h"

namespace VelmorSim {

/** All files of the device, under their absolute paths. */
class Tree {
public:
    /** The root's inode, as FUSE has it. */
    static constexpr std::uint32_t root_inode = 1;

    Tree();

    // Whatever is added twice is refused with std::invalid_argument.

    /** The directory of this path, made with its parents where missing. */
    Directory& directory(const std::string& path);
    /**
     * A class device: its directory stands at `place` and is linked to from the class directory; applications and the
     * record know it by the class directory's name.
     */
    Directory& class_device(const std::string& path, const std::string& place);
    /** As above, not yet visible: show() and hide() make it come and go. */
    Directory& passing_class_device(const std::string& path, const std::string& place);
    void show(const std::string& path, const std::string& place, Directory& device);
    void hide(const std::string& path, const std::string& place);
    /** Once all is added: every platform device gets what the kernel shows of each. */
    void finish_platform();

    template <class T, class... Arguments>
    T& add(Directory& parent, const std::string& name, Arguments&&... arguments) {
        const auto path = parent.path + "/" + name;
        if (parent.child(name) != nullptr) throw std::invalid_argument(path + " is there already");
        auto owned = std::make_unique<T>(std::forward<Arguments>(arguments)...);
        T& node = *owned;
        adopt(std::move(owned));
        node.path = path;
        node.comes_and_goes = parent.comes_and_goes;
        parent.attach(name, node);
        return node;
    }
    template <class T, class... Arguments>
    T& add(const std::string& path, Arguments&&... arguments) {
        const auto slash = path.rfind('/');
        return add<T>(directory(path.substr(0, slash)), path.substr(slash + 1), std::forward<Arguments>(arguments)...);
    }

    Node* by_inode(std::uint64_t inode) const;
    /** The node of an absolute path; links are followed. Null when there is none. */
    Node* find(const std::string& path) const;
    Directory& root() const { return *root_; }

private:
    void adopt(std::unique_ptr<Node> node);
    void add_common(Directory& device);

    std::vector<std::unique_ptr<Node>> nodes_;
    Directory* root_ = nullptr;
};

/** The link text that leads from one absolute path to another. */
std::string relative_link(const std::string& from, const std::string& to);

}  // namespace VelmorSim
