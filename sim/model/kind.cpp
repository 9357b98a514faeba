// SPDX-License-Identifier: MIT
#include "model/kind.h"

#include <filesystem>

#include "common/settings.h"

namespace VelmorSim {

std::map<std::string, Kind::Maker>& Kind::makers() {
    static std::map<std::string, Maker> all;
    return all;
}

std::string device_path(Settings& settings, const std::string& key) {
    auto path = settings.text(key);
    bool good = path == std::filesystem::path(path).lexically_normal().string() && path.back() != '/';
    bool ours = false;
    for (const char* top : {"/sys/", "/proc/platform", "/dev/", "/etc/", "/sbin/"})
        ours = ours || path.rfind(top, 0) == 0;
    good = good && ours;
    if (!good) settings.refuse(key, "a plain path under /sys/, /proc/platform, /dev/, /etc/ or /sbin/");
    return path;
}

std::string device_place(Settings& settings, const std::string& path) {
    if (settings.has("place")) return device_path(settings, "place");
    const std::string group = "/sys/class/";
    if (path.rfind(group, 0) == 0) return "/sys/devices/virtual/" + path.substr(group.size());
    return path;
}

}  // namespace VelmorSim
