// SPDX-License-Identifier: MIT
#include "run/device_node.h"

#include <linux/major.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <string_view>

#include "tree/node.h"

namespace VelmorSim {

dev_t device_number(const Node& node) {
    const std::string_view path = node.path;
    constexpr unsigned watchdog = 130;
    if (path == "/dev/watchdog") return makedev(MISC_MAJOR, watchdog);
    constexpr std::string_view event = "/dev/input/event";
    constexpr unsigned first_event = 64;
    constexpr unsigned most_events = 32;
    if (!path.starts_with(event)) return 0;
    unsigned number = 0;
    const auto* end = path.data() + path.size();
    const auto [rest, error] = std::from_chars(path.data() + event.size(), end, number);
    if (error != std::errc() || rest != end) return 0;
    // Nodes beyond those that the kernel keeps for events are named by their minor number.
    return makedev(INPUT_MAJOR, number < most_events ? first_event + number : number);
}

}  // namespace VelmorSim
