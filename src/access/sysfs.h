// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "access/input_file.h"
#include "access/output_file.h"
#include "access/sysfs_text.h"

namespace Velmor {

/**
 * One attribute file of the kernel's as a typed value. Every read and every write opens the file, transfers one value
 * as text and closes it, so that the value is always the kernel's current one and nothing is held open in between.
 * All failures are the standard stream failure. Values are not checked: that is for the resource that knows the range.
 *
 * Threads: no state but the path, so accesses may overlap; of two writers the kernel keeps the later.
 */
template <typename T>
class SysFS {
public:
    explicit SysFS(std::string path) : path_(std::move(path)) {}
    /** The path put together with a single allocation. */
    SysFS(std::string_view directory, std::string_view attribute) : path_(directory.size() + attribute.size(), '\0') {
        attribute.copy(path_.data() + directory.copy(path_.data(), directory.size()), attribute.size());
    }
    SysFS(const SysFS&) = default;
    SysFS(SysFS&&) noexcept = default;
    SysFS& operator=(const SysFS&) = default;
    SysFS& operator=(SysFS&&) noexcept = default;

    virtual void write(const T& value) const {
        OutputFile file(path_);
        put_text(file, value);
        file.close();
    }

    virtual T read() const { return read_from(path_); }

    /** The same for a path that the caller keeps: without a copy of it. */
    static T read_from(const std::string& path) {
        InputFile file(path);
        T value{};
        get_text(file, value);
        file.close();
        return value;
    }

    virtual ~SysFS() = default;

private:
    std::string path_;
};

}  // namespace Velmor
