// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

class Model;

/** NAME=VALUE, NAME!=VALUE, NAME<VALUE, NAME<=VALUE, NAME>VALUE or NAME>=VALUE. */
class Condition {
public:
    /** Parse the condition. Throws std::invalid_argument with what would be valid. */
    Condition(Model& model, const std::string& text);

    /** False as long as the value does not exist, whatever the condition is. */
    bool holds(Model& model) const;
    /** The value now, in words: "the last value is 4". */
    std::string found(Model& model) const;

private:
    std::string name_;
    std::string relation_;
    std::string value_;
};

}  // namespace VelmorSim
