// SPDX-License-Identifier: MIT
#include "platform/auto_power_on.h"

#include <linux/reboot.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>

#include "access/cancellation.h"
#include "access/failure.h"

namespace Velmor {

// HAZARD: the machine restarts at once, without stopping its services. Only the sync protects the file systems.
void AutoPowerOn::shutdown() {
    ::sync();
    // The raw system call: the C library's reboot() has no argument for the command text.
    const long result =
        ::syscall(SYS_reboot, LINUX_REBOOT_MAGIC1, LINUX_REBOOT_MAGIC2, LINUX_REBOOT_CMD_RESTART2, "wdt");
    if (result < 0) throw_system_error(errno);
    wait_forever();
}

}  // namespace Velmor
