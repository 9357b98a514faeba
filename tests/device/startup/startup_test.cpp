// SPDX-License-Identifier: MIT
// The start of a board, and the frame of the exported functions, with board configurations of the tests' own.

#include "core/startup.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <functional>
#include <ios>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "access/gpio.h"
#include "configuration.h"
#include "core/board.h"
#include "core/board_configuration.h"
#include "sensors/radio.h"
#include "serial/serial_device.h"
#include "serial/serial_mux.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/forked.h"
#include "support/instrumented.h"
#include "velmor.h"

using namespace testing_support;
using namespace Velmor;

std::function<void(Board&)> configuration;
int configurations = 0;

// Takes the place of the device's.
void Velmor::configure_board(Board& board) {
    ++configurations;
    configuration(board);
}

namespace {

using type = Resource::type;

/** This thread's next attempt to lock a mutex is refused. */
thread_local bool lock_is_refused = false;

/** Runs once, in the next attempt to lock a mutex, as a signal handler might. */
std::function<void()> on_lock;

}  // namespace

// The thread sanitizer's own function, which has to be called for every mutex.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's name
extern "C" int __interceptor_pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept __attribute__((weak));

// Takes the place of the C library's.
extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    if (on_lock) std::exchange(on_lock, nullptr)();
    if (std::exchange(lock_is_refused, false)) return EAGAIN;
    if (__interceptor_pthread_mutex_trylock != nullptr) return __interceptor_pthread_mutex_trylock(mutex);
    static const auto real = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
    return real(mutex);
}

namespace {

std::string query_io(int io) {
    return result_of(io_get, io);
}

/** The only resource is line 3, with level 33. */
void configure_line(Board& board) {
    add_line(board, 3, [] { return 33; });
}

const CallResult absent = fails_with(EOPNOTSUPP, untouched);

// ---- Configurations ------------------------------------------------------------------------------------------------

TEST(BoardStart, ConfigurationIsRunOnceOnAnEmptyBoard) {
    bool empty = false;
    configuration = [&empty](Board& board) {
        empty = !board.present(type::platform);
        configure_line(board);
    };
    const auto calls = [&empty] {
        return joined({query_io(3), query_io(3), empty ? "empty" : "not empty", std::to_string(configurations)});
    };
    EXPECT_THAT(run_in_child(calls), returns(joined({succeeds("33"), succeeds("33"), "empty", "1"})));
}

TEST(BoardStart, ExceptionOfAnotherKindIsReportedAndTheNextCallsUseThePartialBoard) {
    configuration = [](Board& board) {
        configure_line(board);
        throw 42;
    };
    const auto calls = [] {
        return joined({query_io(3), query_io(3), query_io(4), query_io(3), std::to_string(configurations)});
    };
    EXPECT_THAT(run_in_child(calls), returns(joined({refuses(untouched), succeeds("33"), absent, succeeds("33"), "1"}),
                                             "io_get unhandled exception\n" + failed("io_get", not_supported)));
}

struct Thrown {
    std::string name;
    void (*throw_it)();
    std::string text;
};

constexpr char long_name[] = "sixteen--letters";
constexpr char too_long[] = "device name is too long";

class FailingConfiguration : public testing::TestWithParam<Thrown> {};

TEST_P(FailingConfiguration, IsReportedAndTheNextCallStartsANewBoard) {
    configuration = [](Board& board) {
        if (configurations == 1) add_line(board, 4, [] { return 44; });
        if (configurations < 3) GetParam().throw_it();
        configure_line(board);
    };
    const auto calls = [] {
        return joined({query_io(3), query_es(), query_io(3), query_io(4), std::to_string(configurations)});
    };
    EXPECT_THAT(run_in_child(calls),
                returns(joined({refuses(untouched), refuses(untouched), succeeds("33"), absent, "3"}),
                        start_failed("io_get", GetParam().text) + start_failed("es_present", GetParam().text) +
                            failed("io_get", not_supported)));
}

INSTANTIATE_TEST_SUITE_P(
    BoardStart, FailingConfiguration,
    testing::Values(Thrown{"RuntimeError", [] { throw std::runtime_error("no board"); }, "no board"},
                    Thrown{"SystemError", [] { throw std::system_error(EBUSY, std::system_category()); },
                           "Device or resource busy"},
                    Thrown{"SystemErrorWithCodeZero", [] { throw std::system_error(0, std::system_category()); },
                           "Success"},
                    Thrown{"StreamFailure", [] { throw std::ios_base::failure("basic_ios::clear"); }, stream_failure},
                    Thrown{"NoMemory", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
                    Thrown{"PlainException", [] { throw std::exception(); }, "std::exception"},
                    Thrown{"LineOfNoDirection", [] { new GPIO(37, "OUT"); }, "GPIO direction not valid"},
                    Thrown{"WifiWithALongName", [] { new Wifi(long_name, 3); }, too_long},
                    Thrown{"BluetoothWithALongName", [] { new Bluetooth(long_name, 3); }, too_long},
                    Thrown{"SerialDeviceWithALongName", [] { new SerialDevice(long_name, 9600, 0); }, too_long},
                    Thrown{"SerialMuxWithALongRow",
                           [] {
                               new SerialMux({GPIO(39, GPIO::out())}, {{5, {1, 0}}});
                           },
                           "IOs and MuxMap values must have the same size"}),
    [](const auto& instance) { return instance.param.name; });

TEST(BoardStart, FailedStartDestroysNoResource) {
    class Watched : public Resource {
    public:
        explicit Watched(bool& destroyed) : destroyed_(destroyed) {}
        ~Watched() override { destroyed_ = true; }

    private:
        bool& destroyed_;
    };

    bool destroyed = false;
    configuration = [&destroyed](Board& board) {
        board.add(type::gps, new Watched(destroyed));
        throw std::runtime_error("no board");
    };
    const auto calls = [&destroyed] { return joined({query_es(), destroyed ? "destroyed" : "alive"}); };
    EXPECT_THAT(run_in_child(calls),
                returns(joined({refuses(untouched), "alive"}), start_failed("es_present", "no board")));
}

TEST(BoardStart, StartedBoardIsAlwaysTheSame) {
    configuration = [](Board&) {};
    const auto compare = [] {
        const Board* const first = &started_board();
        return &started_board() == first ? "same" : "another";
    };
    EXPECT_THAT(run_in_child(compare), returns("same"));
}

TEST(BoardStart, FailureLeavesTheErrnoOfTheConfiguration) {
    configuration = [](Board&) {
        errno = EXDEV;
        throw std::runtime_error("no board");
    };
    EXPECT_THAT(run_in_child(query_es),
                returns(file_fails_with(EXDEV, untouched), start_failed("es_present", "no board")));
}

// ---- Exceptions of resources ---------------------------------------------------------------------------------------

struct Translated {
    std::string name;
    void (*throw_it)();
    CallResult result = refuses(untouched);
    std::string line = {};
};

class FailingResource : public testing::TestWithParam<Translated> {};

TEST_P(FailingResource, IsTranslatedByTheFrame) {
    configuration = [](Board& board) {
        add_line(board, 3, [] {
            GetParam().throw_it();
            return 1;
        });
    };
    EXPECT_THAT(run_in_child(call(io_get, 3)), returns(GetParam().result, GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Frame, FailingResource,
    testing::Values(Translated{.name = "SystemError",
                               .throw_it = [] { throw std::system_error(EIO, std::system_category()); },
                               .result = fails_with(EIO, untouched),
                               .line = failed("io_get", "Input/output error")},
                    Translated{.name = "StreamFailure",
                               .throw_it = [] { throw std::ios_base::failure("basic_ios::clear"); },
                               .line = failed("io_get", stream_failure)},
                    Translated{.name = "Number", .throw_it = [] { throw 42; }, .line = "io_get unhandled exception\n"}),
    [](const auto& instance) { return instance.param.name; });

// ---- The library mutex is for the start only -----------------------------------------------------------------------

TEST(Frame, OperationMayCallTheLibrary) {
    configuration = [](Board& board) {
        configure_line(board);
        add_line(board, 4, [] {
            io_value_t value = 0;
            return io_get(3, &value) == 0 ? value + 1 : -1;
        });
    };
    const auto query = [] {
        no_longer_than(10);
        return query_io(4);
    };
    EXPECT_THAT(run_in_child(query), returns(succeeds("34")));
}

TEST(Frame, OperationThatBlocksHoldsUpNobodyElse) {
    std::atomic<bool> inside = false;
    std::atomic<bool> go_on = false;
    configuration = [&](Board& board) {
        configure_line(board);
        add_line(board, 4, [&] {
            inside = true;
            wait_until([&] { return go_on.load(); });
            return 44;
        });
    };
    const auto calls = [&] {
        no_longer_than(10);
        std::string blocked;
        std::thread thread([&] { blocked = query_io(4); });
        wait_until([&] { return inside.load(); });
        const std::string other = query_io(3);
        go_on = true;
        thread.join();
        return joined({other, blocked});
    };
    EXPECT_THAT(run_in_child(calls), returns({succeeds("33"), succeeds("44")}));
}

TEST(Frame, MutexThatCannotBeLockedFailsTheCallAndStartsNothing) {
    configuration = configure_line;
    const auto calls = [] {
        const auto refused = [] { return lock_is_refused = true, query_io(3); };
        return joined({refused(), refused(), std::to_string(configurations), query_io(3)});
    };
    const CallResult again = fails_with(EAGAIN, untouched);
    const std::string line = failed("io_get", "Resource temporarily unavailable");
    EXPECT_THAT(run_in_child(calls), returns(joined({again, again, "0", succeeds("33")}), line + line));
}

// The child has a copy of the parent's locked mutex. None of its threads waits for it.
TEST(Frame, ForkWhileTheMutexIsLockedLetsTheChildStartOneBoard) {
    if (emulated) GTEST_SKIP() << "qemu-arm cannot start a thread in such a child: run this in a native build";
    const auto calls = [] {
        no_longer_than(20);
        static std::thread other;
        pid_t child = -1;
        configuration = [&child](Board& board) {
            add_line(board, 3, [] { return configurations; });
            if (child != 0) return;
            other = std::thread([] { query_io(3); });
            std::this_thread::sleep_for(std::chrono::milliseconds(100));  // a second start has time to begin
        };
        on_lock = [&child] { child = fork(); };
        const std::string first = query_io(3);
        if (child == 0) {
            other.join();
            end_child(first == succeeds("1") && query_io(3) == succeeds("1"));
        }
        return joined({first, ending_of(child)});
    };
    EXPECT_EQ(run_in_child(calls).output, joined({succeeds("1"), "success"}));
}

std::string use_of_mutex() {
    return lock_is_refused ? "mutex left alone" : "mutex taken";
}

// Another thread could hold it when a child is forked.
TEST(Frame, StartedBoardNeedsNoMutex) {
    configuration = configure_line;
    const auto calls = [] {
        query_io(3);
        lock_is_refused = true;
        return joined({query_io(3), use_of_mutex()});
    };
    EXPECT_THAT(run_in_child(calls), returns(joined({succeeds("33"), "mutex left alone"})));
}

TEST(Frame, NullPointerIsRefusedBeforeTheMutex) {
    configuration = configure_line;
    const auto calls = [] {
        lock_is_refused = true;
        return joined({result_of(io_get, 3, nullptr), use_of_mutex(), std::to_string(configurations)});
    };
    EXPECT_THAT(run_in_child(calls), returns(joined({fails_with(EINVAL), "mutex left alone", "0"})));
}

TEST(Frame, OperationRunsWithCancellationOff) {
    configuration = [](Board& board) {
        add_line(board, 3, [] {
            int state = PTHREAD_CANCEL_ENABLE;
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
            return state == PTHREAD_CANCEL_DISABLE ? 1 : 0;
        });
    };
    EXPECT_THAT(run_in_child(call(io_get, 3)), returns(succeeds("1")));
}

}  // namespace
