// SPDX-License-Identifier: MIT
#include "tree/file.h"

#include <poll.h>

#include <cerrno>

namespace VelmorSim {

int File::ioctl(OpenFile& /*open*/, unsigned /*request*/, std::string_view /*in*/, std::size_t /*room*/,
                std::string& /*out*/) {
    return -ENOTTY;
}

unsigned File::poll(OpenFile& /*open*/) const {
    return POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;
}

}  // namespace VelmorSim
