// SPDX-License-Identifier: MIT
#include "run/caught_ioctl.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <ios>
#include <string>

#include "run/caller_memory.h"

namespace VelmorSim {

CaughtIoctl::CaughtIoctl(const CallFilter::Call& call, int caller_process, int caller_thread)
    : id(call.id),
      caller(call.pid),
      address(call.arguments[2]),
      process(caller_process),
      thread(caller_thread),
      descriptor(static_cast<int>(call.arguments[0])),
      request(static_cast<unsigned>(call.arguments[1])) {
    if (request == EVIOCGRAB) {
        has_argument = 1;
        argument = address != 0 ? 1 : 0;
    } else if (!is_for_modem_lines() && read_memory(caller, address, &argument, sizeof argument)) {
        has_argument = 1;
    }
}

void CaughtIoctl::repeat() {
    const Descriptor owner(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    const Descriptor file(static_cast<int>(syscall(SYS_pidfd_getfd, owner.get(), descriptor, 0)));
    if (!file.is_open() || ::ioctl(file.get(), repeated_ioctl, this) == 0) return;
    struct stat attributes {};
    if (fstat(file.get(), &attributes) != 0) return;
    file_system = attributes.st_dev;
    inode = attributes.st_ino;
}

bool CaughtIoctl::has_signal() const {
    std::ifstream status("/proc/" + std::to_string(caller) + "/status");
    unsigned long long pending = 0;
    unsigned long long off = 0;
    for (std::string word; status >> word;) {
        unsigned long long set = 0;
        if (word == "SigPnd:" || word == "ShdPnd:") {
            status >> std::hex >> set;
            pending |= set;
        } else if (word == "SigBlk:" || word == "SigIgn:") {
            status >> std::hex >> set;
            off |= set;
        }
    }
    return (pending & ~off) != 0;
}

}  // namespace VelmorSim
