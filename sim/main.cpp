// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "board/board.h"
#include "control/address.h"
#include "control/client.h"
#include "run/run.h"

namespace {

using VelmorSim::Run;
using VelmorSim::RunOptions;

constexpr int wrong_use = 2;

int run(const RunOptions& options) {
    try {
        Run device(options);
        return device.execute();
    } catch (const std::exception& error) {
        std::cerr << "velmor-sim: " << error.what() << "\n";
        return Run::not_started;
    }
}

/** The name of a run from the environment, or empty. */
std::string default_name() {
    const char* name = std::getenv(VelmorSim::name_variable);  // NOLINT(concurrency-mt-unsafe): there is one thread
    return name == nullptr ? "" : name;
}

int list_boards() {
    for (const auto& [name, description] : VelmorSim::boards()) {
        constexpr std::size_t column = 22;
        std::cout << name << std::string(name.size() < column ? column - name.size() : 1, ' ') << description << "\n";
    }
    return 0;
}

CLI::App* add_run(CLI::App& app, RunOptions& options) {
    auto* run = app.add_subcommand("run", "Run a program on the device");
    run->add_option("--board", options.board, "A board file, or a name that \"velmor-sim boards\" lists")
        ->type_name("FILE|NAME")
        ->default_str("device");
    run->add_option("--set", options.set, "Set a value at the start; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    run->add_option("--raw", options.raw, R"(Show exactly this text; \n, \t and \xHH are escapes)")
        ->type_name("NAME=TEXT")
        ->allow_extra_args(false);
    run->add_option("--trace", options.trace, "Record every act as a JSON line in this file")->type_name("FILE");
    run->add_flag("--explain", options.explain, "Print every act on standard error, in words");
    run->add_option("--fault", options.faults, "Make the N-th matching act fail, or all of them")
        ->type_name("PATH:OP:ERRNO[:N]")
        ->allow_extra_args(false);
    run->add_option("--delay", options.delays, "Delay matching acts by MS milliseconds")
        ->type_name("PATH:OP:MS")
        ->allow_extra_args(false);
    run->add_option("--script", options.script, "Run the commands of this file while the program runs")
        ->type_name("FILE");
    run->add_option("--name", options.name,
                    "Name of this run for other commands (default: $VELMOR_SIM_NAME, or its process id)");
    run->add_flag("--device-nodes", options.device_nodes,
                  "Show device nodes as such in stat, not as plain files; slows down every call of stat");
    run->add_option("program", options.program, "The program and its arguments")->required();
    run->prefix_command(false);
    run->positionals_at_end();
    run->footer(
        "Exit status: that of the program, or 119 if the record is incomplete, 120 after the watchdog has bitten, 121\n"
        "after a restart, 122 after a power-off, 123 if the script failed, 125 if the device could not start, 126 or "
        "127\n"
        "if the program could not be run.\n\n"
        "Example:\n  velmor-sim run --explain --set thermal.temp=91000 -- ./my-app --verbose");
    return run;
}

int act(int argc, char** argv) {
    CLI::App app{"A virtual device: an unmodified program sees the device's files at their real absolute paths."};
    app.require_subcommand(1);
    app.footer(
        "Examples:\n"
        "  velmor-sim run -- ./my-app\n"
        "  velmor-sim set thermal.temp 91000\n"
        "  velmor-sim wait-for 'backlight.brightness<3'\n\n"
        "For the options of a command: velmor-sim COMMAND --help");

    RunOptions options;
    options.name = default_name();
    const auto* run_command = add_run(app, options);
    const auto* boards_command = app.add_subcommand("boards", "List the boards that come with the program");
    const auto* runs_command = app.add_subcommand("runs", "List the names of the active runs");

    std::string name = default_name();
    std::vector<std::string> words;
    std::vector<std::pair<const CLI::App*, std::string>> controls;
    const auto add_control = [&](const std::string& command, const std::string& what, const std::string& usage) {
        auto* control = app.add_subcommand(command, what);
        control->add_option("--name", name, "The run to use (default: $VELMOR_SIM_NAME, or the only run)");
        control->add_option("words", words, usage)->type_name("");
        control->positionals_at_end();
        controls.emplace_back(control, command);
    };
    add_control("set", "Change a value as the hardware would", "NAME VALUE");
    add_control("raw", "Make an attribute show exactly this text", "NAME TEXT");
    add_control("get", "Print a value", "NAME");
    add_control("list", "Print all values, or those that match, and their files", "[PATTERN]");
    add_control("watch", "Print values whenever they change, until the run ends", "NAME...");
    add_control("wait-for", "Wait until a condition holds, for at most TIME (default: 10 s)", "CONDITION [TIME]");
    add_control("wait-for-act", "Wait until a program does this, for at most TIME (default: 10 s)", "PATH:OP [TIME]");
    add_control("fault", "Make the N-th matching act from now on fail, or all of them", "PATH:OP:ERRNO[:N]");
    add_control("delay", "Delay matching acts by MS milliseconds", "PATH:OP:MS");
    add_control("clear", "Remove all faults and delays", "");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrong_use;
    }
    if (run_command->parsed()) return run(options);
    if (boards_command->parsed()) return list_boards();
    if (runs_command->parsed()) {
        for (const auto& each : VelmorSim::running()) std::cout << each << "\n";
        return 0;
    }
    for (const auto& [control, command] : controls) {
        if (!control->parsed()) continue;
        words.insert(words.begin(), command);
        return VelmorSim::send_command(name, words);
    }
    return wrong_use;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return act(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "velmor-sim: " << error.what() << "\n";
        return 1;
    }
}
