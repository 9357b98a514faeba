// SPDX-License-Identifier: MIT
// The library lives in someone else's process: it works whatever the application does there, and changes nothing.

#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <ios>
#include <iostream>
#include <iterator>
#include <locale>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "support/instrumented.h"
#include "system/system_test.h"

using testing::AnyOf;
using namespace testing_support;

namespace fs = std::filesystem;

namespace {

/** A call that fails: the device has no LEDs. */
std::string query_led() {
    return result_of(led_color_get, 0);
}

std::string query_display() {
    return result_of(display_get, 0);
}

const std::string led_line = failed("led_color_get", not_supported);
const CallResult no_led = fails_with(EOPNOTSUPP, untouched);

class HostProcess : public DeviceTest {};

// ---- The locale ----------------------------------------------------------------------------------------------------

/** Writes 1234567 as "1.234.567" and true as "ja". */
class GroupedNumbers : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "ja"; }
    std::string do_falsename() const override { return "nein"; }
};

TEST_F(HostProcess, GlobalLocaleDoesNotReachTheFiles) {
    put("/sys/class/backlight/pwm-backlight.0/max_brightness", "1234567\n");
    put(brightness, "1234567\n");
    put("/sys/class/thermal/thermal_zone0/temp", "1045000\n");
    put("/proc/platform/compatibility_version", "4000000\n");
    const ChildResult child = run_in_child([] {
        std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
        std::cerr.imbue(std::locale());
        platform_info_t info = {};
        const std::string text =
            joined({result_of(backlight_get, 0), result_of(io_set, 9, 1234567), result_of(io_get, 9),
                    result_of(thermal_state_get, 0), result_of(io_config_get, 0),
                    result_of(platform_info_get, &info, sizeof info), result_of(backlight_set, 0, 254U), query_led()});
        std::locale::global(std::locale::classic());
        return text + ", " + std::to_string(info.compatibility_version) + " " + std::to_string(info.os_date_year) +
               " " + std::to_string(info.fs_date_year);
    });
    // The test itself writes its numbers in the global locale.
    std::string output = child.output;
    std::erase(output, '.');
    EXPECT_EQ(output,
              joined({succeeds("255"), succeeds(), succeeds("1234567"), succeeds("1045000 60000 75000 85000 95000"),
                      succeeds("2700 Hz 50 %"), succeeds(), succeeds(), no_led, "4000000 2026 2025"}));
    EXPECT_EQ(child.error_text, led_line);
    EXPECT_EQ(content(gps_enable), "1234567");
    EXPECT_EQ(content("/sys/devices/platform/mxc_pwm.1/period"), "370370");
    EXPECT_EQ(content(brightness), "1229707");
}

// ---- Standard error ------------------------------------------------------------------------------------------------

TEST_F(HostProcess, ClosedStandardErrorLosesOnlyTheLines) {
    const ChildResult child = run_in_child([] {
        close(STDERR_FILENO);
        return joined({query_led(), query_es(), result_of(backlight_set, 0, 256U)});
    });
    EXPECT_THAT(child, returns({no_led, present, refuses()}));
}

// Lines written to the node would feed an armed watchdog, and a "V" in the last of them would disarm it.
TEST_F(HostProcess, ClosedStandardErrorDoesNotBecomeADeviceNode) {
    const ChildResult child = run_in_child([] {
        close(STDERR_FILENO);
        // A plain file refuses the timeout, but the node stays open.
        const std::string armed = joined({result_of(watchdog_enable, 30), result_of(watchdog_refresh)});
        query_led();
        return joined({armed, write(STDERR_FILENO, "VELMOR", 6) != -1 ? "printed" : "lost"});
    });
    // The emulator does not support the watchdog's requests.
    const CallResult refused = fails_with(emulated ? ENOSYS : ENOTTY);
    EXPECT_EQ(child.output, joined({refused, refused, "lost"}));
    EXPECT_EQ(content("/dev/watchdog"), "");
}

TEST_F(HostProcess, ClosedStandardDescriptorsDoNotBecomeAnAttribute) {
    const ChildResult child = run_in_child([] {
        no_longer_than(20);
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(fd);
        query_es();
        Fifo fifo(blank);
        std::thread reader(query_display);
        fifo.hold();                                                 // takes one of the numbers itself
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets the reader return from its open
        std::string text;
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            struct stat status = {};
            if (fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode) && (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY)
                text += std::to_string(fd) + " is the attribute ";
        }
        fifo.feed("0\n");
        reader.join();
        return text;
    });
    EXPECT_THAT(child, returns(""));
}

TEST_F(HostProcess, ErrorStreamThatThrowsLosesOnlyTheLines) {
    testing_support::remove("/proc/platform/pht");
    const ChildResult child = run_in_child([] {
        std::cerr.exceptions(std::ios_base::badbit | std::ios_base::failbit);
        close(STDERR_FILENO);
        const std::string failed_start = joined({query_es(), query_es()});
        reset_device();
        return joined({failed_start, query_led(), query_es()});
    });
    const CallResult failed_start = file_fails_with(ENOENT, untouched);
    EXPECT_THAT(child, returns({failed_start, failed_start, no_led, present}));
}

TEST_F(HostProcess, FormatOfTheErrorStreamDoesNotShowInTheLines) {
    const ChildResult child = run_in_child([] {
        std::cerr << std::setw(60) << std::setfill('*') << std::nounitbuf;
        return joined({query_led(), query_led()});
    });
    EXPECT_THAT(child, returns({no_led, no_led}, led_line + led_line));
}

/** Makes standard error a socket on which each write is a message. */
class MessagesOnStandardError {
public:
    MessagesOnStandardError() {
        int ends[2] = {};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) < 0) throw std::runtime_error("socketpair");
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        reader_ = std::thread([this, end = ends[0]] {
            char message[1000];
            for (ssize_t n = 0; (n = read(end, message, sizeof message)) > 0;)
                ++count_[std::string(message, static_cast<std::size_t>(n))];
        });
    }

    /** Each message, preceded by how often it has come. */
    std::string finish() {
        close(STDERR_FILENO);
        reader_.join();
        std::string text;
        for (const auto& [message, count] : count_) text += std::to_string(count) + " " + message;
        return text;
    }

private:
    std::map<std::string, int> count_;
    std::thread reader_;
};

TEST_F(HostProcess, EveryLineIsOneWriteWhenManyThreadsFailAtOnce) {
    const ChildResult child = run_in_child([] {
        no_longer_than(60);
        MessagesOnStandardError messages;
        std::vector<std::thread> threads;
        const auto repeat = [&threads](auto code) {
            threads.emplace_back([code] {
                for (int i = 0; i < 100; ++i) code();
            });
        };
        for (int i = 0; i < 4; ++i) {
            repeat([] { query_led(); });
            repeat([] { backlight_set(0, 256); });
        }
        for (std::thread& thread : threads) thread.join();
        return messages.finish();
    });
    EXPECT_EQ(child.output, "400 " + failed("backlight_set", "backlight brightness out of range") + "400 " + led_line);
}

TEST_F(HostProcess, BothLinesOfAFailedStartAreOneWriteEach) {
    put("/proc/platform/pht", "002912\n");
    const ChildResult child = run_in_child([] {
        MessagesOnStandardError messages;
        query_es();
        return messages.finish();
    });
    EXPECT_EQ(child.output,
              "1 cannot set board resources: platform hardware table has no \"x\" before its digits\n"
              "1 es_present failed: cannot initialize board data\n");
}

// ---- Threads that are cancelled ------------------------------------------------------------------------------------

/** A thread that can be cancelled, and its output so far. */
class Cancellable {
public:
    explicit Cancellable(std::function<void(Cancellable&)> code) : code_(std::move(code)) {
        if (pthread_create(&thread_, nullptr, run, this) != 0) throw std::runtime_error("pthread_create");
    }

    void cancel() { pthread_cancel(thread_); }
    std::string join() {
        void* result = nullptr;
        pthread_join(thread_, &result);
        if (ended_) return output + " returned";
        if (!unwound_) return output + " cancelled, not unwound";
        return output + (result == PTHREAD_CANCELED ? " cancelled" : " cancelled, unmarked");
    }
    bool running() { return !ended_ && pthread_tryjoin_np(thread_, nullptr) == EBUSY; }

    std::string output;

private:
    // Stands for an application's object on the thread's stack. On ARM the process would end at its destructor if a
    // clean-up in the library had left the unwinder's record behind.
    struct Unwound {
        Cancellable& thread;
        ~Unwound() { thread.unwound_ = true; }
    };

    static void* run(void* self) {
        auto& thread = *static_cast<Cancellable*>(self);
        const Unwound unwound{thread};
        thread.code_(thread);
        thread.ended_ = true;
        return nullptr;
    }

    std::function<void(Cancellable&)> code_;
    std::atomic<bool> ended_ = false;
    std::atomic<bool> unwound_ = false;
    pthread_t thread_ = {};
};

void nothing() {}

void allow_asynchronous_cancellation() {
    int type = 0;
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &type);
}

/** Cancel a thread in the middle of its call, which reads this attribute, then let the call read this text. */
std::string cancel_in_call(const std::string& attribute, const std::string& text, std::string (*query_it)()) {
    no_longer_than(20);
    Fifo fifo(attribute);
    Cancellable thread([query_it](Cancellable& self) {
        self.output = query_it();
        pthread_testcancel();
        self.output += " not cancelled";
    });
    fifo.hold();
    thread.cancel();
    fifo.feed(text);
    return thread.join();
}

TEST_F(HostProcess, CallFinishesBeforeItsThreadIsCancelled) {
    const ChildResult child = run_in_child([] {
        query_es();
        const std::string text = cancel_in_call(blank, "1\n", query_display);
        return joined({text, query_es()});
    });
    EXPECT_THAT(child, returns("0: false cancelled, 0: true"));
}

TEST_F(HostProcess, FailingCallFinishesBeforeItsThreadIsCancelled) {
    const ChildResult child = run_in_child([] {
        query_es();
        return cancel_in_call(blank, "dark\n", query_display);
    });
    EXPECT_THAT(child, returns("-1: untouched cancelled", failed("display_get", stream_failure)));
}

TEST_F(HostProcess, ThreadInWhichTheStartFailedIsCancelled) {
    testing_support::remove("/proc/platform/pht");
    const ChildResult child = run_in_child([] {
        Cancellable thread([](Cancellable& self) {
            self.output = query_es();
            pthread_cancel(pthread_self());
            pthread_testcancel();
        });
        return thread.join();
    });
    EXPECT_THAT(child, returns("-1 errno 2: untouched cancelled", start_failed("es_present", stream_failure)));
}

TEST_F(HostProcess, StartOfTheBoardFinishesBeforeItsThreadIsCancelled) {
    static constexpr char table[] = "/proc/platform/pht";
    const ChildResult child = run_in_child([good_table = content(table)] {
        const std::string text = cancel_in_call(table, good_table, query_es);
        return joined({text, query_es()});
    });
    EXPECT_THAT(child, returns("0: true cancelled, 0: true"));
}

TEST_F(HostProcess, AsynchronousCancellationWaitsForTheEndOfTheCall) {
    const ChildResult child = run_in_child([] {
        no_longer_than(20);
        query_es();
        Fifo fifo(gps_enable);
        Cancellable thread([](Cancellable& self) {
            allow_asynchronous_cancellation();
            io_value_t value = 0;
            io_get(9, &value);
            self.output = "not cancelled";
        });
        fifo.hold();
        thread.cancel();
        fifo.feed("1\n");
        const std::string text = thread.join();
        testing_support::remove(gps_enable);
        put(gps_enable, "0\n");
        return joined({text, result_of(io_get, 9)});
    });
    EXPECT_EQ(child.wait_status, 0);
    // Some C libraries leave out PTHREAD_CANCELED if the cancellation strikes in pthread_setcancelstate().
    EXPECT_THAT(child.output, AnyOf(" cancelled, 0: 0", " cancelled, unmarked, 0: 0"));
}

/** Wait until the program at /sbin/reboot has written its process number, and return that. */
pid_t started_program() {
    constexpr char file[] = "/sys/started";
    wait_until([&] { return exists(file) && content(file).ends_with('\n'); });
    return std::stoi(content(file));
}

TEST_F(HostProcess, ThreadIsCancelledWhileItWaitsForTheProgram) {
    put_program(reboot_program, "echo $$ >/sys/started; exec sleep 60");
    const ChildResult child = run_in_child([] {
        no_longer_than(20);
        query_es();
        Cancellable thread([](Cancellable& self) {
            power_reboot();
            self.output = "has returned";
        });
        const pid_t program = started_program();
        thread.cancel();
        const std::string text = thread.join();
        kill(program, SIGKILL);
        waitpid(program, nullptr, 0);
        return joined({text, query_es(), query_led()});
    });
    EXPECT_THAT(child, returns(joined({" cancelled", present, no_led}), led_line));
}

/** Cancel a thread that has prepared itself like this, in a reboot that waits for the end of the system. */
ChildResult cancel_in_endless_wait(void (*prepare_thread)(), std::string (*observe)(Cancellable&)) {
    put_program(reboot_program, "echo $$ >/sys/started; exit 0");
    return run_in_child([=] {
        no_longer_than(20);
        Cancellable thread([prepare_thread](Cancellable& self) {
            prepare_thread();
            power_reboot();
            self.output = "has returned";
        });
        const pid_t program = started_program();
        wait_until([program] { return kill(program, 0) < 0; });  // the library has taken its status
        thread.cancel();
        return observe(thread);
    });
}

TEST_F(HostProcess, ThreadIsCancelledWhileItWaitsForTheEndOfTheSystem) {
    for (const auto prepare : {nothing, allow_asynchronous_cancellation}) {
        reset_device();
        const ChildResult child = cancel_in_endless_wait(prepare, [](Cancellable& thread) {
            const std::string text = thread.join();
            return joined({text, query_es(), query_led()});
        });
        EXPECT_THAT(child, returns(joined({" cancelled", present, no_led}), led_line));
    }
}

TEST_F(HostProcess, ThreadThatTheApplicationProtectsIsNotCancelled) {
    const auto protect_thread = [] {
        int state = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    };
    const ChildResult child = cancel_in_endless_wait(protect_thread, [](Cancellable& thread) -> std::string {
        std::this_thread::sleep_for(std::chrono::milliseconds(1300));  // longer than a nap in the endless wait
        end_child(thread.running());                                   // the thread waits for ever
    });
    EXPECT_EQ(ending(child.wait_status), "success");
}

TEST_F(HostProcess, CancellationStateAndTypeAreUnchanged) {
    put_program(reboot_program, "exit 1");
    const ChildResult child = run_in_child([] {
        std::string text;
        for (const int wanted : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
            int state = 0;
            int type = 0;
            pthread_setcancelstate(wanted, &state);
            query_es();
            query_led();
            power_reboot();
            pthread_setcancelstate(wanted, &state);
            pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type);
            text += state == wanted && type == PTHREAD_CANCEL_DEFERRED ? "kept " : "changed ";
        }
        return text;
    });
    EXPECT_EQ(child.output, "kept kept ");
}

// ---- Processes -----------------------------------------------------------------------------------------------------

TEST_F(HostProcess, IgnoredSigchldLosesTheProgramsStatus) {
    put_program(reboot_program, "echo $$ >/sys/started; exit 3");
    const ChildResult child = run_in_child([] {
        no_longer_than(20);
        std::signal(SIGCHLD, SIG_IGN);
        return result_of(power_reboot);
    });
    EXPECT_THAT(child, returns(fails_with(ECHILD), failed("power_reboot", "No child processes")));
    EXPECT_TRUE(exists("/sys/started"));
}

TEST_F(HostProcess, ChildOfAStartedParentGoesOnCalling) {
    const ChildResult child = run_in_child([] {
        query_es();
        const std::string forked = run_forked([] {
            testing_support::remove("/proc/platform/pht");  // another start of the board would fail
            return query_es() == present && backlight_set(0, 255) == 0;
        });
        return joined({forked, query_es()});
    });
    EXPECT_THAT(child, returns(joined({"success", present})));
    EXPECT_EQ(content(brightness), "7");
}

// The application holds this lock around its calls and takes it in its fork handlers, as an allocator does.
std::mutex application_lock;

void fork_handlers_of_the_application() {
    const auto call = [] {
        bool is_present = false;
        if (es_present(&is_present) != 0 || !is_present) _exit(99);
    };
    pthread_atfork(call, call, call);
    pthread_atfork([] { application_lock.lock(); }, [] { application_lock.unlock(); },
                   [] { application_lock.unlock(); });
}

struct Forks {
    std::string name;
    int count = 1000;
    void (*before_the_first_call)() = nothing;
    void (*after_it)() = nothing;
};

constexpr int one_in = instrumented ? 20 : 1;  // an instrumented fork takes ten times as long

class ForkedChildren : public HostProcess, public testing::WithParamInterface<Forks> {};

TEST_P(ForkedChildren, OfCallingThreadsCanCall) {
    if (emulated)
        GTEST_SKIP() << "qemu-arm takes a lock of its own for every path it opens, which stays locked in the child of "
                        "a thread that forks meanwhile: run this in another build";
    const int count = GetParam().count / one_in;
    const ChildResult child = run_in_child([count] {
        no_longer_than(240);
        // Not result_of(): its streams take the lock for locales, which may stay locked in the child.
        const auto call_library = [] {
            uint32_t level = 0;
            return backlight_get(0, &level) == 0 && level == 255 && io_set(9, 1) == 0;
        };
        put(brightness, "7\n");
        GetParam().before_the_first_call();
        query_es();
        GetParam().after_it();
        std::atomic<bool> stop = false;
        std::array<std::thread, 3> callers;
        for (std::thread& caller : callers) {
            caller = std::thread([&] {
                while (!stop) {
                    {
                        const std::lock_guard lock(application_lock);
                        call_library();
                    }
                    std::this_thread::yield();
                }
            });
        }
        int good = 0;
        for (int i = 0; i < count; ++i) good += run_forked(call_library) == "success" ? 1 : 0;
        stop = true;
        for (std::thread& caller : callers) caller.join();
        return std::to_string(good);
    });
    EXPECT_EQ(child.output, std::to_string(count));
}

/** With another locale than the classic one, the C++ library's streams take a lock. */
void other_locale() {
    std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
}

INSTANTIATE_TEST_SUITE_P(
    Processes, ForkedChildren,
    testing::Values(Forks{.name = "Plain"},
                    Forks{.name = "HandlersBeforeTheFirstCall",
                          .before_the_first_call = fork_handlers_of_the_application},
                    Forks{.name = "HandlersAfterTheFirstCall", .after_it = fork_handlers_of_the_application},
                    Forks{.name = "OtherLocale", .count = 10000, .before_the_first_call = other_locale}),
    [](const auto& instance) { return instance.param.name; });

// ---- What the application finds unchanged --------------------------------------------------------------------------

void call_everything() {
    put_program(reboot_program, "exit 3");
    query_es();
    query_led();
    backlight_set(0, 100);
    result_of(backlight_get, 0);
    result_of(thermal_state_get, 0);
    result_of(io_config_get, 0);
    platform_info_t info = {};
    platform_info_get(&info, sizeof info);
    power_suspend();
    power_reboot();
    watchdog_enable(30);  // a plain file refuses the timeout; the node stays open
    watchdog_disable();
    testing_support::remove(brightness);
    result_of(backlight_get, 0);
}

std::ptrdiff_t entries(const char* directory) {
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

TEST_F(HostProcess, SignalsThreadsDescriptorsLocaleAndUmaskAreUnchanged) {
    const ChildResult child = run_in_child([] {
        const auto seen = [] {
            std::string text;
            for (int signal = 1; signal < SIGRTMIN; ++signal) {
                struct sigaction action = {};
                sigaction(signal, nullptr, &action);
                text += action.sa_handler == SIG_DFL ? 'd' : action.sa_handler == SIG_IGN ? 'i' : 'h';
            }
            sigset_t mask;
            sigprocmask(SIG_SETMASK, nullptr, &mask);
            for (int signal = 1; signal < SIGRTMIN; ++signal) text += sigismember(&mask, signal) == 1 ? '1' : '0';
            const mode_t creation_mask = umask(0);
            umask(creation_mask);
            return text + " " + std::to_string(entries("/proc/self/task")) + " threads, " +
                   std::to_string(entries("/proc/self/fd")) + " descriptors, umask " + std::to_string(creation_mask) +
                   ", locale " + std::locale().name() + ", directory " + fs::current_path().string();
        };
        const std::string before = seen();
        call_everything();
        const std::string after = seen();
        return before == after ? "unchanged" : before + "\n" + after;
    });
    EXPECT_EQ(child.output, "unchanged");
}

// A service makes calls for months: neither those that succeed nor those that fail may leak a descriptor.
TEST_F(HostProcess, DescriptorsAreNotLost) {
    const ChildResult child = run_in_child([] {
        call_everything();
        const std::ptrdiff_t before = entries("/proc/self/fd");
        for (int i = 0; i < 20; ++i) {
            reset_device();
            call_everything();
            put(blank, "dark\n");
            query_display();
        }
        return std::to_string(entries("/proc/self/fd") - before);
    });
    EXPECT_EQ(child.output, "0");
}

}  // namespace
