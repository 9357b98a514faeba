// SPDX-License-Identifier: MIT
#include "run/restart_call.h"

#include <linux/reboot.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "run/caller_memory.h"

namespace VelmorSim {

namespace {

constexpr unsigned long low_half = 0xffffffffU;

/** At most 255 characters, like the kernel. If the next page cannot be read, only up to the end of this one. */
std::string read_text(int pid, unsigned long address) {
    constexpr std::size_t most = 255;
    constexpr unsigned long page = 4096;
    std::array<char, most> bytes{};
    const auto within_page = static_cast<std::size_t>(page - address % page);
    for (const auto length : {most, std::min(most, within_page)}) {
        if (read_memory(pid, address, bytes.data(), length)) return {bytes.data(), strnlen(bytes.data(), length)};
    }
    return {};
}

}  // namespace

RestartCall::RestartCall(const CallFilter::Call& call)
    : magic1(call.arguments[0] & low_half),
      magic2(call.arguments[1] & low_half),
      command(call.arguments[2] & low_half) {
    if (command == LINUX_REBOOT_CMD_RESTART2) text = read_text(call.pid, call.arguments[3]);
}

}  // namespace VelmorSim
