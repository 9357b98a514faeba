// SPDX-License-Identifier: MIT
#include "run/inside.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

#include "run/call_filter.h"
#include "run/caught_ioctl.h"
#include "run/children.h"
#include "run/inner_proc.h"
#include "run/root.h"
#include "run/signals.h"

namespace VelmorSim {

namespace {

void write_map(const std::string& file, const std::string& text) {
    const Descriptor map(open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (!map.is_open() || write(map.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::system_error(errno, std::system_category(), "write " + file);
}

/**
 * With --all-users: a user namespace has as many users and groups as a container. Only root outside of it may map them.
 */
void map_all_ids(const std::string& process) {
    // Two ranges, because the kernel takes none that is not in one range outside, where root may be an ordinary user.
    for (const char* map : {"/uid_map", "/gid_map"}) write_map(process + map, "0 0 1\n1 1 65535\n");
}

/** Otherwise it has one user and one group. `as_root`: they are 0 in it, otherwise the same as in its parent. */
void map_ids(const std::string& proc, uid_t user, gid_t group, bool as_root) {
    write_map(proc + "/self/setgroups", "deny");
    write_map(proc + "/self/uid_map", (as_root ? "0 " : std::to_string(user) + " ") + std::to_string(user) + " 1");
    write_map(proc + "/self/gid_map", (as_root ? "0 " : std::to_string(group) + " ") + std::to_string(group) + " 1");
}

/** One process waits until another has done something. */
class Turn {
public:
    Turn() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::system_category(), "pipe");
        wait_end_ = Descriptor(ends[0]);
        pass_end_ = Descriptor(ends[1]);
    }
    void pass() const {
        if (write(pass_end_.get(), "", 1) != 1)
            throw std::system_error(errno, std::system_category(), "write to a pipe");
    }
    /** False if the other process has ended without it. */
    bool wait() {
        pass_end_ = Descriptor();
        char byte = 0;
        return read(wait_end_.get(), &byte, 1) == 1;
    }

private:
    Descriptor wait_end_;
    Descriptor pass_end_;
};

/**
 * Lock the mounts: in another user and mount namespace the program can neither unmount what covers something nor make a
 * read-only mount writable.
 */
void lock_mounts(bool all_users) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    Turn unshared;
    // It stays in the outer user namespace.
    const pid_t mapper = all_users ? fork() : -1;
    if (mapper == 0) {
        try {
            if (unshared.wait()) map_all_ids(InnerProc::path + std::string("/") + std::to_string(getppid()));
        } catch (const std::system_error&) {
            _exit(1);
        }
        _exit(0);
    }
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        throw std::system_error(errno, std::system_category(), "a second user namespace");
    if (!all_users) {
        map_ids(InnerProc::path, user, group, true);
        return;
    }
    unshared.pass();
    int status = -1;
    if (waitpid(mapper, &status, 0) != mapper || status != 0)
        throw std::system_error(EPERM, std::system_category(), "the second user namespace's users");
}

}  // namespace

pid_t Inside::start(bool own_pids, Channel& channel) {
    Channel::open(channel, channel_);
    const uid_t user = geteuid();
    const gid_t group = getegid();
    Turn mapped;
    const unsigned long flags =
        static_cast<unsigned long>(CLONE_NEWUSER | CLONE_NEWNS | SIGCHLD) | (own_pids ? CLONE_NEWPID : 0UL);
    // The plain system call forks into new namespaces; the C library's clone() would need a stack.
    const auto first = static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
    if (first < 0) {
        throw std::system_error(errno, std::system_category(),
                                "user namespaces are forbidden here; allow them with \"sysctl "
                                "kernel.unprivileged_userns_clone=1 user.max_user_namespaces=10000\", or give the "
                                "container \"--security-opt seccomp=unconfined\"");
    }
    if (first == 0) {
        // If it stayed open here, nobody inside would notice that the simulator has gone.
        channel = Channel();
        if (all_users_ && !mapped.wait()) _exit(1);
        first_process(own_pids, user, group);
    }
    channel_ = Channel();
    if (all_users_) {
        map_all_ids("/proc/" + std::to_string(first));
        mapped.pass();
    }
    return first;
}

void Inside::fail(const std::string& text) const {
    Message message{.kind = Message::Kind::failed};
    std::copy_n(text.data(), std::min(text.size(), message.text.size() - 1), message.text.data());
    channel_.send(std::move(message));
    _exit(1);
}

void Inside::first_process(bool own_pids, uid_t user, gid_t group) {
    try {
        // Not as root: commands from inside find the machine's user in the map of the program's namespace.
        if (!all_users_) map_ids("/proc", user, group, false);
        // Die with the simulator; our death ends the PID namespace. Set after the maps, because a change of credentials
        // clears it. Without a PID namespace our death would end nothing: reap() waits for the simulator to go instead,
        // and the simulator for us.
        if (own_pids) prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, "velmor-sim init");
        if (!own_pids) prctl(PR_SET_CHILD_SUBREAPER, 1);
        build_root(own_pids, user == 0);
    } catch (const std::system_error& error) {
        // The text says what is missing and ends with the description of the errno.
        fail(error.what());
    }
    sigset_t children{};
    sigemptyset(&children);
    sigaddset(&children, SIGCHLD);
    sigprocmask(SIG_BLOCK, &children, nullptr);
    const pid_t program = fork();
    if (program < 0) fail("fork: " + std::system_category().message(errno));
    if (program == 0) {
        sigprocmask(SIG_UNBLOCK, &children, nullptr);
        program_process(own_pids);
    }
    reap(program, own_pids, children);
}

void Inside::build_root(bool own_pids, bool as_root) const {
    Root root(model_, as_root, device_nodes_);
    root.begin();
    if (!root.mount_proc()) {
        if (own_pids) {
            channel_.send({.kind = Message::Kind::no_proc});
            _exit(1);
        }
        root.reuse_proc();
    }
    channel_.send({.kind = Message::Kind::fuse, .descriptor = root.mount_fuse(all_users_)});
    channel_.send({.kind = Message::Kind::proc, .descriptor = root.open_proc()});
    root.fill();
    root.enter();
}

void Inside::program_process(bool own_pids) const {
    try {
        lock_mounts(all_users_);
    } catch (const std::system_error& error) {
        fail(error.what());
    }
    if (!own_pids) prctl(PR_SET_PDEATHSIG, SIGKILL);
    struct stat served {};
    if (device_nodes_) stat("/sys", &served);
    auto listener = CallFilter::install(device_nodes_);
    // If the filter is missing, a PID namespace is enough: it belongs to another user namespace than the program, so
    // the kernel fails the call with EPERM.
    if (!listener.is_open() && !own_pids)
        fail("the restart call cannot be intercepted: " + std::system_category().message(errno));
    if (device_nodes_ && !listener.is_open())
        fail("stat cannot be intercepted for --device-nodes: " + std::system_category().message(errno));
    if (listener.is_open()) {
        channel_.send({.kind = Message::Kind::listener,
                       .number = static_cast<int>(served.st_dev),
                       .descriptor = std::move(listener)});
    }
    std::vector<std::string> program = program_;
    std::vector<char*> words;
    words.reserve(program.size() + 1);
    for (auto& word : program) words.push_back(word.data());
    words.push_back(nullptr);
    signals_.give_back();
    execvp(words[0], words.data());
    const int error = errno;
    channel_.send({.kind = Message::Kind::not_run, .number = error});
    _exit(error == ENOENT ? 127 : 126);
}

// In a process of its own, because a delay of the act must not delay the reaping.
void Inside::repeat_ioctl(const Message& message) const {
    const pid_t helper = fork();
    if (helper > 0) return;
    CaughtIoctl caught;
    std::memcpy(&caught, message.text.data(), sizeof caught);
    if (helper == 0) caught.repeat();
    // The copy of the descriptor is closed by now, so the program's next close is the last one.
    Message done{.kind = Message::Kind::ioctl};
    std::memcpy(done.text.data(), &caught, sizeof caught);
    channel_.send(std::move(done));
    if (helper == 0) _exit(0);
}

void Inside::reap(pid_t program, bool own_pids, const sigset_t& children) {
    const Descriptor signals(signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK));
    std::array<pollfd, 2> events = {{{signals.get(), POLLIN, 0}, {channel_.descriptor(), POLLIN, 0}}};
    while (channel_.is_open()) {
        if (poll(events.data(), events.size(), -1) < 0) continue;
        if (events[0].revents != 0) {
            signalfd_siginfo information{};
            while (read(signals.get(), &information, sizeof information) > 0) {
            }
            int status = 0;
            for (pid_t child = waitpid(-1, &status, WNOHANG); child > 0; child = waitpid(-1, &status, WNOHANG)) {
                if (child != program) continue;
                program = -1;
                channel_.send({.kind = Message::Kind::ended, .number = status});
            }
        }
        if (events[1].revents == 0) continue;
        const auto message = channel_.receive();
        if (message && message->kind == Message::Kind::leave) break;
        if (message && message->kind == Message::Kind::signal && program > 0) kill(program, message->number);
        if (message && message->kind == Message::Kind::ioctl) repeat_ioctl(*message);
    }
    // Not the device's "/proc": whoever serves it may be dead already.
    if (!own_pids) kill_children(InnerProc::path, false);
    _exit(0);
}

}  // namespace VelmorSim
