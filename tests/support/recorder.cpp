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
#include <cstring>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace testing_support {

namespace {

[[noreturn]] void give_up(const char* what) {
    throw std::system_error(errno, std::system_category(), what);
}

/** The child process that runs the code. */
class Child {
public:
    Child(const std::function<int()>& code, bool traced) {
        void* const shared = mmap(nullptr, sizeof *report_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) give_up("mmap");
        report_ = static_cast<Report*>(shared);
        error_output_ = memfd_create("standard error", MFD_CLOEXEC);
        if (error_output_ < 0) give_up("memfd_create");
        std::fflush(nullptr);
        pid_ = fork();
        if (pid_ < 0) give_up("fork");
        if (pid_ != 0) return;
        dup2(error_output_, STDERR_FILENO);
        if (traced) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
        }
        errno = 0;
        report_->result = code();
        report_->error = errno;
        std::fflush(nullptr);
        _exit(0);
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    ~Child() {
        munmap(report_, sizeof *report_);
        close(error_output_);
    }

    pid_t pid() const { return pid_; }

    /** Once it has ended, with this status and after these acts. */
    Outcome outcome(int wait_status, const std::vector<std::string>& acts = {}) const {
        std::string text;
        std::array<char, 4096> buffer = {};
        for (ssize_t n = 0; (n = pread(error_output_, buffer.data(), buffer.size(), std::ssize(text))) > 0;)
            text.append(buffer.data(), static_cast<std::size_t>(n));
        return {.result = report_->result,
                .error = report_->error,
                .error_text = text,
                .acts = acts,
                .wait_status = wait_status};
    }

private:
    /** What the child leaves behind, in memory that it shares with its parent. */
    struct Report {
        int result;
        int error;
    };

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

#if defined(__x86_64__) || defined(__i386__)

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

std::string memory(pid_t pid, unsigned long address, std::size_t length) {
    std::string bytes(length, '\0');
    const iovec local = {bytes.data(), length};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address of another process
    const iovec remote = {reinterpret_cast<void*>(address), length};
    const ssize_t n = process_vm_readv(pid, &local, 1, &remote, 1, 0);
    bytes.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return bytes;
}

std::string text(pid_t pid, unsigned long address) {
    std::string result;
    for (;; ++address) {
        const std::string character = memory(pid, address, 1);
        if (character.empty() || character.front() == '\0') return result;
        result += character;
    }
}

/** The bytes of a writev(). */
std::string pieces(pid_t pid, unsigned long address, std::size_t count) {
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

/** The low 32 bits of an argument. */
std::string hex(unsigned long long number) {
    std::array<char, 32> buffer = {};
    std::snprintf(buffer.data(), buffer.size(), " 0x%llx", number & 0xFFFFFFFFU);
    return buffer.data();
}

}  // namespace

/** The parent's side: follows the child, and the processes that it starts, from system call to system call. */
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
            if (!WIFSTOPPED(status)) {
                if (pid == child) return status;
                continue;
            }
            const int signal = WSTOPSIG(status);
            const bool is_call = signal == (SIGTRAP | 0x80);
            const bool is_event = status >> 16 != 0;
            if (is_call) stopped_at_call(pid);
            // The first stop of a process that the child has started is no signal either.
            const bool is_signal = !is_call && !is_event && (signal != SIGSTOP || !started_.insert(pid).second);
            resume(pid, is_signal ? signal : 0);
        }
    }

private:
    static void resume(pid_t pid, int signal) { ptrace(PTRACE_SYSCALL, pid, nullptr, signal); }

    /** A call that has begun and has not ended. */
    struct Pending {
        std::string act;    // without bytes and result; empty if it is not recorded
        std::string bytes;  // what follows it
        int fd = -1;
        bool intervened = false;
        long result = 0;
    };

    void stopped_at_call(pid_t pid) {
        __ptrace_syscall_info info = {};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) < 0) return;
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) begin(pid, info);
        if (info.op == PTRACE_SYSCALL_INFO_EXIT) end(pid, info.exit.rval);
    }

    void begin(pid_t pid, const __ptrace_syscall_info& info) {
        Pending& call = pending_[pid] = Pending();
        // A program of the other word size has other call numbers. Only its restart call matters.
        if (info.arch != architecture) {
            if (info.entry.nr == foreign_reboot) kill(pid, SIGKILL);
            return;
        }
        std::array<unsigned long, 6> args = {};
        std::ranges::copy(info.entry.args, args.begin());
        const auto on_file = [&](const char* act) {
            const auto file = files_.find(static_cast<int>(args[0]));
            if (file == files_.end()) return false;
            call.act = std::string(act) + " " + file->second;
            call.fd = file->first;
            return true;
        };
        switch (info.entry.nr) {
            case SYS_open: open(call, text(pid, args[0]), args[1]); break;
            case SYS_openat: open(call, text(pid, args[1]), args[2]); break;
            case SYS_read:
            case SYS_pread64: on_file("read"); break;
            case SYS_write:
                if (on_file("write")) call.bytes = " " + memory(pid, args[1], args[2]);
                break;
            case SYS_writev:
                if (on_file("write")) call.bytes = " " + pieces(pid, args[1], args[2]);
                break;
            case SYS_ioctl:
                if (on_file("ioctl")) call.act += hex(args[1]);
                break;
            case SYS_close: on_file("close"); break;
            case SYS_execve: {
                const std::string path = text(pid, args[0]);
                if (watched(path)) call.act = "exec " + path;
                break;
            }
            case SYS_sync: call.act = "sync"; break;
            case SYS_reboot:
                call.act = "reboot";
                call.bytes = hex(args[2]);
                if (args[2] == LINUX_REBOOT_CMD_RESTART2) call.bytes += " " + text(pid, args[3]);
                call.intervened = true;
                call.result = -EPERM;
                break;
            default: break;
        }
        if (call.act.empty()) return;
        intervene(call);
        if (call.intervened) set_register(pid, call_number, -1);  // no such call
    }

    void end(pid_t pid, long long result) {
        const Pending call = std::exchange(pending_[pid], {});
        if (call.act.empty()) return;
        if (call.intervened) {
            result = call.result;
            set_register(pid, call_result, call.result);
        }
        const std::string error = result < 0 ? std::string(" = ") + strerrorname_np(static_cast<int>(-result)) : "";
        acts.push_back(call.act + call.bytes + error);
        constexpr std::string_view opened = "open ";
        if (call.act.starts_with(opened) && result >= 0)
            files_[static_cast<int>(result)] = call.act.substr(opened.size(), call.act.rfind(' ') - opened.size());
        if (call.act.starts_with("close ")) files_.erase(call.fd);
    }

    void open(Pending& call, const std::string& path, unsigned long flags) const {
        constexpr const char* modes[] = {" r", " w", " rw", " ?"};
        if (watched(path)) call.act = "open " + path + modes[flags & O_ACCMODE];
    }

    void intervene(Pending& call) {
        const int count = ++counts_[call.act];
        const auto found = recorder_.interventions_.find(call.act);
        if (found == recorder_.interventions_.end()) return;
        for (const auto& intervention : found->second) {
            if (intervention.nth != 0 && intervention.nth != count) continue;
            call.intervened = true;
            call.result = intervention.result;
        }
    }

    bool watched(const std::string& path) const {
        return path != "/dev/null" && std::ranges::any_of(recorder_.prefixes_, [&path](const std::string& prefix) {
                   return path.starts_with(prefix);
               });
    }

    const Recorder& recorder_;
    std::map<pid_t, Pending> pending_;
    std::set<pid_t> started_;
    std::map<int, std::string> files_;  // of all these processes, by their descriptors
    std::map<std::string, int> counts_;
};

bool Recorder::available() {
    return true;
}

Outcome Recorder::run(const std::function<int()>& code) const {
    const Child child(code, true);
    Tracer tracer(*this);
    const int status = tracer.follow(child.pid());
    return child.outcome(status, tracer.acts);
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
