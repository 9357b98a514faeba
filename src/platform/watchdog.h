// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "access/device_file.h"
#include "core/resource.h"

namespace Velmor {

/**
 * HAZARD: once it is enabled, the machine restarts unless refresh() is called at intervals shorter than the timeout.
 *
 * The hardware watchdog, through its device node and the kernel's watchdog interface. Opening the node arms the
 * watchdog, so only enable() opens it; disable() writes the magic "V" and closes it. If the process ends or the object
 * is destroyed without this, the watchdog stays armed.
 *
 * refresh() and disable() without enable() throw EINVAL. If the "V" cannot be written, the node stays open and the
 * watchdog armed. Threads: calls must not overlap, because they share one descriptor.
 */
class Watchdog : public Resource {
public:
    explicit Watchdog(const std::string& path);

    /** Timeout in seconds; a negative one throws EINVAL. The timeout that the driver really sets is not reported. */
    virtual void enable(int timeout_s);
    virtual void disable();
    virtual void refresh();

private:
    DeviceFile file_;
};

}  // namespace Velmor
