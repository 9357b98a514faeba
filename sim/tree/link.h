// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "tree/node.h"

namespace VelmorSim {

/** A symbolic link, such as those in the class directories. */
class Link : public Node {
public:
    explicit Link(std::string to) : Node(S_IFLNK | 0777), target(std::move(to)) {}

    const std::string target;
};

}  // namespace VelmorSim
