// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

class InputDevice;
class Model;

/**
 * Adds the class devices of the input device with the node "/dev/input/eventN": "inputN" and, below it, "eventN".
 * `parent` is the device's directory. Call it when the device has all its axes and keys. Any other node has none.
 */
void add_input_class(Model& model, const InputDevice& device, const std::string& node, const std::string& parent);

}  // namespace VelmorSim
