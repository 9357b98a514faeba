// SPDX-License-Identifier: MIT
#include "run/restart_call.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/reboot.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

namespace VelmorSim {

namespace {

struct Entry {
    unsigned architecture;
    unsigned number;
};

constexpr unsigned x32_bit = 0x40000000U;

/** The call on every architecture that our machines run, natively or as 32-bit programs. */
constexpr std::array<Entry, 5> entries = {{
    {AUDIT_ARCH_X86_64, 169},
    {AUDIT_ARCH_X86_64, 169U | x32_bit},
    {AUDIT_ARCH_I386, 88},
    {AUDIT_ARCH_ARM, 88},
    {AUDIT_ARCH_AARCH64, 142},
}};

sock_filter load(std::size_t offset) {
    return {static_cast<unsigned short>(BPF_LD | BPF_W | BPF_ABS), 0, 0, static_cast<unsigned>(offset)};
}

sock_filter unless_equal_skip(unsigned value, unsigned char count) {
    return {static_cast<unsigned short>(BPF_JMP | BPF_JEQ | BPF_K), 0, count, value};
}

sock_filter answer_with(unsigned value) {
    return {static_cast<unsigned short>(BPF_RET | BPF_K), 0, 0, value};
}

/** At most 255 characters, like the kernel. If the next page cannot be read, only up to the end of this one. */
std::string read_text(int pid, unsigned long address) {
    constexpr std::size_t most = 255;
    constexpr unsigned long page = 4096;
    std::array<char, most> bytes{};
    const auto within_page = static_cast<std::size_t>(page - address % page);
    for (const auto length : {most, std::min(most, within_page)}) {
        iovec here{bytes.data(), length};
        iovec there{reinterpret_cast<void*>(address), length};  // NOLINT(performance-no-int-to-ptr)
        if (process_vm_readv(pid, &here, 1, &there, 1, 0) < 0) continue;
        return {bytes.data(), strnlen(bytes.data(), length)};
    }
    return {};
}

}  // namespace

Descriptor RestartCall::install() {
    std::vector<sock_filter> program;
    for (const auto& entry : entries) {
        program.push_back(load(offsetof(seccomp_data, arch)));
        program.push_back(unless_equal_skip(entry.architecture, 3));
        program.push_back(load(offsetof(seccomp_data, nr)));
        program.push_back(unless_equal_skip(entry.number, 1));
        program.push_back(answer_with(SECCOMP_RET_USER_NOTIF));
    }
    program.push_back(answer_with(SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return Descriptor(
        static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter)));
}

std::optional<RestartCall::Call> RestartCall::receive(int listener) {
    // Room for fields that a later kernel may add.
    union {
        seccomp_notif notice;
        std::array<char, 512> room;
    } caught{};
    caught.room.fill(0);
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &caught.notice) != 0) return std::nullopt;
    Call call{.id = caught.notice.id, .pid = static_cast<int>(caught.notice.pid)};
    call.magic1 = caught.notice.data.args[0] & 0xffffffffU;
    call.magic2 = caught.notice.data.args[1] & 0xffffffffU;
    call.command = caught.notice.data.args[2] & 0xffffffffU;
    if (call.command == LINUX_REBOOT_CMD_RESTART2) call.text = read_text(call.pid, caught.notice.data.args[3]);
    return call;
}

void RestartCall::answer(int listener, const Call& call, int result) {
    union {
        seccomp_notif_resp response;
        std::array<char, 512> room;
    } answer{};
    answer.room.fill(0);
    answer.response.id = call.id;
    answer.response.error = result;
    // The caller may have been killed meanwhile.
    static_cast<void>(ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer.response));
}

}  // namespace VelmorSim
