// SPDX-License-Identifier: MIT
#include "support/recorder.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/reboot.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <system_error>
#include <utility>

#if defined(__x86_64__) || defined(__i386__)
#define VELMOR_RECORDS_HERE 1
#endif

namespace testing_support {

namespace {

[[noreturn]] void give_up(const char* what) {
    throw std::system_error(errno, std::system_category(), what);
}

/** The child's side: what it leaves behind, in memory that both see. */
struct Report {
    int result;
    int error;
};

class Child {
public:
    explicit Child(const std::function<int()>& code, bool traced) {
        report_ = static_cast<Report*>(
            mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        if (report_ == MAP_FAILED) give_up("mmap");
        error_output_ = memfd_create("standard error", MFD_CLOEXEC);
        if (error_output_ < 0) give_up("memfd_create");
        std::fflush(nullptr);
        pid_ = fork();
        if (pid_ < 0) give_up("fork");
        if (pid_ != 0) return;
        dup2(error_output_, STDERR_FILENO);
#ifdef VELMOR_RECORDS_HERE
        if (traced) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
        }
#else
        (void)traced;
#endif
        errno = 0;
        report_->result = code();
        report_->error = errno;
        std::fflush(nullptr);
        _exit(0);
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    ~Child() {
        munmap(report_, sizeof(Report));
        close(error_output_);
    }

    pid_t pid() const {
        return pid_;
    }

    Outcome outcome(int wait_status) const {
        Outcome outcome;
        outcome.wait_status = wait_status;
        outcome.result = report_->result;
        outcome.error = report_->error;
        std::array<char, 4096> buffer = {};
        off_t offset = 0;
        for (ssize_t n = 0; (n = pread(error_output_, buffer.data(), buffer.size(), offset)) > 0; offset += n) {
            outcome.error_text.append(buffer.data(), static_cast<std::size_t>(n));
        }
        return outcome;
    }

private:
    Report* report_ = nullptr;
    int error_output_ = -1;
    pid_t pid_ = -1;
};

}  // namespace

Outcome run_unrecorded(const std::function<int()>& code) {
    const Child child(code, false);
    int status = 0;
    if (waitpid(child.pid(), &status, 0) < 0) give_up("waitpid");
    return child.outcome(status);
}

Recorder& Recorder::watch(std::vector<std::string> prefixes) {
    prefixes_ = std::move(prefixes);
    return *this;
}

Recorder& Recorder::fail(const std::string& act, int error, int nth) {
    return answer(act, -error, nth);
}

Recorder& Recorder::answer(const std::string& act, long result, int nth) {
    interventions_[act].push_back({result, nth});
    return *this;
}

#ifdef VELMOR_RECORDS_HERE

namespace {

#if defined(__x86_64__)
constexpr std::uint32_t architecture = AUDIT_ARCH_X86_64;
constexpr auto call_number = &user_regs_struct::orig_rax;
constexpr auto call_result = &user_regs_struct::rax;
constexpr unsigned foreign_reboot = 88;  // i386
using Register = unsigned long long;
#else
constexpr std::uint32_t architecture = AUDIT_ARCH_I386;
constexpr auto call_number = &user_regs_struct::orig_eax;
constexpr auto call_result = &user_regs_struct::eax;
constexpr unsigned foreign_reboot = 169;  // x86-64
using Register = long;
#endif

void set_register(pid_t pid, Register user_regs_struct::*which, long value) {
    user_regs_struct registers = {};
    if (ptrace(PTRACE_GETREGS, pid, nullptr, &registers) < 0) give_up("PTRACE_GETREGS");
    registers.*which = static_cast<Register>(value);
    if (ptrace(PTRACE_SETREGS, pid, nullptr, &registers) < 0) give_up("PTRACE_SETREGS");
}

}  // namespace

/** The parent's side: follows one child and what it starts, system call by system call. */
class Tracer {
public:
    explicit Tracer(const Recorder& recorder) : recorder_(recorder) {}

    std::vector<std::string> acts;

    /** Returns the child's wait status. */
    int follow(pid_t child) {
        int status = 0;
        if (waitpid(child, &status, 0) < 0) give_up("waitpid");
        ptrace(PTRACE_SETOPTIONS, child, nullptr,
               PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                   PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
        resume(child, 0);
        for (;;) {
            const pid_t pid = waitpid(-1, &status, __WALL);
            if (pid < 0) give_up("waitpid");
            if (WIFEXITED(status) || WIFSIGNALED(status)) {
                if (pid == child) return status;
                continue;
            }
            const int signal = WSTOPSIG(status);
            if (signal == (SIGTRAP | 0x80)) {
                syscall_stop(pid);
                resume(pid, 0);
            } else if (status >> 16 != 0 || (signal == SIGSTOP && seen_.insert({pid, true}).second)) {
                resume(pid, 0);  // an event of ptrace's own, or the first stop of a process that the child started
            } else {
                resume(pid, signal);
            }
        }
    }

private:
    static void resume(pid_t pid, int signal) { ptrace(PTRACE_SYSCALL, pid, nullptr, signal); }

    struct Pending {
        std::string act;    // without bytes and result; empty where nobody is interested
        std::string bytes;  // what follows it
        bool intervened = false;
        long result = 0;
    };

    void syscall_stop(pid_t pid) {
        __ptrace_syscall_info info = {};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) < 0) return;
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            entry(pid, info);
        } else if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
            exit(pid, info.exit.rval);
        }
    }

    void entry(pid_t pid, const __ptrace_syscall_info& info) {
        Pending& pending = pending_[pid];
        pending = Pending();
        // What a 32-bit program starts may be a 64-bit one, whose calls have other numbers: only the restart matters.
        if (info.arch != architecture) {
            if (info.entry.nr == foreign_reboot) kill(pid, SIGKILL);
            return;
        }
        std::array<unsigned long, 6> args = {};
        std::copy(std::begin(info.entry.args), std::end(info.entry.args), args.begin());
        const auto fd = static_cast<int>(args[0]);
        switch (info.entry.nr) {
            case SYS_open: opening(pid, pending, args[0], args[1]); break;
            case SYS_openat: opening(pid, pending, args[1], args[2]); break;
            case SYS_read:
            case SYS_pread64: on_file(pending, "read", fd); break;
            case SYS_write:
                on_file(pending, "write", fd);
                pending.bytes = " " + memory(pid, args[1], args[2]);
                break;
            case SYS_writev:
                on_file(pending, "write", fd);
                pending.bytes = " " + vector(pid, args[1], args[2]);
                break;
            case SYS_ioctl:
                on_file(pending, "ioctl", fd);
                if (!pending.act.empty()) pending.act += " " + hex(args[1] & 0xFFFFFFFFU);
                break;
            case SYS_close: on_file(pending, "close", fd); break;
            case SYS_execve: {
                const std::string path = text(pid, args[0]);
                if (watched(path)) pending.act = "exec " + path;
                break;
            }
            case SYS_sync: pending.act = "sync"; break;
            case SYS_reboot:
                pending.act = "reboot";
                pending.bytes = " " + hex(args[2] & 0xFFFFFFFFU);
                if (args[2] == LINUX_REBOOT_CMD_RESTART2) pending.bytes += " " + text(pid, args[3]);
                pending.intervened = true;
                pending.result = -EPERM;
                break;
            default: break;
        }
        if (pending.act.empty()) return;
        intervene(pending);
        if (pending.intervened) set_register(pid, call_number, -1);  // no such call
    }

    void exit(pid_t pid, long long result) {
        const auto found = pending_.find(pid);
        if (found == pending_.end() || found->second.act.empty()) return;
        Pending& pending = found->second;
        if (pending.intervened) {
            result = pending.result;
            set_register(pid, call_result, pending.result);
        }
        std::string act = pending.act + pending.bytes;
        if (result < 0) act += std::string(" = ") + strerrorname_np(static_cast<int>(-result));
        acts.push_back(act);
        if (pending.act.starts_with("open ") && result >= 0) {
            const std::size_t start = 5;
            files_[static_cast<int>(result)] = pending.act.substr(start, pending.act.rfind(' ') - start);
        } else if (pending.act.starts_with("close ")) {
            for (auto file = files_.begin(); file != files_.end(); ++file) {
                if (file->second != pending.act.substr(6)) continue;
                files_.erase(file);
                break;
            }
        }
        pending = Pending();
    }

    void opening(pid_t pid, Pending& pending, unsigned long path_address, unsigned long flags) {
        const std::string path = text(pid, path_address);
        if (!watched(path)) return;
        static constexpr const char* modes[] = {" r", " w", " rw", " ?"};
        pending.act = "open " + path + modes[flags & O_ACCMODE];
    }

    void on_file(Pending& pending, const char* act, int fd) const {
        const auto file = files_.find(fd);
        if (file != files_.end()) pending.act = std::string(act) + " " + file->second;
    }

    void intervene(Pending& pending) {
        const int count = ++counts_[pending.act];
        const auto found = recorder_.interventions_.find(pending.act);
        if (found == recorder_.interventions_.end()) return;
        for (const auto& intervention : found->second) {
            if (intervention.nth != 0 && intervention.nth != count) continue;
            pending.intervened = true;
            pending.result = intervention.result;
        }
    }

    bool watched(const std::string& path) const {
        for (const std::string& prefix : recorder_.prefixes_) {
            if (path.starts_with(prefix)) return path != "/dev/null";
        }
        return false;
    }

    static std::string memory(pid_t pid, unsigned long address, std::size_t length) {
        std::string bytes(length, '\0');
        const iovec local = {bytes.data(), length};
        // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of another process
        const iovec remote = {reinterpret_cast<void*>(address), length};
        const ssize_t n = process_vm_readv(pid, &local, 1, &remote, 1, 0);
        bytes.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
        return bytes;
    }

    static std::string text(pid_t pid, unsigned long address) {
        std::string result;
        for (;; ++address) {
            const std::string character = memory(pid, address, 1);
            if (character.empty() || character.front() == '\0') return result;
            result += character;
        }
    }

    static std::string vector(pid_t pid, unsigned long address, std::size_t count) {
        std::string bytes;
        for (std::size_t i = 0; i < count; ++i) {
            iovec piece = {};
            const std::string record = memory(pid, address + i * sizeof piece, sizeof piece);
            if (record.size() != sizeof piece) break;
            std::memcpy(&piece, record.data(), sizeof piece);
            bytes += memory(pid, reinterpret_cast<unsigned long>(piece.iov_base), piece.iov_len);
        }
        return bytes;
    }

    static std::string hex(unsigned long long number) {
        std::array<char, 32> buffer = {};
        std::snprintf(buffer.data(), buffer.size(), "0x%llx", number);
        return buffer.data();
    }

    const Recorder& recorder_;
    std::map<pid_t, Pending> pending_;
    std::map<pid_t, bool> seen_;
    std::map<int, std::string> files_;
    std::map<std::string, int> counts_;
};

bool Recorder::available() {
    return true;
}

Outcome Recorder::run(const std::function<int()>& code) const {
    const Child child(code, true);
    Tracer tracer(*this);
    const int status = tracer.follow(child.pid());
    Outcome outcome = child.outcome(status);
    outcome.acts = std::move(tracer.acts);
    return outcome;
}

#else

bool Recorder::available() {
    return false;
}

Outcome Recorder::run(const std::function<int()>&) const {
    throw std::system_error(ENOSYS, std::system_category(), "recording");
}

#endif

}  // namespace testing_support
