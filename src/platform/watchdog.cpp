// SPDX-License-Identifier: MIT
#include "platform/watchdog.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <cerrno>

#include "access/failure.h"

namespace Velmor {

namespace {

constexpr char magic_close[] = "V";

}  // namespace

Watchdog::Watchdog(const std::string& path) : file_(path) {}

void Watchdog::enable(int timeout_s) {
    if (timeout_s < 0) throw_system_error(EINVAL);
    if (file_.is_open()) disable();
    file_.open(O_WRONLY | O_CLOEXEC);  // arms the watchdog with the driver's own timeout
    file_.ioctl(WDIOC_SETTIMEOUT, &timeout_s);
}

void Watchdog::disable() {
    file_.write(magic_close, 1);
    file_.close();
}

void Watchdog::refresh() {
    int unused = 0;
    file_.ioctl(WDIOC_KEEPALIVE, &unused);
}

}  // namespace Velmor
