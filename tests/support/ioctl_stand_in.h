// SPDX-License-Identifier: MIT
#pragma once

namespace testing_support {

/** While one exists, ioctl() of this program calls it instead of the kernel. */
class IoctlStandIn {
public:
    IoctlStandIn();
    virtual ~IoctlStandIn();
    IoctlStandIn(const IoctlStandIn&) = delete;
    IoctlStandIn& operator=(const IoctlStandIn&) = delete;

    /** Returns 0, or the errno that ioctl() fails with. */
    virtual int ioctl(int fd, unsigned long request, void* argument) = 0;
};

}  // namespace testing_support
