// SPDX-License-Identifier: MIT
#include "run/caught_stat.h"

#include <fcntl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "run/caller_memory.h"
#include "tree/directory.h"
#include "tree/tree.h"

namespace VelmorSim {

namespace {

/** The path at this address, or nothing if it cannot be read or is too long. */
std::optional<std::string> text_at(int pid, unsigned long address) {
    constexpr unsigned long page = 4096;
    std::string text;
    std::array<char, page> bytes{};
    while (text.size() < PATH_MAX) {
        // The next page may not be readable.
        const auto length = page - address % page;
        if (!read_memory(pid, address, bytes.data(), length)) return std::nullopt;
        const auto used = strnlen(bytes.data(), length);
        text.append(bytes.data(), used);
        if (used < length) break;
        address += length;
    }
    // The kernel rejects a path that is too long.
    return text.size() < PATH_MAX ? std::optional(text) : std::nullopt;
}

/** `from` is a real path, without links. */
std::string joined(std::string_view from, std::string_view relative) {
    while (relative.starts_with("./") || relative.starts_with("../")) {
        if (relative[1] == '.') from = from.substr(0, from.rfind('/'));
        relative.remove_prefix(relative.find('/') + 1);
    }
    return std::string(from).append("/").append(relative);
}

}  // namespace

CaughtStat::CaughtStat(const CallFilter::Call& call)
    : caller_(call.pid), is_statx_(call.number == SYS_statx), directory_(static_cast<int>(call.arguments[0])) {
    const auto& arguments = call.arguments;
    if (is_statx_) {
        path_ = arguments[1];
        flags_ = static_cast<unsigned>(arguments[2]);
        mask_ = static_cast<unsigned>(arguments[3]);
        result_ = arguments[4];
        return;
    }
#ifdef __LP64__
    if (call.number == SYS_newfstatat) {
        path_ = arguments[1];
        result_ = arguments[2];
        flags_ = static_cast<unsigned>(arguments[3]);
        return;
    }
    result_ = arguments[1];
    if (call.number == SYS_fstat) {
        flags_ = AT_EMPTY_PATH;
        return;
    }
#ifdef SYS_stat
    path_ = arguments[0];
    directory_ = AT_FDCWD;
    if (call.number == SYS_lstat) flags_ = AT_SYMLINK_NOFOLLOW;
#endif
#endif
}

const Node* CaughtStat::device_node(const Tree& tree) const {
    // The kernel rejects other flags, and it is left to do so.
    const unsigned sync = is_statx_ ? flags_ & AT_STATX_SYNC_TYPE : 0;
    constexpr unsigned known = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
    if ((flags_ & ~(known | sync)) != 0 || sync == AT_STATX_SYNC_TYPE || (mask_ & STATX__RESERVED) != 0) return nullptr;
    const auto found = path();
    if (!found) return nullptr;
    const auto slash = found->rfind('/');
    const auto* directory = dynamic_cast<const Directory*>(tree.find(found->substr(0, slash)));
    const Node* node = directory == nullptr ? nullptr : directory->child(found->substr(slash + 1));
    if (node == nullptr || node->device == 0) return nullptr;
    // In another root the path leads to another file.
    return read_link("root") == "/" ? node : nullptr;
}

/** The absolute path that the call is for, or nothing if it is unknown. */
std::optional<std::string> CaughtStat::path() const {
    auto text = path_ == 0 ? std::string() : text_at(caller_, path_);
    if (!text || (text->empty() && (flags_ & AT_EMPTY_PATH) == 0)) return std::nullopt;
    if (text->starts_with('/')) return text;
    const auto from = read_link(directory_ == AT_FDCWD ? "cwd" : "fd/" + std::to_string(directory_));
    // A descriptor may be of something that has no path, such as a pipe.
    if (!from.starts_with('/')) return std::nullopt;
    return text->empty() ? from : joined(from, *text);
}

/** Where an entry of the caller's directory in "/proc" leads. Only this link is read, nothing is looked up. */
std::string CaughtStat::read_link(const std::string& name) const {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/" + std::to_string(caller_) + "/" + name, error).string();
}

bool CaughtStat::write(const struct stat& attributes) const {
    if (!is_statx_) return write_memory(caller_, result_, &attributes, sizeof attributes);
    struct statx record {};
    const auto time = [](const timespec& from) {
        statx_timestamp to{};
        to.tv_sec = from.tv_sec;
        to.tv_nsec = static_cast<unsigned>(from.tv_nsec);
        return to;
    };
    record.stx_mask = STATX_BASIC_STATS;
    record.stx_blksize = static_cast<unsigned>(attributes.st_blksize);
    record.stx_nlink = static_cast<unsigned>(attributes.st_nlink);
    record.stx_uid = attributes.st_uid;
    record.stx_gid = attributes.st_gid;
    record.stx_mode = static_cast<std::uint16_t>(attributes.st_mode);
    record.stx_ino = attributes.st_ino;
    record.stx_size = static_cast<std::uint64_t>(attributes.st_size);
    record.stx_blocks = static_cast<std::uint64_t>(attributes.st_blocks);
    record.stx_atime = time(attributes.st_atim);
    record.stx_mtime = time(attributes.st_mtim);
    record.stx_ctime = time(attributes.st_ctim);
    record.stx_rdev_major = major(attributes.st_rdev);
    record.stx_rdev_minor = minor(attributes.st_rdev);
    record.stx_dev_major = major(attributes.st_dev);
    record.stx_dev_minor = minor(attributes.st_dev);
    return write_memory(caller_, result_, &record, sizeof record);
}

}  // namespace VelmorSim
