// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <linux/input.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/ioctl_stand_in.h"

// EVIOCGABS of an axis.
constexpr unsigned long axis_x = 0x80184540;
constexpr unsigned long axis_y = 0x80184541;
constexpr unsigned long axis_z = 0x80184542;
constexpr unsigned long axis_rx = 0x80184543;

/** A temporary file in place of an input device's node, whose axes have values while this exists. */
class InputDevice : public testing_support::IoctlStandIn {
public:
    struct Query {
        int fd;
        int open_flags;  // of the open file
        int descriptor_flags;
        unsigned long request;
    };

    InputDevice() { testing_support::put(node_, ""); }

    int ioctl(int fd, unsigned long request, void* argument) override {
        queries.push_back({fd, fcntl(fd, F_GETFL), fcntl(fd, F_GETFD), request});
        const auto value = values.find(request);
        if (value == values.end()) return error;
        // The other five fields get values too, which no axis may report.
        *static_cast<input_absinfo*>(argument) = {value->second, -9991, -9992, -9993, -9994, -9995};
        return 0;
    }

    const std::string& node() const { return node_; }

    std::vector<unsigned long> requests() const {
        std::vector<unsigned long> result;
        for (const Query& query : queries) result.push_back(query.request);
        return result;
    }

    std::map<unsigned long, std::int32_t> values;  // of the axes; a query of another one fails
    int error = EINVAL;                            // with this errno
    std::vector<Query> queries;

private:
    testing_support::TemporaryDirectory directory_;
    std::string node_ = directory_ / "event0";
};
