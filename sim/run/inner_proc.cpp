// SPDX-License-Identifier: MIT
#include "run/inner_proc.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace VelmorSim {

namespace {

/** Entries that get no link. A write to sysrq-trigger would reach the machine's kernel. */
bool is_withheld(const std::string& name) {
    return name == "sysrq-trigger" || name == "." || name == "..";
}

}  // namespace

std::vector<std::string> InnerProc::names() const {
    std::vector<std::string> all;
    std::error_code error;
    // Opened again by name, so that the read position is not shared.
    const std::filesystem::directory_iterator entries("/proc/self/fd/" + std::to_string(directory_.get()), error);
    for (const auto& entry : entries) all.push_back(entry.path().filename());
    return all;
}

std::optional<std::uint64_t> InnerProc::link(const std::string& name) {
    struct stat there {};
    if (is_withheld(name) || fstatat(directory_.get(), name.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    const bool is_process = name.find_first_not_of("0123456789") == std::string::npos;
    if (is_process) return process_inodes + std::strtoul(name.c_str(), nullptr, 10);
    auto known = std::find(linked_.begin(), linked_.end(), name);
    if (known == linked_.end()) known = linked_.insert(known, name);
    return name_inodes + static_cast<std::uint64_t>(known - linked_.begin());
}

std::string InnerProc::target(std::uint64_t inode) const {
    const auto name = inode >= name_inodes ? linked_.at(static_cast<std::size_t>(inode - name_inodes))
                                           : std::to_string(inode - process_inodes);
    return std::string(path) + "/" + name;
}

bool InnerProc::is_narrow(int pid) const {
    const auto name = std::to_string(pid) + "/exe";
    // The emulator itself may be 64-bit, but the program that it runs is 32-bit.
    std::array<char, PATH_MAX> text{};
    const auto size = readlinkat(directory_.get(), name.c_str(), text.data(), text.size());
    const std::string_view file(text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    if (file.substr(file.rfind('/') + 1).substr(0, 8) == "qemu-arm") return true;
    const Descriptor program(openat(directory_.get(), name.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, EI_NIDENT> head{};
    const auto length = read(program.get(), head.data(), head.size());
    return length == EI_NIDENT && head[EI_CLASS] == ELFCLASS32;
}

}  // namespace VelmorSim
