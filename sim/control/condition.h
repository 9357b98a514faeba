// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

class Model;

/** NAME=VALUE, NAME!=VALUE, NAME<VALUE, NAME<=VALUE, NAME>VALUE or NAME>=VALUE. */
class Condition {
public:
    /** Throws std::invalid_argument that says what would be right. */
    Condition(Model& model, const std::string& text);

    bool holds(Model& model) const;

private:
    std::string name_;
    std::string relation_;
    std::string value_;
};

}  // namespace VelmorSim
