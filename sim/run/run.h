// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "common/descriptor.h"
#include "common/timers.h"
#include "control/commands.h"
#include "control/script.h"
#include "control/server.h"
#include "model/model.h"
#include "record/faults.h"
#include "record/recorder.h"
#include "run/call_filter.h"
#include "run/channel.h"
#include "run/file_system.h"
#include "run/signals.h"

namespace VelmorSim {

/** The options of a run. */
struct RunOptions {
    std::string board = "device";
    std::vector<std::string> set{};
    std::vector<std::string> raw{};
    std::string trace{};
    bool explain = false;
    std::vector<std::string> faults{};
    std::vector<std::string> delays{};
    std::string script{};
    /** Empty for the process id. */
    std::string name{};
    bool device_nodes = false;
    bool all_users = false;
    std::vector<std::string> program{};
};

/**
 * One run of the device with one program. This process serves the device from outside its namespaces: if it used the
 * device's files itself, it would wait for its own answer.
 */
class Run {
public:
    static constexpr int record_incomplete = 119;
    static constexpr int bitten = 120;
    static constexpr int restarted = 121;
    static constexpr int powered_off = 122;
    static constexpr int script_failed = 123;
    static constexpr int not_started = 125;

    explicit Run(const RunOptions& options);

    /** Run the program. Returns the exit status of velmor-sim. */
    int execute();

private:
    void start(bool own_pids);
    void loop();
    void wait_for_events();
    void look_after_act();
    void receive_messages();
    void handle(Message message);
    void handle_call();
    void handle_restart(const CallFilter::Call& caught);
    void pass_on_ioctl(const CallFilter::Call& call) const;
    void use_modem_lines(CaughtIoctl& caught);
    void answer_stat(const CallFilter::Call& call) const;
    void forward_signals() const;
    void end(const Ending& ending);
    void kill_unit();
    void release_waiting();
    int inner_id(int pid, const std::string& which) const;
    int status();

    RunOptions options_;
    Timers timers_;
    Model model_;
    Recorder recorder_;
    Faults faults_;
    Commands commands_;
    FileSystem files_;
    Signals signals_;
    std::optional<Script> script_;
    std::optional<Server> server_;

    pid_t first_ = -1;
    bool own_pids_ = true;
    bool leaving_ = false;
    bool retry_ = false;
    Channel channel_;
    Descriptor first_handle_;
    Descriptor listener_;
    /** The number of the device's file system, as programs see it. */
    dev_t served_ = 0;
    Descriptor signal_handle_;

    std::optional<Ending> ending_;
    std::optional<int> program_status_;
    std::string failure_;
    std::string script_failure_;
    int not_run_ = 0;
};

}  // namespace VelmorSim
