// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace VelmorSim {

class Model;
class Settings;

/**
 * A kind of device that board files may name. Each kind is one static object in a source file of its own, which adds
 * itself to makers(). HAZARD: the linker would leave such files out of a static library.
 */
class Kind {
public:
    /** Makes one device of a board file's list, under `name`, from its settings. */
    using Maker = void (*)(Model& model, const std::string& name, Settings& settings);

    Kind(const std::string& kind, Maker maker) { makers()[kind] = maker; }

    /** The makers of all kinds, by the kind's name. */
    static std::map<std::string, Maker>& makers();
};

/** The absolute path under `key`. Throws BoardError unless it is below one of the folders that a device may use. */
std::string device_path(Settings& settings, const std::string& key = "path");
/**
 * The directory of the class device with this path: the key "place"; without it, one below "/sys/devices/virtual" for a
 * path below "/sys/class", otherwise the path itself.
 */
std::string device_place(Settings& settings, const std::string& path);

}  // namespace VelmorSim
