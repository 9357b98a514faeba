// SPDX-License-Identifier: MIT
#include "run/run.h"

#include <linux/capability.h>
#include <linux/reboot.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "board/board.h"
#include "common/text.h"
#include "control/address.h"
#include "model/modem_lines.h"
#include "run/board_library.h"
#include "run/caller_memory.h"
#include "run/caught_ioctl.h"
#include "run/caught_stat.h"
#include "run/children.h"
#include "run/inside.h"
#include "run/restart_call.h"

namespace VelmorSim {

namespace {

/** Requests that are served in one turn of the loop, so that they do not hold up timers, commands and signals. */
constexpr int most_requests = 64;
/** Requests that are served after the program has ended: its last closes come between those of other processes. */
constexpr int most_last_requests = 65536;

std::pair<std::string, std::string> assignment(const std::string& option, const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw std::invalid_argument(option + " " + text + ": should be NAME=VALUE, for example thermal.temp=91000");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

/** The line of a thread's status that begins with this word, after the word. */
std::ifstream status_line(int thread, const std::string& which) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    std::string word;
    while (status >> word && word != which) {
    }
    return status;
}

bool may_restart(int thread) {
    unsigned long long capabilities = 0;
    status_line(thread, "CapEff:") >> std::hex >> capabilities;
    return (capabilities >> CAP_SYS_BOOT & 1U) != 0;
}

void say(const std::string& text) {
    std::cerr << "velmor-sim: " << text << std::endl;
}

}  // namespace

Run::Run(const RunOptions& options)
    : options_(options), model_(timers_), commands_(model_, faults_), files_(model_, recorder_, faults_) {
    if (options_.all_users && geteuid() != 0)
        throw std::invalid_argument("--all-users: only root may run programs as other users");
    // Mount points for the machine's own parts of "/sys".
    for (const char* part : {"/sys/devices/system", "/sys/kernel/mm", "/sys/fs/cgroup"}) model_.tree.directory(part);
    load_board(options_.board, model_);
    model_.tree.finish_platform();
    for (const auto& text : options_.set) {
        const auto [name, value] = assignment("--set", text);
        set_value(model_, name, value);
    }
    for (const auto& text : options_.raw) {
        const auto [name, value] = assignment("--raw", text);
        set_raw(model_, name, value);
    }
    faults_.paths = [this] { return model_.tree.served_paths(); };
    for (const auto& text : options_.faults) faults_.add_fault(text);
    for (const auto& text : options_.delays) faults_.add_delay(text);
    if (!options_.script.empty()) {
        script_.emplace(options_.script, commands_);
        script_->failed = [this](const std::string& reason) {
            if (leaving_) return;
            script_failure_ = reason;
            kill_unit();
        };
        script_->changed = [this] { server_->settle(); };
    }
    files_.after_act = [this] { look_after_act(); };
    if (!options_.trace.empty()) recorder_.trace_to(options_.trace);
    if (options_.explain) recorder_.explain();
    files_.lists_device_nodes = options_.device_nodes;
    model_.end = [this](const Ending& ending) { end(ending); };
    if (options_.name.empty()) options_.name = std::to_string(getpid());
    server_.emplace(options_.name, commands_);
}

int Run::execute() {
    put_board_library_first(options_.board);
    // Commands of the program reach its own run, even if there are several.
    setenv(name_variable, options_.name.c_str(), 1);
    signals_.take();
    signal_handle_ = Descriptor(signalfd(-1, &signals_.set(), SFD_CLOEXEC | SFD_NONBLOCK));
    try {
        start(true);
        loop();
        if (retry_) {
            // A container masks parts of "/proc", so there can be no new "/proc" and no PID namespace.
            retry_ = false;
            start(false);
            loop();
        }
    } catch (const std::exception& error) {
        failure_ = error.what();
        if (first_ > 0) kill(first_, SIGKILL);
    }
    // The first process may have been killed before it could end the others.
    if (!own_pids_) {
        files_.detach();
        kill_children("/proc", true);
    }
    server_->finish();
    return status();
}

void Run::start(bool own_pids) {
    own_pids_ = own_pids;
    // The processes inside become our children if the first one is killed.
    if (!own_pids) prctl(PR_SET_CHILD_SUBREAPER, 1);
    Inside inside(model_, signals_, options_.program, options_.device_nodes, options_.all_users);
    first_ = inside.start(own_pids, channel_);
    first_handle_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, first_, 0)));
    if (!first_handle_.is_open())
        throw std::system_error(errno, std::system_category(), "pidfd_open; it needs Linux 5.3");
}

void Run::loop() {
    while (first_ > 0) {
        wait_for_events();
        if (script_ && files_.is_attached() && !leaving_) script_->step();
        if (files_.is_attached()) files_.settle();
        server_->settle();
        if (!program_status_ || leaving_) continue;
        // The program has ended. Serve the requests that are left, so that its closes are in the record.
        files_.serve(most_last_requests);
        leaving_ = true;
        release_waiting();
        channel_.send({.kind = Message::Kind::leave});
    }
}

void Run::wait_for_events() {
    std::vector<pollfd> events = {{signal_handle_.get(), POLLIN, 0}, {first_handle_.get(), POLLIN, 0}};
    const auto watch = [&events](int descriptor) {
        if (descriptor < 0) return;
        events.push_back({descriptor, POLLIN, 0});
    };
    watch(channel_.descriptor());
    watch(files_.descriptor());
    watch(listener_.get());
    for (const auto& [descriptor, reader] : model_.readers) watch(descriptor);
    server_->add_to(events);

    timespec timeout{};
    const auto next = timers_.next();
    if (next) {
        constexpr std::int64_t billion = 1000000000;
        const auto left = std::max<std::int64_t>(
            0, std::chrono::duration_cast<std::chrono::nanoseconds>(*next - Timers::Clock::now()).count());
        timeout = {static_cast<std::time_t>(left / billion), static_cast<long>(left % billion)};
    }
    if (ppoll(events.data(), events.size(), next ? &timeout : nullptr, nullptr) < 0) return;
    // Serve what the program did before handling what happened to it.
    for (const auto& event : events) {
        if (event.revents != 0 && event.fd == files_.descriptor()) files_.serve(most_requests);
    }
    for (const auto& event : events) {
        if (event.revents == 0) continue;
        if (event.fd == signal_handle_.get()) forward_signals();
        if (const auto reader = model_.readers.find(event.fd); reader != model_.readers.end()) reader->second();
        if (event.fd == channel_.descriptor()) receive_messages();
        if (event.fd == listener_.get()) {
            if ((event.revents & POLLIN) != 0) {
                handle_call();
            } else {
                listener_ = Descriptor();
            }
        }
    }
    timers_.run_due();
    server_->serve(events);
    if (events[1].revents != 0) {
        receive_messages();
        int status = 0;
        waitpid(first_, &status, 0);
        first_ = -1;
    }
}

// A value that the next act replaces must be seen too.
void Run::look_after_act() {
    if (leaving_) return;
    server_->settle();
    if (script_) script_->step_after_act();
}

void Run::receive_messages() {
    while (auto message = channel_.receive()) handle(std::move(*message));
}

void Run::handle(Message message) {
    switch (message.kind) {
        case Message::Kind::fuse: files_.attach(std::move(message.descriptor)); break;
        case Message::Kind::proc: files_.inner_proc = InnerProc(std::move(message.descriptor)); break;
        case Message::Kind::listener:
            listener_ = std::move(message.descriptor);
            served_ = static_cast<dev_t>(message.number);
            break;
        case Message::Kind::ioctl: {
            CaughtIoctl caught;
            std::memcpy(&caught, message.text.data(), sizeof caught);
            if (caught.is_performed == 0 && caught.is_for_modem_lines()) use_modem_lines(caught);
            if (caught.is_performed != 0) {
                CallFilter::answer(listener_.get(), caught.id, caught.result);
            } else {
                CallFilter::let_through(listener_.get(), caught.id);
            }
            break;
        }
        case Message::Kind::not_run: not_run_ = message.number; break;
        case Message::Kind::failed: failure_ = message.text.data(); break;
        case Message::Kind::no_proc: retry_ = true; break;
        case Message::Kind::ended: program_status_ = message.number; break;
        case Message::Kind::signal:
        case Message::Kind::leave: break;
    }
}

void Run::handle_call() {
    const auto call = CallFilter::receive(listener_.get());
    if (!call) return;
    switch (call->kind) {
        case CallFilter::Kind::ioctl: pass_on_ioctl(*call); break;
        case CallFilter::Kind::stat: answer_stat(*call); break;
        case CallFilter::Kind::restart: handle_restart(*call); break;
    }
}

// Not performed here: only a request through FUSE says which open file it is for.
void Run::pass_on_ioctl(const CallFilter::Call& call) const {
    const CaughtIoctl caught(call, inner_id(call.pid, "NStgid:"), inner_id(call.pid, "NSpid:"));
    Message message{.kind = Message::Kind::ioctl};
    std::memcpy(message.text.data(), &caught, sizeof caught);
    channel_.send(std::move(message));
}

// The lines of a device's port. A call for any other file is left to the machine's kernel.
void Run::use_modem_lines(CaughtIoctl& caught) {
    const auto port = model_.modem_lines.find({caught.file_system, caught.inode});
    if (port == model_.modem_lines.end()) return;
    caught.is_performed = 1;
    // The caller may have been killed meanwhile, and its thread id be another's.
    if (!CallFilter::is_waiting(listener_.get(), caught.id)) return;
    int bits = port->second->state();
    if (caught.request == TIOCMGET) {
        if (!write_memory(caught.caller, caught.address, &bits, sizeof bits)) caught.result = -EFAULT;
    } else if (read_memory(caught.caller, caught.address, &bits, sizeof bits)) {
        port->second->drive(caught.request, bits);
    } else {
        caught.result = -EFAULT;
    }
}

// Only for the device's own device nodes; any other call goes on as it is.
void Run::answer_stat(const CallFilter::Call& call) const {
    const CaughtStat caught(call);
    const auto* node = caught.device_node(model_.tree);
    bool is_answered = false;
    // If the caller has been killed meanwhile, its thread id may be another's.
    if (node != nullptr && CallFilter::is_waiting(listener_.get(), call.id)) {
        auto attributes = files_.stat_of(*node);
        attributes.st_dev = served_;
        attributes.st_rdev = node->device;
        attributes.st_mode = S_IFCHR | (attributes.st_mode & ~mode_t{S_IFMT});
        if (!options_.all_users) {
            // The program sees the calling user as root.
            attributes.st_uid = 0;
            attributes.st_gid = 0;
        }
        is_answered = caught.write(attributes);
    }
    if (is_answered) {
        CallFilter::answer(listener_.get(), call.id, 0);
    } else {
        CallFilter::let_through(listener_.get(), call.id);
    }
}

void Run::handle_restart(const CallFilter::Call& caught) {
    const RestartCall call(caught);
    const bool magic = call.magic1 == LINUX_REBOOT_MAGIC1 &&
                       (call.magic2 == LINUX_REBOOT_MAGIC2 || call.magic2 == LINUX_REBOOT_MAGIC2A ||
                        call.magic2 == LINUX_REBOOT_MAGIC2B || call.magic2 == LINUX_REBOOT_MAGIC2C);
    int result = -faults_.next("restart", "call");
    if (result == 0 && !may_restart(caught.pid)) result = -EPERM;
    if (result == 0 && !magic) result = -EINVAL;
    std::optional<Ending> ending;
    const std::string command = hex_number(call.command);
    switch (call.command) {
        case LINUX_REBOOT_CMD_RESTART:
            ending = {Ending::Cause::restart, command, "", "the unit restarts: restart call"};
            break;
        case LINUX_REBOOT_CMD_RESTART2:
            ending = {Ending::Cause::restart, command, *call.text,
                      "the unit restarts: restart call with \"" + *call.text + "\""};
            break;
        case LINUX_REBOOT_CMD_POWER_OFF:
        case LINUX_REBOOT_CMD_HALT:
            ending = {Ending::Cause::power_off, command, "", "the unit powers off: power-off call"};
            break;
        case LINUX_REBOOT_CMD_CAD_ON:
        case LINUX_REBOOT_CMD_CAD_OFF: break;
        default:
            if (result == 0) result = -EINVAL;
    }
    Act act{.act = "restart", .command = command, .result = result, .pid = inner_id(caught.pid, "NSpid:")};
    act.text = call.text;
    recorder_.record(act);
    if (result == 0 && ending) {
        // As on the device, the call does not return: the caller is killed in it.
        ending->command.clear();
        end(*ending);
        return;
    }
    CallFilter::answer(listener_.get(), caught.id, result);
}

// `which` is "NSpid:" for the id of the thread itself, or "NStgid:" for that of its process.
int Run::inner_id(int pid, const std::string& which) const {
    std::ifstream status = status_line(pid, which);
    // The id as outside comes first, then that in the namespace of the first process.
    int id = pid;
    status >> id;
    if (own_pids_) status >> id;
    return id;
}

void Run::forward_signals() const {
    signalfd_siginfo information{};
    while (read(signal_handle_.get(), &information, sizeof information) == sizeof information) {
        // The terminal sends its signals to the whole foreground group, so the program has them already. Only a
        // hang-up goes to the session's leader alone, which passes it on.
        const bool leader_only = information.ssi_signo == SIGHUP && getsid(0) == getpid();
        if (information.ssi_code > 0 && !leader_only) continue;
        channel_.send({.kind = Message::Kind::signal, .number = static_cast<int>(information.ssi_signo)});
    }
}

void Run::end(const Ending& ending) {
    // Once the program has ended, the run does not depend on what happens to the unit.
    if (ending_ || leaving_) return;
    ending_ = ending;
    if (!ending.command.empty()) recorder_.record({.act = "restart", .command = ending.command});
    kill_unit();
}

void Run::kill_unit() {
    recorder_.stop();
    if (own_pids_) {
        if (first_ > 0) kill(first_, SIGKILL);
    } else {
        channel_.send({.kind = Message::Kind::leave});
    }
    leaving_ = true;
    release_waiting();
}

// A process that waits for the answer to a request cannot die before it has the answer.
void Run::release_waiting() {
    timers_.after(Timers::Clock::duration::zero(), [this] { files_.release_all(); });
}

int Run::status() {
    if (!failure_.empty()) {
        say(failure_);
        return not_started;
    }
    if (!script_failure_.empty()) {
        say(script_failure_);
        return script_failed;
    }
    if (ending_) say(ending_->message);
    if (recorder_.is_incomplete()) return record_incomplete;
    if (ending_) {
        switch (ending_->cause) {
            case Ending::Cause::watchdog: return bitten;
            case Ending::Cause::restart: return restarted;
            case Ending::Cause::power_off: return powered_off;
        }
    }
    if (not_run_ != 0) say(options_.program[0] + ": " + std::system_category().message(not_run_));
    if (!program_status_) {
        say("the device's first process was killed");
        return not_started;
    }
    if (WIFEXITED(*program_status_)) return WEXITSTATUS(*program_status_);
    // Die of the same signal, without a second core file, so that the shell reports the same.
    const int signal = WTERMSIG(*program_status_);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(signal, SIG_DFL);  // NOLINT(cert-err33-c)
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, signal);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    server_.reset();
    raise(signal);
    constexpr int killed = 128;
    return killed + signal;
}

}  // namespace VelmorSim
