// SPDX-License-Identifier: MIT
#include "platform/power.h"

#include <unistd.h>
#include <cerrno>
#include <ios>

#include "access/cancellation.h"
#include "access/failure.h"
#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char poweroff_program[] = "/sbin/poweroff";
constexpr char reboot_program[] = "/sbin/reboot";
constexpr char state_file[] = "/sys/power/state";
constexpr char suspend_to_memory[] = "mem";

}  // namespace

void Power::shutdown() {
    run_program(poweroff_program);
    wait_forever();
}

void Power::suspend() {
    try {
        SysFS<std::string>::write_to({state_file}, suspend_to_memory);
    } catch (const std::ios_base::failure&) {  // NOLINT(bugprone-empty-catch): callers do not expect it to be reported
    }
}

void Power::reboot() {
    run_program(reboot_program);
    wait_forever();
}

void Power::run_program(const std::string& path) {
    const char* const program = path.c_str();
    // vfork: a fork would copy the page tables of an application of any size, only to execute a small program. Until
    // then the child shares our memory, so it may do nothing but execl and _exit.
    const pid_t child = ::vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child == 0) {
        ::execl(program, program, static_cast<char*>(nullptr));
        ::_exit(errno);  // NOLINT(clang-analyzer-unix.Vfork): reads errno, touches nothing else
    }
    if (child < 0) throw_system_error(errno);
    int status = 0;
    if (wait_for_any_child(status) < 0) throw_system_error(errno);
    const int exit_code = status >> 8 & 0xFF;
    if (exit_code != 0) throw_system_error(exit_code);
}

}  // namespace Velmor
