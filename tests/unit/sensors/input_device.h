// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/files.h"

/**
 * A temporary file whose axes EVIOCGABS finds here while this exists: the program's ioctl() is a stand-in. Without one,
 * the stand-in is the C library's.
 */
class InputDevice {
public:
    struct Query {
        int fd;
        int open_flags;  // as the open file has them
        int descriptor_flags;
        unsigned long request;
    };

    InputDevice();
    ~InputDevice();
    InputDevice(const InputDevice&) = delete;
    InputDevice& operator=(const InputDevice&) = delete;

    const std::string& node() const { return node_; }
    std::vector<unsigned long> requests() const;

    std::map<unsigned long, std::int32_t> values;  // request -> the axis's value; a request that is not here fails
    int error = 22;                                // with this errno
    std::vector<Query> queries;

private:
    testing_support::TemporaryDirectory directory_;
    std::string node_ = directory_ / "event0";
};
