// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/io.h"
#include "access/sysfs.h"

namespace Velmor {

/** A line that a driver shows as one attribute file. Levels are passed through unchecked. Any threads. */
class SysFSIO : public IO {
public:
    /** The attribute's whole path. Touches no file. */
    explicit SysFSIO(const std::string& path);

    void set(const io_value_t& value) override;
    io_value_t get() override;

private:
    SysFS<io_value_t> attribute_;
};

}  // namespace Velmor
