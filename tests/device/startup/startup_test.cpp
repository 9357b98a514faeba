// SPDX-License-Identifier: MIT
// The start of a board, and the frame of the exported functions, with board configurations of the tests' own.

#include "core/startup.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
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
#include "access/io.h"
#include "configuration.h"
#include "core/board.h"
#include "core/board_configuration.h"
#include "lighting/led_group_sysfs.h"
#include "mrfi/mrfi.h"
#include "sensors/antenna.h"
#include "sensors/attitude.h"
#include "sensors/car_motion.h"
#include "sensors/radio.h"
#include "serial/serial_alt_func.h"
#include "serial/serial_device.h"
#include "serial/serial_mux.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/files.h"
#include "support/forked.h"
#include "support/instrumented.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using testing_support::ChildResult;
using testing_support::content;
using testing_support::failed;
using testing_support::gpio;
using testing_support::joined;
using testing_support::no_longer_than;
using testing_support::not_supported;
using testing_support::put;
using testing_support::query_es;
using testing_support::result_of;
using testing_support::run_in_child;
using testing_support::Scenario;
using testing_support::stream_failure;
using testing_support::wait_until;
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

/** What EVIOCGABS fails with; where it is 0 every axis has a value: minus its number, less one. */
int axes_error = 0;

/** The next locking of a mutex, by this thread, is refused. */
thread_local bool lock_is_refused = false;

/** Runs once, in the next locking of a mutex, as a signal handler might. */
std::function<void()> on_lock;

}  // namespace

// The one of the thread sanitizer, which has to learn of every locking.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's name
extern "C" int __interceptor_pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept __attribute__((weak));

// Takes the place of the C library's.
extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    if (on_lock) std::exchange(on_lock, nullptr)();
    if (lock_is_refused) {
        lock_is_refused = false;
        return EAGAIN;
    }
    if (__interceptor_pthread_mutex_trylock != nullptr) return __interceptor_pthread_mutex_trylock(mutex);
    static const auto real = reinterpret_cast<int (*)(pthread_mutex_t*)>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
    return real(mutex);
}

// Takes the place of the C library's: plain files stand where the device has its nodes.
extern "C" int ioctl(int /*fd*/, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (axes_error != 0) {
        errno = axes_error;
        return -1;
    }
    static_cast<input_absinfo*>(argument)->value = -static_cast<int>(request & 0x3FU) - 1;
    return 0;
}

namespace {

/** A line that the test reads through a function of its own. */
class Line : public IO {
public:
    explicit Line(std::function<io_value_t()> reading) : reading_(std::move(reading)) {}
    void set(const io_value_t& /*value*/) override {}
    io_value_t get() override { return reading_(); }

private:
    std::function<io_value_t()> reading_;
};

void add_line(Board& board, int io, std::function<io_value_t()> reading) {
    board.add(type::io + io, new Line(std::move(reading)));
}

std::string query_io(int io) {
    return result_of(io_get, io);
}

// ---- Exceptions out of the configuration ---------------------------------------------------------------------------

TEST(BoardStart, ConfigurationIsCalledOnceOnAnEmptyBoard) {
    const ChildResult result = run_in_child([] {
        bool empty = false;
        configuration = [&empty](Board& board) {
            empty = !board.present(type::platform);
            add_line(board, 3, [] { return 33; });
        };
        return joined({query_io(3), query_io(3), empty ? "empty" : "not empty", std::to_string(configurations)});
    });
    EXPECT_EQ(result.output, "0: 33, 0: 33, empty, 1");
    EXPECT_EQ(result.error_text, "");
}

TEST(BoardStart, ExceptionOfAnotherKindIsReportedAndThePartialBoardPublishedByTheNextCall) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) {
            add_line(board, 3, [] { return 33; });
            throw 42;
        };
        return joined({query_io(3), query_io(3), query_io(4), query_io(3), std::to_string(configurations)});
    });
    EXPECT_EQ(result.output, "-1: untouched, 0: 33, -95 errno 95: untouched, 0: 33, 1");
    EXPECT_EQ(result.error_text, "io_get unhandled exception\n" + failed("io_get", not_supported));
}

struct Thrown {
    std::string name;
    void (*throw_it)();
    std::string text;
};

constexpr char long_name[] = "sixteen--letters";

void make_mux_with_a_long_row() {
    new SerialMux({GPIO(39, GPIO::out())}, {{5, {1, 0}}});
}

class FailingConfiguration : public testing::TestWithParam<Thrown> {};

TEST_P(FailingConfiguration, IsReportedWithItsTextAndTriedAgainOnANewBoard) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) {
            if (configurations == 1) add_line(board, 4, [] { return 44; });
            if (configurations < 3) GetParam().throw_it();
            add_line(board, 3, [] { return 33; });
        };
        return joined({query_io(3), query_es(), query_io(3), query_io(4), std::to_string(configurations)});
    });
    const std::string start = "cannot set board resources: " + GetParam().text + "\n";
    EXPECT_EQ(result.output, "-1: untouched, -1: untouched, 0: 33, -95 errno 95: untouched, 3");
    constexpr char verdict[] = "cannot initialize board data";
    EXPECT_EQ(result.error_text, start + failed("io_get", verdict) + start + failed("es_present", verdict) +
                                     failed("io_get", not_supported));
}

INSTANTIATE_TEST_SUITE_P(
    BoardStart, FailingConfiguration,
    testing::Values(
        Thrown{"RuntimeError", [] { throw std::runtime_error("no board"); }, "no board"},
        Thrown{"SystemError", [] { throw std::system_error(EBUSY, std::system_category()); },
               "Device or resource busy"},
        Thrown{"SystemErrorWithCodeZero", [] { throw std::system_error(0, std::system_category()); }, "Success"},
        Thrown{"StreamFailure", [] { throw std::ios_base::failure("basic_ios::clear"); }, stream_failure},
        Thrown{"NoMemory", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
        Thrown{"LineOfNoDirection", [] { new GPIO(37, "OUT"); }, "GPIO direction not valid"},
        Thrown{"WifiWithALongName", [] { new Wifi(long_name, 3); }, "device name is too long"},
        Thrown{"BluetoothWithALongName", [] { new Bluetooth(long_name, 3); }, "device name is too long"},
        Thrown{"SerialDeviceWithALongName", [] { new SerialDevice(long_name, 9600, 0); }, "device name is too long"},
        Thrown{"SerialMuxWithALongRow", make_mux_with_a_long_row, "IOs and MuxMap values must have the same size"},
        Thrown{"PlainException", [] { throw std::exception(); }, "std::exception"}),
    [](const auto& instance) { return instance.param.name; });

TEST(BoardStart, FailedStartDestroysNoResource) {
    class Watched : public Resource {
    public:
        explicit Watched(bool& destroyed) : destroyed_(destroyed) {}
        ~Watched() override { destroyed_ = true; }

    private:
        bool& destroyed_;
    };

    const ChildResult result = run_in_child([] {
        bool destroyed = false;
        configuration = [&destroyed](Board& board) {
            board.add(type::gps, new Watched(destroyed));
            throw std::runtime_error("no board");
        };
        return joined({query_es(), destroyed ? "destroyed" : "alive"});
    });
    EXPECT_EQ(result.output, "-1: untouched, alive");
}

TEST(BoardStart, StartedBoardIsOneAndTheSame) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board&) {};
        const Board* const first = &started_board();
        return &started_board() == first ? "same" : "another";
    });
    EXPECT_EQ(result.output, "same");
}

TEST(BoardStart, FailureLeavesErrnoAsTheConfigurationLeftIt) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board&) {
            errno = EXDEV;
            throw std::runtime_error("no board");
        };
        return query_es();
    });
    EXPECT_EQ(result.output, "-1 errno " + std::to_string(EXDEV) + ": untouched");
}

// ---- Exceptions out of resources -----------------------------------------------------------------------------------

struct Translated {
    std::string name;
    void (*throw_it)();
    std::string output;
    std::string line;
};

class FailingResource : public testing::TestWithParam<Translated> {};

TEST_P(FailingResource, IsTranslatedByTheFrame) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) {
            add_line(board, 3, [] {
                GetParam().throw_it();
                return 1;
            });
        };
        return query_io(3);
    });
    EXPECT_EQ(result.output, GetParam().output + ": untouched");
    EXPECT_EQ(result.error_text, GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Frame, FailingResource,
    testing::Values(Translated{.name = "SystemError",
                               .throw_it = [] { throw std::system_error(EIO, std::system_category()); },
                               .output = "-5 errno 5",
                               .line = failed("io_get", "Input/output error")},
                    Translated{.name = "SystemErrorWithCodeZeroLooksLikeSuccess",
                               .throw_it = [] { throw std::system_error(0, std::system_category()); },
                               .output = "0 errno 0",
                               .line = failed("io_get", "Success")},
                    Translated{.name = "SystemErrorWithNegativeCode",
                               .throw_it = [] { throw std::system_error(-3, std::system_category(), "odd"); },
                               .output = "3 errno -3",
                               .line = failed("io_get", "odd: " + std::system_category().message(-3))},
                    Translated{.name = "StreamFailure",
                               .throw_it = [] { throw std::ios_base::failure("basic_ios::clear"); },
                               .output = "-1",
                               .line = failed("io_get", stream_failure)},
                    Translated{.name = "RangeError",
                               .throw_it = [] { throw std::range_error("color out of range"); },
                               .output = "-1",
                               .line = failed("io_get", "color out of range")},
                    Translated{.name = "Number",
                               .throw_it = [] { throw 42; },
                               .output = "-1",
                               .line = "io_get unhandled exception\n"}),
    [](const auto& instance) { return instance.param.name; });

// ---- The library mutex is for the start only -----------------------------------------------------------------------

TEST(Frame, OperationMayCallTheLibrary) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        configuration = [](Board& board) {
            add_line(board, 3, [] { return 33; });
            add_line(board, 4, [] {
                io_value_t value = 0;
                return io_get(3, &value) == 0 ? value + 1 : -1;
            });
        };
        return query_io(4);
    });
    EXPECT_EQ(result.output, "0: 34");
}

TEST(Frame, OperationThatBlocksHoldsUpNobodyElse) {
    const ChildResult result = run_in_child([] {
        no_longer_than(10);
        std::atomic<bool> inside = false;
        std::atomic<bool> go_on = false;
        configuration = [&](Board& board) {
            add_line(board, 3, [] { return 33; });
            add_line(board, 4, [&] {
                inside = true;
                wait_until([&] { return go_on.load(); });
                return 44;
            });
        };
        std::string blocked;
        std::thread thread([&] { blocked = query_io(4); });
        wait_until([&] { return inside.load(); });
        const std::string other = query_io(3);
        go_on = true;
        thread.join();
        return joined({other, blocked});
    });
    EXPECT_EQ(result.output, "0: 33, 0: 44");
}

TEST(Frame, MutexThatCannotBeLockedFailsTheCallAndStartsNothing) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) { add_line(board, 3, [] { return 33; }); };
        const auto refused = [] { return lock_is_refused = true, query_io(3); };
        return joined({refused(), refused(), std::to_string(configurations), query_io(3)});
    });
    EXPECT_EQ(result.output, "-11 errno 11: untouched, -11 errno 11: untouched, 0, 0: 33");
    const std::string line = failed("io_get", "Resource temporarily unavailable");
    EXPECT_EQ(result.error_text, line + line);
}

// The child has the parent's mutex in hand, which its other threads do not look at.
TEST(Frame, ForkWhileTheMutexIsLockedLetsTheChildStartOneBoard) {
    if (testing_support::emulated)
        GTEST_SKIP() << "qemu-arm cannot start a thread in such a child: run this in a native build";
    const ChildResult result = run_in_child([] {
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
        const std::string output = query_io(3);
        if (child == 0) {
            other.join();
            testing_support::end_child(output == "0: 1" && query_io(3) == "0: 1");
        }
        return joined({output, testing_support::ending_of(child)});
    });
    EXPECT_EQ(result.output, "0: 1, success");
}

// Another thread could hold it while a child is forked.
TEST(Frame, StartedBoardNeedsNoMutex) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) { add_line(board, 3, [] { return 33; }); };
        query_io(3);
        lock_is_refused = true;
        return joined({query_io(3), lock_is_refused ? "mutex left alone" : "mutex taken"});
    });
    EXPECT_EQ(result.output, "0: 33, mutex left alone");
}

TEST(Frame, NullPointerIsRefusedBeforeTheMutex) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board&) {};
        lock_is_refused = true;
        const std::string refused = result_of(io_get, 3, nullptr);
        return joined({refused, lock_is_refused ? "mutex left alone" : "mutex taken", std::to_string(configurations)});
    });
    EXPECT_EQ(result.output, "-22 errno 22, mutex left alone, 0");
    EXPECT_EQ(result.error_text, "");
}

TEST(Frame, OperationRunsWithCancellationOff) {
    const ChildResult result = run_in_child([] {
        configuration = [](Board& board) {
            add_line(board, 3, [] {
                int state = PTHREAD_CANCEL_ENABLE;
                pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
                return state == PTHREAD_CANCEL_DISABLE ? 1 : 0;
            });
        };
        return query_io(3);
    });
    EXPECT_EQ(result.output, "0: 1");
}

// ---- The functions of the families that this device lacks ----------------------------------------------------------

constexpr char radio[] = "/sys/devices/platform/radio.0";

std::string radio_file(const std::string& name) {
    return std::string(radio) + "/" + name;
}

/** A board with one resource of each of them. */
void equip(Board& board) {
    board.add(type::led_group, new LedGroupSysFS("/sys/leds"));
    board.add(type::wifi_antenna, new Antenna(37));
    board.add(type::bluetooth_antenna, new Antenna(38));
    board.add(type::mrfi + 1, new MRFI(radio));
    board.add(type::attitude, new Attitude("/dev/attitude"));
    board.add(type::car_motion, new CarMotion("/dev/motion"));
    board.add(type::serial_mux + 2, new SerialMux({GPIO(39, GPIO::out())}, {{5, {1}}}));
    board.add(type::serial_alt_func + 3, new SerialAltFunc({0, 1}, 114));
}

class EquippedBoard : public testing_support::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put("/sys/leds", "1 2 3\n");
        for (const int pin : {37, 38, 39}) testing_support::put_gpio_line(pin);
        for (const char* name : {"rssi", "type", "address", "autolink", "link", "unlink"}) put(radio_file(name), "1\n");
        put(radio_file("connections"), "0x12340001 1f 2 -60 1 0\n");
        put(radio_file("devices"), "0x12340001 3 7 probe\n");
        put("/dev/attitude", "");
        put("/dev/motion", "");
        put("/sys/devices/platform/gpio-keys/keys", "114\n");
        put("/sys/devices/platform/gpio-keys/disabled_keys", "114\n");
    }

    static ChildResult run_equipped(const Scenario& scenario) {
        return run_in_child([&] {
            configuration = equip;
            return scenario();
        });
    }
};

TEST_F(EquippedBoard, LedColor) {
    const ChildResult result = run_equipped([] {
        const led_color_t wanted = {255, 0, 16};
        const led_color_t too_bright = {256, 0, 0};
        return joined({result_of(led_color_get, 0), result_of(led_color_set, 0, &wanted),
                       result_of(led_color_set, 0, &too_bright)});
    });
    EXPECT_EQ(result.output, "0: 1 2 3, 0, -1");
    EXPECT_EQ(result.error_text, failed("led_color_set", "color out of range"));
    EXPECT_EQ(content("/sys/leds"), "255 0 16");
}

TEST_F(EquippedBoard, Antennas) {
    const ChildResult result = run_equipped([] {
        return joined({result_of(wifi_antenna_set, 1), result_of(bluetooth_antenna_set, 0)});
    });
    EXPECT_EQ(result.output, "0, 0");
    EXPECT_EQ(content(gpio(37, "value")), "1");
    EXPECT_EQ(content(gpio(38, "value")), "0");
}

TEST_F(EquippedBoard, MrfiAttributes) {
    put(radio_file("rssi"), "-61\n");
    put(radio_file("address"), "0x12345678\n");
    const ChildResult result = run_equipped([] {
        const mrfi_addr_t peer = {{1, 0, 0xab, 0}};
        const mrfi_addr_t nobody = {{0, 0, 0, 0}};
        return joined({result_of(mrfi_rssi_get, 1), result_of(mrfi_type_get, 1), result_of(mrfi_address_get, 1),
                       result_of(mrfi_autolink_get, 1), result_of(mrfi_autolink_set, 1, 256),
                       result_of(mrfi_autolink_get, 1), result_of(mrfi_link, 1, &peer),
                       result_of(mrfi_unlink, 1, &nobody), result_of(mrfi_link, 0, &peer)});
    });
    EXPECT_EQ(result.output, "0: -61, 0: 1, 0: 78 56 34 12 , 0: true, 0, 0: false, 0, 0, -95 errno 95");
    EXPECT_EQ(content(radio_file("autolink")), "0");
    EXPECT_EQ(content(radio_file("link")), "0xab0001");
    EXPECT_EQ(content(radio_file("unlink")), "0");
}

TEST_F(EquippedBoard, MrfiAutolinkTakesAnyLowByteAsOn) {
    const ChildResult result = run_equipped([] { return result_of(mrfi_autolink_set, 1, 0x102); });
    EXPECT_EQ(result.output, "0");
    EXPECT_EQ(content(radio_file("autolink")), "1");
}

TEST_F(EquippedBoard, MrfiLists) {
    const ChildResult result = run_equipped([] {
        mrfi_enum_ctx* connections = nullptr;
        mrfi_enum_ctx* devices = nullptr;
        return joined(
            {result_of(mrfi_connection_list_open, 1, &connections),
             result_of(mrfi_connection_list_read, connections, nullptr),
             result_of(mrfi_connection_list_read, connections), result_of(mrfi_connection_list_read, connections),
             result_of(mrfi_connection_list_read, connections), result_of(mrfi_connection_list_close, connections),
             result_of(mrfi_device_list_open, 1, &devices), result_of(mrfi_device_list_read, devices, nullptr),
             result_of(mrfi_device_list_read, devices), result_of(mrfi_device_list_read, devices),
             result_of(mrfi_device_list_close, devices)});
    });
    // The reserved bits keep the 0x5A that they had: 0x16 above the two flags.
    EXPECT_EQ(result.output,
              "0, -22 errno 22, 1: 31 2 196 10 22 1 0 34 12 , 0: untouched, 0: untouched, 0, "
              "0, -22 errno 22, 1: 3 7 probe 1 0 34 12 , 0: untouched, 0");
    EXPECT_EQ(result.error_text, "");
}

std::string query_motion_sensors() {
    return joined({result_of(attitude_get), result_of(car_motion_get)});
}

TEST_F(EquippedBoard, MotionSensors) {
    const ChildResult result = run_equipped(query_motion_sensors);
    EXPECT_EQ(result.output, "0: -1 -2 -3, 0: -1 backwards");
    EXPECT_EQ(result.error_text, "");
}

TEST_F(EquippedBoard, MotionSensorsReportTheirDevicesErrno) {
    const ChildResult result = run_equipped([] {
        axes_error = ENODEV;
        return query_motion_sensors();
    });
    EXPECT_EQ(result.output, "-19 errno 19: untouched, -19 errno 19: untouched");
    EXPECT_EQ(result.error_text, failed("attitude_get", "No such device") + failed("car_motion_get", "No such device"));
}

TEST_F(EquippedBoard, SerialMultiplexer) {
    const ChildResult result = run_equipped([] {
        return joined({result_of(serial_mux, 2, 5), result_of(serial_mux, 2, 6)});
    });
    EXPECT_EQ(result.output, "0, -1");
    EXPECT_EQ(result.error_text, failed("serial_mux", "Unsupported port"));
    EXPECT_EQ(content(gpio(39, "value")), "1");
}

TEST_F(EquippedBoard, SerialAlternateFunctions) {
    const ChildResult result = run_equipped([] {
        return joined({result_of(serial_alt_func_has, 3, 1), result_of(serial_alt_func_has, 3, 2),
                       result_of(serial_alt_func_set, 3, 1), result_of(serial_alt_func_set, 3, 2)});
    });
    EXPECT_EQ(result.output, "0: true, 0: false, 0, -22 errno 22");
    EXPECT_EQ(result.error_text, failed("serial_alt_func_set", "Invalid argument"));
    EXPECT_EQ(content("/sys/devices/platform/gpio-keys/disabled_keys"), "0,");
}

}  // namespace
