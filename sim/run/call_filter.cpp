// SPDX-License-Identifier: MIT
#include "run/call_filter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "run/caught_ioctl.h"
#include "run/caught_stat.h"

namespace VelmorSim {

namespace {

/** The numbers of the two calls. */
struct Architecture {
    unsigned name;
    unsigned restart;
    unsigned ioctl;
};

constexpr unsigned x32_bit = 0x40000000U;

/** Every architecture that our machines run, natively or as 32-bit programs. */
constexpr std::array<Architecture, 5> architectures = {{
    {AUDIT_ARCH_X86_64, 169, 16},
    {AUDIT_ARCH_X86_64, 169U | x32_bit, 514U | x32_bit},
    {AUDIT_ARCH_I386, 88, 54},
    {AUDIT_ARCH_ARM, 88, 54},
    {AUDIT_ARCH_AARCH64, 142, 29},
}};

/** That of the simulator itself: its records of stat are the same as the kernel's. */
#if defined(__x86_64__)
constexpr unsigned own_architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned own_architecture = AUDIT_ARCH_AARCH64;
#elif defined(__i386__)
constexpr unsigned own_architecture = AUDIT_ARCH_I386;
#else
constexpr unsigned own_architecture = AUDIT_ARCH_ARM;
#endif

sock_filter load(std::size_t offset) {
    return {static_cast<unsigned short>(BPF_LD | BPF_W | BPF_ABS), 0, 0, static_cast<unsigned>(offset)};
}

sock_filter unless_equal_skip(unsigned value, std::size_t count) {
    return {static_cast<unsigned short>(BPF_JMP | BPF_JEQ | BPF_K), 0, static_cast<unsigned char>(count), value};
}

sock_filter end_with(unsigned value) {
    return {static_cast<unsigned short>(BPF_RET | BPF_K), 0, 0, value};
}

/** The kernel's structure, with room for fields that a later kernel may add. */
template <class T>
union WithRoom {
    T value;
    std::array<char, 512> room;
    WithRoom() : room{} {}
};

void send(int listener, unsigned long long id, int result, unsigned flags) {
    WithRoom<seccomp_notif_resp> response;
    response.value.id = id;
    response.value.error = result;
    response.value.flags = flags;
    // The caller may have been killed meanwhile.
    static_cast<void>(ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response.value));
}

}  // namespace

Descriptor CallFilter::install(bool stats) {
    std::vector<sock_filter> program;
    for (const auto& architecture : architectures) {
        // Only the low half of the request counts; every architecture of the table is little-endian.
        std::vector<sock_filter> requests = {load(offsetof(seccomp_data, args[1]))};
        for (const unsigned request : CaughtIoctl::requests) {
            requests.push_back(unless_equal_skip(request, 1));
            requests.push_back(end_with(SECCOMP_RET_USER_NOTIF));
        }
        program.push_back(load(offsetof(seccomp_data, arch)));
        program.push_back(unless_equal_skip(architecture.name, 4 + requests.size()));
        program.push_back(load(offsetof(seccomp_data, nr)));
        program.push_back(unless_equal_skip(architecture.restart, 1));
        program.push_back(end_with(SECCOMP_RET_USER_NOTIF));
        program.push_back(unless_equal_skip(architecture.ioctl, requests.size()));
        program.insert(program.end(), requests.begin(), requests.end());
    }
    if (stats) {
        program.push_back(load(offsetof(seccomp_data, arch)));
        program.push_back(unless_equal_skip(own_architecture, 1 + 2 * CaughtStat::calls.size()));
        program.push_back(load(offsetof(seccomp_data, nr)));
        for (const unsigned call : CaughtStat::calls) {
            program.push_back(unless_equal_skip(call, 1));
            program.push_back(end_with(SECCOMP_RET_USER_NOTIF));
        }
    }
    program.push_back(end_with(SECCOMP_RET_ALLOW));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    const auto set = [&filter](unsigned long flags) {
        return Descriptor(static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &filter)));
    };
    // Otherwise a signal to the caller starts the call anew, although it has been performed. Only since Linux 5.19.
    auto listener = set(SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV);
    return listener.is_open() ? std::move(listener) : set(SECCOMP_FILTER_FLAG_NEW_LISTENER);
}

std::optional<CallFilter::Call> CallFilter::receive(int listener) {
    WithRoom<seccomp_notif> notice;
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &notice.value) != 0) return std::nullopt;
    const seccomp_data& data = notice.value.data;
    Call call{
        .id = notice.value.id, .pid = static_cast<int>(notice.value.pid), .number = static_cast<unsigned>(data.nr)};
    for (std::size_t i = 0; i < call.arguments.size(); i++)
        call.arguments.at(i) = static_cast<unsigned long>(data.args[i]);
    // Anything else is handled as a restart, which is never let through.
    for (const auto& architecture : architectures) {
        if (data.arch == architecture.name && call.number == architecture.ioctl) call.kind = Kind::ioctl;
    }
    const auto& stats = CaughtStat::calls;
    if (data.arch == own_architecture && std::find(stats.begin(), stats.end(), call.number) != stats.end())
        call.kind = Kind::stat;
    return call;
}

bool CallFilter::is_waiting(int listener, unsigned long long id) {
    return ioctl(listener, SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}

void CallFilter::answer(int listener, unsigned long long id, int result) {
    send(listener, id, result, 0);
}

void CallFilter::let_through(int listener, unsigned long long id) {
    send(listener, id, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
}

}  // namespace VelmorSim
