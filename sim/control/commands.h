// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace VelmorSim {

class Faults;
class Model;

using Words = std::vector<std::string>;

/** The commands that finish at once, from a second terminal or a script. */
class Commands {
public:
    Commands(Model& model, Faults& faults) : model_(model), faults_(faults) {}

    /** Run set, raw, get, list, fault, delay or clear. Returns what to print; throws std::invalid_argument. */
    std::string run(const Words& words);
    Model& model() const { return model_; }
    Faults& faults() const { return faults_; }

private:
    Model& model_;
    Faults& faults_;
};

/** "NAME=VALUE\n", with the value in one line. */
std::string value_line(const std::string& name, const std::string& value);

/** Parse a time such as "2", "1.5s" or "200ms". Throws std::invalid_argument. */
std::chrono::milliseconds duration(const std::string& text);

}  // namespace VelmorSim
