// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/device_file.h"
#include "core/resource.h"

namespace Velmor {

/**
 * HAZARD: once enabled, the machine restarts unless refresh() is called more often than the timeout says.
 *
 * The hardware watchdog through its device node, by the kernel's watchdog interface. Opening the node arms it, so it
 * is opened by enable() alone; disable() writes the magic "V" and closes it. A process that ends without it, or an
 * object that is destroyed, leaves the watchdog armed.
 *
 * refresh() and disable() without enable() are EINVAL. A failed "V" leaves the node open and the watchdog armed.
 * Threads: calls must not overlap, they share one descriptor.
 */
class Watchdog : public Resource {
public:
    explicit Watchdog(const std::string& path);

    /** Timeout in seconds; negative is EINVAL. What the driver makes of it is not reported. */
    virtual void enable(int timeout_s);
    virtual void disable();
    virtual void refresh();

private:
    DeviceFile file_;
};

}  // namespace Velmor
