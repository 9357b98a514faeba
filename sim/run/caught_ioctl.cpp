// SPDX-License-Identifier: MIT
#include "run/caught_ioctl.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "run/caller_memory.h"

namespace VelmorSim {

CaughtIoctl::CaughtIoctl(const CallFilter::Call& call, int caller_process, int caller_thread)
    : id(call.id),
      process(caller_process),
      thread(caller_thread),
      descriptor(static_cast<int>(call.arguments[0])),
      request(static_cast<unsigned>(call.arguments[1])) {
    if (request == EVIOCGRAB) {
        has_argument = 1;
        argument = call.arguments[2] != 0 ? 1 : 0;
    } else if (read_memory(call.pid, call.arguments[2], &argument, sizeof argument)) {
        has_argument = 1;
    }
}

void CaughtIoctl::repeat() {
    const Descriptor caller(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    const Descriptor file(static_cast<int>(syscall(SYS_pidfd_getfd, caller.get(), descriptor, 0)));
    if (file.is_open()) ::ioctl(file.get(), repeated_ioctl, this);
}

}  // namespace VelmorSim
