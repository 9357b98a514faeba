// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>

#include "board/board.h"
#include "common/near_words.h"
#include "control/address.h"
#include "control/client.h"
#include "run/run.h"

namespace {

using VelmorSim::Run;
using VelmorSim::RunOptions;

constexpr int wrong_use = 2;
/** After a word in brackets, which the parser would take for a list. No argument of a program can contain it. */
constexpr char not_a_list = '\0';

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

/** The message about a first word that is no command, or empty. */
std::string unknown_command(const CLI::App& app, const std::string& word) {
    std::vector<std::string> commands;
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (word == command->get_name()) return {};
        commands.push_back(command->get_name());
    }
    return word + ": there is no such command; " + VelmorSim::did_you_mean(word, commands) +
           "\"velmor-sim --help\" shows all";
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
    run->add_flag("--all-users", options.all_users,
                  "Let the program run others as ordinary users, whose permissions are checked; only for root");
    run->add_option("program", options.program, "The program and its arguments")->required();
    run->prefix_command(false);
    run->positionals_at_end();
    run->footer(
        "Exit status: that of the program, or 119 if the record is incomplete, 120 after the watchdog has bitten, 121\n"
        "after a restart, 122 after a power-off, 123 if the script failed, 125 if the device could not start, 126 or "
        "127\n"
        "if the program could not be run.\n\n"
        "Examples:\n"
        "  velmor-sim run --explain --set thermal.temp=91000 -- ./my-app --verbose\n"
        "  velmor-sim run --board all-families --script hot.txt --trace acts.json -- ./my-app\n"
        "  velmor-sim run --fault /dev/watchdog:ioctl:EIO:2 -- ./my-app");
    return run;
}

/** The arguments as the parser wants them: the last one first. */
std::vector<std::string> words_to_parse(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    for (auto& word : words) {
        if (word.starts_with('[') && word.ends_with(']')) word += not_a_list;
    }
    std::ranges::reverse(words);
    return words;
}

/** Make the options of the command keep words in brackets as they are. */
void keep_brackets(CLI::App& command) {
    const auto unmark = [](const std::string& word) {
        return word.ends_with(not_a_list) ? word.substr(0, word.size() - 1) : word;
    };
    for (auto* option : command.get_options()) option->transform(unmark);
}

int act(int argc, char** argv) {
    CLI::App app{"A virtual device: an unmodified program sees the device's files at their real absolute paths.",
                 argc > 0 ? argv[0] : "velmor-sim"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "velmor-sim " VELMOR_SIM_VERSION, "Print the version and exit");
    app.footer(
        "Examples:\n"
        "  velmor-sim run -- ./my-app\n"
        "  velmor-sim set thermal.temp 91000\n"
        "  velmor-sim wait-for 'backlight.brightness<3'\n\n"
        "For the options of a command: velmor-sim COMMAND --help");

    RunOptions options;
    options.name = default_name();
    const auto* run_command = add_run(app, options);
    auto* boards_command = app.add_subcommand("boards", "List the boards that come with the program");
    boards_command->footer("Examples:\n  velmor-sim boards\n  velmor-sim run --board all-families -- ./my-app");
    auto* runs_command = app.add_subcommand("runs", "List the names of the active runs");
    runs_command->footer(
        "Examples:\n  velmor-sim runs\n  velmor-sim get --name \"$(velmor-sim runs | head -n 1)\" thermal.temp");

    std::string name = default_name();
    std::vector<std::string> words;
    std::vector<std::pair<const CLI::App*, std::string>> controls;
    const auto add_control = [&](const std::string& command, const std::string& what, const std::string& usage,
                                 const std::vector<std::string>& examples) {
        auto* control = app.add_subcommand(command, what);
        control->add_option("--name", name, "The run to use (default: $VELMOR_SIM_NAME, or the only run)");
        control->add_option("words", words, usage)->type_name("");
        control->positionals_at_end();
        std::string footer = "Examples:";
        for (const auto& example : examples) footer.append("\n  velmor-sim ").append(command).append(example);
        control->footer(footer);
        controls.emplace_back(control, command);
    };
    add_control("set", "Change a value as the hardware would", "NAME VALUE",
                {" thermal.temp 91000", " keys.33 1", " --name bench gpio.38 0"});
    add_control("raw", "Make an attribute show exactly this text", "NAME TEXT",
                {" thermal.temp 'no number\\n'", " backlight.brightness ''"});
    add_control("get", "Print a value, or several as NAME=VALUE", "NAME...",
                {" thermal.temp", " backlight.brightness gpio.38", " /sys/class/thermal/thermal_zone0/temp"});
    add_control("list", "Print all values, or those that match, and their files", "[PATTERN]", {"", " 'motion.*'"});
    add_control("watch", "Print values whenever they change, until the run ends", "PATTERN...",
                {" backlight.brightness", " 'motion.*' gpio.38"});
    add_control("wait-for", "Wait until a condition holds, for at most TIME (default: 10 s)", "CONDITION [TIME]",
                {" 'backlight.brightness<3'", " watchdog.running=1 500ms"});
    add_control("wait-for-act", "Wait until a program does this, for at most TIME (default: 10 s)", "PATH:OP [TIME]",
                {" /dev/input/event2:open", " '/sys/class/thermal/*/temp:read' 30s"});
    add_control("fault", "Make the N-th matching act from now on fail, or all of them", "PATH:OP:ERRNO[:N]",
                {" /dev/watchdog:ioctl:EIO:2", " '/sys/class/thermal/*/temp:read:EIO'", " restart:call:EPERM"});
    add_control("delay", "Delay matching acts by MS milliseconds", "PATH:OP:MS", {" /sys/power/state:write:3000"});
    add_control("clear", "Remove all faults and delays", "", {"", " --name bench"});

    if (const std::string first = argc > 1 ? argv[1] : "-"; !first.starts_with('-')) {
        if (const auto message = unknown_command(app, first); !message.empty()) {
            std::cerr << "velmor-sim: " << message << "\n";
            return wrong_use;
        }
    }

    for (auto* command : app.get_subcommands({})) keep_brackets(*command);
    try {
        app.parse(words_to_parse(argc, argv));
    } catch (const CLI::ParseError& error) {
        std::ostringstream complaint;
        const int status = app.exit(error, std::cout, complaint) == 0 ? 0 : wrong_use;
        for (const char each : complaint.str()) {
            if (each != not_a_list) std::cerr << each;
        }
        return status;
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
        const int status = act(argc, argv);
        if (status != 0 || std::cout.flush()) return status;
        std::cerr << "velmor-sim: the output cannot be written\n";
    } catch (const std::exception& error) {
        std::cerr << "velmor-sim: " << error.what() << "\n";
    }
    return 1;
}
