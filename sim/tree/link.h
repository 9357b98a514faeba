// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "tree/node.h"

namespace VelmorSim {

/** A symbolic link, as the class directories have them. */
class Link : public Node {
public:
    explicit Link(std::string to) : Node(S_IFLNK | 0777), target(std::move(to)) {}

    const std::string target;
};

}  // namespace VelmorSim
