// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "access/failure.h"
#include "access/sysfs_text.h"
#include "access/text_file.h"

namespace Velmor {

/**
 * One attribute file of the kernel as a typed value. Every read and every write opens the file, transfers one value as
 * text and closes it, so the value is always the kernel's current one and nothing is held open in between. Every
 * failure throws the standard stream failure. Values are not checked: that is up to the resource, which knows the
 * range.
 *
 * Threads: no state but the path, so accesses may overlap; if two threads write, the kernel keeps the later value.
 */
template <typename T>
class SysFS {
public:
    explicit SysFS(std::string path) : path_(std::move(path)) {}

    virtual void write(const T& value) const { write_to({path_}, value); }
    virtual T read() const { return read_from({path_}); }
    virtual ~SysFS() = default;

    /** The same for a path in pieces. */
    [[gnu::stack_protect]] static void write_to(Path path, const T& value) {
        TextFile file(path, TextFile::writing);
        file.write(text_of(value));
        file.close();
    }

    [[gnu::stack_protect]] static T read_from(Path path) {
        TextFile file(path);
        T value{};
        if (!take_value(file, value)) throw_stream_failure();
        file.close();
        return value;
    }

private:
    std::string path_;
};

}  // namespace Velmor
