// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/io.h"
#include "access/sysfs.h"

namespace Velmor {

/** A line that a driver shows as one attribute file. Levels are passed through unchecked. Any thread may use it. */
class SysFSIO : public IO {
public:
    /** The attribute's full path. Touches no file. */
    explicit SysFSIO(const std::string& path) : attribute_(path) {}

    // Flattened: after a system call the processor mispredicts each return to a function called before it.
    [[gnu::flatten, gnu::stack_protect]] void set(const io_value_t& value) override { attribute_.write(value); }
    [[gnu::flatten, gnu::stack_protect]] io_value_t get() override { return attribute_.read(); }

private:
    SysFS<io_value_t> attribute_;
};

}  // namespace Velmor
