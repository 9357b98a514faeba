// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace VelmorSim {

class Model;
class Settings;

/**
 * A kind of device that board files may name. Each is one static object, in a source of its own, and stands in no list.
 * HAZARD: in a static library the linker would leave such sources out.
 */
class Kind {
public:
    /** Makes one device of a board file's list, under `name`, from its settings. */
    using Maker = void (*)(Model& model, const std::string& name, Settings& settings);

    Kind(const std::string& kind, Maker maker) { makers()[kind] = maker; }

    /** Every kind's maker. */
    static std::map<std::string, Maker>& makers();
};

/** The absolute path under the key "path", in one of the trees that the device has. */
std::string device_path(Settings& settings, const std::string& key = "path");
/** Where the class device of this path stands: the key "place", or among the virtual devices. */
std::string device_place(Settings& settings, const std::string& path);

}  // namespace VelmorSim
