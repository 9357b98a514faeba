// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"
#include "doctor.h"
#include "guarded_run.h"
#include "numbers.h"
#include "objects.h"
#include "print.h"
#include "report.h"
#include "velmor.h"
#include "watch.h"

namespace VelmorCtl {

namespace {

constexpr int any_number = std::numeric_limits<int>::max();

constexpr char footer[] =
    "Every start of velmorctl programs PWM line 0 anew (2700 Hz, 50 %), as the first call of any process does; only\n"
    "doctor calls nothing.\n\n"
    "Exit status: 0 done, 1 failed, 2 wrong use, 3 not fitted on this board, 4 not permitted.\n\n"
    "Examples:\n"
    "  velmorctl\n"
    "  velmorctl backlight set 50%\n"
    "  velmorctl thermal --watch --json\n"
    "  velmorctl watchdog run --timeout 30 -- ./my-app\n\n"
    "For the arguments of a command: velmorctl OBJECT [VERB] --help";
constexpr char footer_of_object[] = "For the options of every command: velmorctl --help";

/** A command either queries or sets; one of the third kind queries if it has none of its optional arguments. */
enum class Kind { query, setter, either };

struct Command {
    CLI::App* app;
    std::string words;
    Kind kind;
    bool has_index;
    std::function<Report()> run;
};

/** @param subcommand  what the line of the usage calls it */
std::shared_ptr<CLI::Formatter> formatter(const char* subcommand) {
    auto made = std::make_shared<CLI::Formatter>();
    made->label("SUBCOMMAND", subcommand);
    made->label("TEXT", "");  // every argument is text
    made->label("REQUIRED", "");
    return made;
}

class CommandLine {
public:
    CommandLine();
    Status parse_and_run(int argc, char** argv);

private:
    using Run = std::function<Report()>;

    void add_options();
    void add_objects();
    void add_lighting();
    void add_lines();
    void add_mrfi();
    void add_dangerous();
    void add_watch();

    CLI::App* object(const std::string& name, const std::string& help);
    CLI::App* verb(CLI::App* of, const std::string& name, const std::string& help, Kind kind, bool has_index,
                   const Run& execute);

    std::string in_words(const CLI::ParseError& error) const;
    const CLI::App* innermost() const;
    const Command& chosen() const;
    void check(const Command& command) const;
    bool queries(const Command& command) const;
    Status run(const Command& command);
    int index() const { return index_.empty() ? 0 : number("--index", index_, 0, any_number); }
    int line() const { return number("LINE", first_, 0, any_number); }
    int port() const { return number("PORT", first_, 0, any_number); }

    CLI::App app_{"The device's hardware from a shell. Without an object: status.", "velmorctl"};
    std::vector<Command> commands_;

    bool json_ = false;
    bool value_ = false;
    bool watch_ = false;
    bool yes_ = false;
    std::string index_;
    std::string interval_;
    std::string count_;
    std::string first_;  // the arguments of the verb
    std::string second_;
    std::optional<std::string> frequency_;
    std::optional<std::string> duty_;
    std::string timeout_ = "30";
    std::optional<std::string> alive_file_;
    std::vector<std::string> words_;  // of the guarded command, or the watched objects
};

CommandLine::CommandLine() {
    app_.footer(footer);
    app_.formatter(formatter("OBJECT [VERB [ARGUMENTS]]"));
    app_.fallthrough();             // options may follow the verb
    app_.require_subcommand(0, 1);  // so that an argument may be the name of an object
    add_options();
    commands_.push_back({&app_, "status", Kind::query, false, query_all});
    commands_.push_back({object("status", "Everything that is fitted"), "status", Kind::query, false, query_all});
    add_objects();
    add_lighting();
    add_lines();
    add_mrfi();
    add_dangerous();
    add_watch();
    commands_.push_back({object("doctor", "Check the files that the library uses; calls nothing"), "doctor",
                         Kind::setter, false, examine});
}

void CommandLine::add_options() {
    app_.set_version_flag("--version", "velmorctl " VELMOR_VERSION_STRING, "Print the version and exit");
    app_.add_flag("--json", json_, "Print a JSON document on one line");
    app_.add_flag("--value", value_, "Print the bare value");
    app_.add_option("--index", index_, "Which one, if there are several (default: 0)")->type_name("N");
    app_.add_flag("--watch", watch_, "Print a query's result now and after every change");
    app_.add_option("--interval", interval_, "Time between two queries of a watch (default: 1)")->type_name("SECONDS");
    app_.add_option("--count", count_, "End a watch after printing N times")->type_name("N");
}

CLI::App* CommandLine::object(const std::string& name, const std::string& help) {
    auto* const added = app_.add_subcommand(name, help);
    added->group("Objects");
    added->formatter(formatter("VERB"));
    added->footer(footer_of_object);
    return added;
}

CLI::App* CommandLine::verb(CLI::App* of, const std::string& name, const std::string& help, Kind kind, bool has_index,
                            const Run& execute) {
    auto* const added = of->add_subcommand(name, help);
    added->group("Verbs");
    commands_.push_back({added, of->get_name() + " " + name, kind, has_index, execute});
    return added;
}

void CommandLine::add_objects() {
    for (const Object& each : objects()) {
        const auto query = [this, &each] { return each.query(index()); };
        if (*each.verb == '\0')
            commands_.push_back({object(each.name, each.help), each.name, Kind::query, each.has_index, query});
        else
            verb(app_.get_subcommand(each.name), each.verb, each.help, Kind::query, each.has_index, query);
    }
}

void CommandLine::add_lighting() {
    verb(app_.get_subcommand("backlight"), "set", "Set the brightness", Kind::setter, true,
         [this] { return set_backlight(index(), first_); })
        ->add_option("LEVEL", first_, "0 (off) to 255 (full), or 0% to 100%")
        ->required();
    for (const char* state : {"on", "off"})
        verb(app_.get_subcommand("display"), state, std::string("Switch a display ") + state, Kind::setter, true,
             [this, state] { return set_display(index(), state); });
    verb(app_.get_subcommand("led"), "set", "Set the colour", Kind::setter, true,
         [this] { return set_led(index(), first_); })
        ->add_option("COLOR", first_, "\"#\" and six hexadecimal digits, such as '#ff0010'")
        ->required();
}

void CommandLine::add_lines() {
    auto* const io = app_.get_subcommand("io");
    constexpr char line_help[] = "Number of the line, from 0";
    verb(io, "get", "Get the level of a line; makes a GPIO line an input", Kind::query, false,
         [this] { return io_level(line()); })
        ->add_option("LINE", first_, line_help)
        ->required();
    auto* const set = verb(io, "set", "Set the level of an output line", Kind::setter, false,
                           [this] { return set_io(line(), second_); });
    set->add_option("LINE", first_, line_help)->required();
    set->add_option("LEVEL", second_, "0 (low, off) or 1 (high, on)")->required();
    auto* const config =
        verb(io, "config", "Show or set frequency and duty of a PWM line; the next start resets line 0", Kind::either,
             false, [this] {
                 const bool shows = !frequency_ && !duty_;
                 return shows ? io_configuration(line()) : configure_io(line(), frequency_, duty_);
             });
    config->add_option("LINE", first_, line_help)->required();
    config->add_option("--frequency", frequency_, "1 to 2000000")->type_name("HERTZ");
    config->add_option("--duty", duty_, "0 to 100")->type_name("PERCENT");

    auto* const serial = app_.get_subcommand("serial");
    constexpr char port_help[] = "Number of the serial port, from 0";
    auto* const mux = verb(serial, "mux", "Connect a port to a connector", Kind::setter, false,
                           [this] { return connect_serial(port(), second_); });
    mux->add_option("PORT", first_, port_help)->required();
    mux->add_option("CONNECTOR", second_, "Number of the connector, from 0")->required();
    auto* const function =
        verb(serial, "function", "Show the functions of a port's pin, or switch it to one", Kind::either, false,
             [this] { return second_.empty() ? serial_functions(port()) : set_serial_function(port(), second_); });
    function->add_option("PORT", first_, port_help)->required();
    function->add_option("FUNCTION", second_, "serial, key, or a number that the board defines");

    auto* const antenna = object("antenna", "Select an antenna");
    for (const char* radio : {"wifi", "bluetooth"})
        verb(antenna, radio, std::string("Select the antenna of ") + radio, Kind::setter, false,
             [this, radio] { return select_antenna(radio, first_); })
            ->add_option("ANTENNA", first_, "Level of the select line, 0 or 1")
            ->required();
}

void CommandLine::add_mrfi() {
    auto* const mrfi = app_.get_subcommand("mrfi");
    constexpr char address_help[] = "Hexadecimal, such as 0x12340001";
    verb(mrfi, "link", "Link to a peer", Kind::setter, true, [this] { return link_mrfi(index(), first_); })
        ->add_option("ADDRESS", first_, address_help)
        ->required();
    verb(mrfi, "unlink", "Unlink a peer", Kind::setter, true, [this] { return unlink_mrfi(index(), first_); })
        ->add_option("ADDRESS", first_, address_help)
        ->required();
    verb(mrfi, "autolink", "Show automatic linking, or switch it", Kind::either, true, [this] {
        return second_.empty() ? mrfi_autolink(index()) : set_autolink(index(), second_);
    })->add_option("STATE", second_, "on or off");
    verb(mrfi, "class", "Show the device class in an address", Kind::query, false,
         [this] { return mrfi_class(address(first_)); })
        ->add_option("ADDRESS", first_, address_help)
        ->required();
}

void CommandLine::add_dangerous() {
    auto* const device = object("power", "Power off, reboot or suspend the device");
    const auto add_power = [&](const char* what, const char* help) {
        verb(device, what, help, Kind::setter, false, [this, what] {
            return power(what, yes_);
        })->add_flag("--yes", yes_, "Do not ask");
    };
    add_power("off", "Power the device off; this device comes back by itself");
    add_power("reboot", "Reboot the device");
    add_power("suspend", "Suspend the device to memory");

    auto* const watchdog = object("watchdog", "Run a command under the watchdog");
    auto* const guard =
        verb(watchdog, "run", "Restart the unit if a command fails or goes silent", Kind::setter, false, [this] {
            const GuardedRun guarded{number("--timeout", timeout_, 1, any_number), alive_file_, words_};
            return run_guarded(guarded, [this](const Report& report) {
                print("watchdog run", report, json_ ? Form::json : Form::text, false);
            });
        });
    guard->add_option("--timeout", timeout_, "Time after which the watchdog bites (default: 30)")->type_name("SECONDS");
    guard->add_option("--alive", alive_file_, "Feed only while the command keeps touching this file")
        ->type_name("FILE");
    guard->add_option("COMMAND", words_, "The command and its arguments")->required();
    guard->positionals_at_end();
}

void CommandLine::add_watch() {
    auto* const watched = object("watch", "Print the values of objects now and after every change");
    watched->add_option("OBJECT", words_, "Names of objects, such as thermal")->required();
    commands_.push_back(
        {watched, "watch", Kind::query, true, [this] {
             Report all;
             for (const std::string& word : words_) {
                 const auto found = std::ranges::find_if(
                     objects(), [&](const Object& each) { return word == each.name && *each.verb == '\0'; });
                 if (found == objects().end())
                     throw WrongUse("watch: \"" + word +
                                    "\" cannot be watched; velmorctl OBJECT [VERB] --watch watches any query");
                 if (!found->has_index && !index_.empty()) throw WrongUse("--index: " + word + " has no index");
                 const Report report = found->query(index());
                 all.insert(all.end(), report.begin(), report.end());
             }
             return all;
         }});
}

/** The object or the verb that was given last. */
const CLI::App* CommandLine::innermost() const {
    const CLI::App* app = &app_;
    while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
    return app;
}

/** "off, reboot or suspend"; empty for an object that has no verb. */
std::string verbs_of(const CLI::App& object) {
    const auto verbs = object.get_subcommands([](const CLI::App* /*verb*/) { return true; });
    std::string all;
    for (const CLI::App* verb : verbs)
        all += (all.empty() ? "" : verb == verbs.back() ? " or " : ", ") + verb->get_name();
    return all;
}

/** After a word in brackets, which the parser would take for a list. No argument of a program can contain it. */
constexpr char not_a_list = '\0';

std::string unmark(const std::string& word) {
    return word.ends_with(not_a_list) ? word.substr(0, word.size() - 1) : word;
}

std::string CommandLine::in_words(const CLI::ParseError& error) const {
    const CLI::App* const app = innermost();
    std::string words;
    for (const CLI::App* each = app; each != &app_; each = each->get_parent())
        words.insert(0, each->get_name() + (words.empty() ? "" : " "));
    const std::string beginning = words.empty() ? "" : words + ": ";
    const std::string help = "; see velmorctl " + words + (words.empty() ? "" : " ") + "--help";
    const auto extra = app_.remaining(true);
    if (extra.empty()) return beginning + error.what() + help;
    const std::string quoted = beginning + '"' + unmark(extra.front()) + '"';
    if (extra.front().starts_with('-')) return quoted + " is not an option" + help;
    if (app == &app_) return quoted + " is not an object" + help;
    const std::string verbs = verbs_of(*app);
    return verbs.empty() ? quoted + " is one argument too many" + help : quoted + " is not a verb; use " + verbs;
}

/** The command that was given. */
const Command& CommandLine::chosen() const {
    const auto found = std::ranges::find(commands_, innermost(), &Command::app);
    if (found == commands_.end())
        throw WrongUse(innermost()->get_name() + ": the verb is missing; use " + verbs_of(*innermost()));
    return *found;
}

bool CommandLine::queries(const Command& command) const {
    const bool bare = second_.empty() && !frequency_ && !duty_;
    return command.kind == Kind::query || (command.kind == Kind::either && bare);
}

void CommandLine::check(const Command& command) const {
    const bool watches = watch_ || command.words == "watch";
    const bool is_list = command.words == "status" || command.words == "doctor";
    if (json_ && value_) throw WrongUse("--json and --value exclude each other");
    if (value_ && is_list) throw WrongUse(command.words + " has no single value; use --json");
    if (value_ && command.words == "watch" && words_.size() > 1) throw WrongUse("watch: --value is for one object");
    if (!index_.empty() && !command.has_index) throw WrongUse("--index: " + command.words + " has no index");
    if (watch_ && !queries(command)) throw WrongUse("--watch: " + command.words + " is not a query");
    if (!watches && !(interval_.empty() && count_.empty()))
        throw WrongUse("--interval and --count are for --watch and watch");
}

Status CommandLine::run(const Command& command) {
    check(command);
    const Form form = json_ ? Form::json : value_ ? Form::value : Form::text;
    if (watch_ || command.words == "watch") {
        constexpr double usual_interval_s = 1;
        const double interval = interval_.empty() ? usual_interval_s : seconds("--interval", interval_);
        const int count = count_.empty() ? 0 : number("--count", count_, 1, any_number);
        return watch({command.words, form, interval, count}, command.run);
    }
    const Report report = command.run();
    print(command.words, report, form, command.words == "status");
    return status_of(report);
}

/** No argument of velmorctl may be empty: the command line library takes an empty one for none. */
void refuse_empty(int argc, char** argv) {
    for (int i = 1; i < argc && std::string(argv[i]) != "--"; ++i)
        if (*argv[i] == '\0') throw WrongUse("an argument is empty; see velmorctl --help");
}

/** The arguments as the parser wants them: the last one first. */
std::vector<std::string> words_to_parse(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    for (std::string& word : words)
        if (word.starts_with('[') && word.ends_with(']')) word += not_a_list;
    std::ranges::reverse(words);
    return words;
}

/** Make the options of all commands keep words in brackets as they are. */
void keep_brackets(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) option->transform(unmark);
    for (CLI::App* command : app.get_subcommands({})) keep_brackets(*command);
}

Status CommandLine::parse_and_run(int argc, char** argv) {
    refuse_empty(argc, argv);
    keep_brackets(app_);
    try {
        app_.parse(words_to_parse(argc, argv));
    } catch (const CLI::ParseError& error) {
        constexpr int no_error = 0;  // help or version
        if (error.get_exit_code() != no_error) throw WrongUse(in_words(error));
        app_.exit(error);
        return Status::done;
    }
    return run(chosen());
}

}  // namespace

}  // namespace VelmorCtl

int main(int argc, char** argv) {
    using VelmorCtl::Status;
    Status status = Status::failed;
    try {
        status = VelmorCtl::CommandLine().parse_and_run(argc, argv);
    } catch (const VelmorCtl::WrongUse& error) {
        std::cerr << "velmorctl: " << error.what() << "\n";
        status = Status::wrong_use;
    } catch (const std::exception& error) {
        std::cerr << "velmorctl: " << error.what() << "\n";
    }
    return static_cast<int>(status);
}
