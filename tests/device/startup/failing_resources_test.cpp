// SPDX-License-Identifier: MIT
// The exported functions over the library's resources where these fail, on boards that have a resource of each kind.

#include <gmock/gmock.h>
#include <filesystem>
#include <functional>
#include <string>

#include "access/gpio.h"
#include "configuration.h"
#include "core/board.h"
#include "mrfi/mrfi.h"
#include "platform/power.h"
#include "sensors/antenna.h"
#include "sensors/attitude.h"
#include "sensors/car_motion.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

using testing_support::call;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::exists;
using testing_support::failed;
using testing_support::gpio;
using testing_support::joined;
using testing_support::no_longer_than;
using testing_support::not_supported;
using testing_support::put;
using testing_support::result_of;
using testing_support::run_in_child;
using testing_support::Scenario;
using testing_support::stream_failure;
using namespace Velmor;

namespace fs = std::filesystem;

namespace {

using type = Resource::type;

constexpr char no_space[] = "-1 errno 28";  // what "/dev/full" answers to a write

constexpr char radio[] = "/sys/devices/platform/radio.0";

/** Put an attribute whose driver refuses what is written to it. */
void put_refusing(const std::string& path) {
    testing_support::remove(path);
    fs::create_directories(fs::path(path).parent_path());
    fs::create_symlink("/dev/full", path);
}

class FailingResources : public testing_support::DeviceTest {
protected:
    static ChildResult run_on_board(void (*configure)(Board&), const Scenario& scenario) {
        return run_in_child([&] {
            configuration = configure;
            return scenario();
        });
    }
};

// ---- GPIO lines ----------------------------------------------------------------------------------------------------

class FailingLines : public FailingResources {
protected:
    void SetUp() override {
        FailingResources::SetUp();
        testing_support::put_gpio_line(37, "0\n");
    }
};

TEST_F(FailingLines, InputIsNotSetAndOutputNotRead) {
    const ChildResult child = run_on_board(
        [](Board& board) {
            board.add(type::io + 1, new GPIO(37, GPIO::out()));
            board.add(type::io + 2, new GPIO(37, GPIO::in()));
        },
        [] {
            return joined({result_of(io_set, 2, 1), result_of(io_get, 1)});
        });
    EXPECT_EQ(child.output, "-1, -1: untouched");
    EXPECT_EQ(child.error_text,
              failed("io_set", "GPIO direction not valid") + failed("io_get", "GPIO direction not valid"));
    for (const std::string& untouched : {gpio("export"), gpio("unexport"), gpio(37, "direction")})
        EXPECT_EQ(content(untouched), "") << untouched;
    EXPECT_EQ(content(gpio(37, "value")), "0\n");
}

class FailingAntennas : public FailingLines {
protected:
    static ChildResult run_antennas() {
        return run_on_board(
            [](Board& board) {
                board.add(type::wifi_antenna, new Antenna(37));
                board.add(type::bluetooth_antenna, new Antenna(37));
            },
            [] {
                return joined({result_of(wifi_antenna_set, 1), result_of(bluetooth_antenna_set, 1)});
            });
    }

    static std::string both_failed() {
        return failed("wifi_antenna_set", stream_failure) + failed("bluetooth_antenna_set", stream_failure);
    }
};

TEST_F(FailingAntennas, WithoutGpioLines) {
    testing_support::remove("/sys/class/gpio");
    const ChildResult child = run_antennas();
    EXPECT_EQ(child.output, "-1 errno 2, -1 errno 2");
    EXPECT_EQ(child.error_text, both_failed());
    EXPECT_FALSE(exists("/sys/class/gpio"));
}

TEST_F(FailingAntennas, WhoseFilesRefuseWhatIsWritten) {
    for (const std::string& refusing : {gpio("export"), gpio(37, "direction"), gpio(37, "value"), gpio("unexport")}) {
        SetUp();
        put_refusing(refusing);
        const ChildResult child = run_antennas();
        EXPECT_EQ(child.output, joined({no_space, no_space})) << refusing;
        EXPECT_EQ(child.error_text, both_failed()) << refusing;
    }
}

// ---- Power ---------------------------------------------------------------------------------------------------------

class FailingPower : public FailingResources {
protected:
    static ChildResult run_shutdown() {
        return run_on_board([](Board& board) { board.add(type::power, new Power); },
                            [] {
                                no_longer_than(20);  // success waits forever
                                return result_of(power_shutdown);
                            });
    }
};

// HAZARD: the program is a script of the test's own; the system's is a link, and is replaced.
TEST_F(FailingPower, PowerOffProgramThatFailsIsItsExitCode) {
    testing_support::put_program("/sbin/poweroff", "echo \"$0 $#\" >/sys/ran; exit 3");
    const ChildResult child = run_shutdown();
    EXPECT_EQ(child.output, "-3 errno 3");
    EXPECT_EQ(child.error_text, failed("power_shutdown", "No such process"));
    EXPECT_EQ(content("/sys/ran"), "/sbin/poweroff 0\n");
}

TEST_F(FailingPower, PowerOffProgramThatIsMissingIsNoEntry) {
    testing_support::remove("/sbin/poweroff");
    const ChildResult child = run_shutdown();
    EXPECT_EQ(child.output, "-2 errno 2");
    EXPECT_EQ(child.error_text, failed("power_shutdown", "No such file or directory"));
}

// ---- GPS and motion sensors ----------------------------------------------------------------------------------------

TEST_F(FailingResources, GpsThatIsAbsentIsNotSupported) {
    const ChildResult child = run_on_board([](Board&) {}, [] { return result_of(gps_info_get); });
    EXPECT_EQ(child.output, "-95 errno 95: untouched");
    EXPECT_EQ(child.error_text, failed("gps_info_get", not_supported));
}

TEST_F(FailingResources, MotionSensorsWhoseNodeCannotBeOpened) {
    const ChildResult child = run_on_board(
        [](Board& board) {
            board.add(type::attitude, new Attitude("/dev/input/event0"));
            board.add(type::car_motion, new CarMotion("/dev/input/event1"));
        },
        [] {
            return joined({result_of(attitude_get), result_of(car_motion_get)});
        });
    EXPECT_EQ(child.output, "-2 errno 2: untouched, -2 errno 2: untouched");
    EXPECT_EQ(child.error_text, failed("attitude_get", "No such file or directory") +
                                    failed("car_motion_get", "No such file or directory"));
    EXPECT_FALSE(exists("/dev/input"));
}

// ---- MRFI ----------------------------------------------------------------------------------------------------------

class FailingMrfiFiles : public FailingResources {
protected:
    static ChildResult run_mrfi(const Scenario& scenario) {
        return run_on_board([](Board& board) { board.add(type::mrfi + 1, new MRFI(radio)); }, scenario);
    }
};

struct MrfiFunction {
    std::string name;
    std::string attribute;
    bool reads;
    Scenario call;
};

class FailingMrfi : public FailingMrfiFiles, public testing::WithParamInterface<MrfiFunction> {
protected:
    static void expect_failure(const std::string& output) {
        const ChildResult child = run_mrfi(GetParam().call);
        EXPECT_EQ(child.output, output + (GetParam().reads ? ": untouched" : ""));
        EXPECT_EQ(child.error_text, failed(GetParam().name, stream_failure));
    }

    static std::string path() { return std::string(radio) + "/" + GetParam().attribute; }
};

TEST_P(FailingMrfi, MissingAttribute) {
    expect_failure("-1 errno 2");
    EXPECT_FALSE(exists(radio));
}

TEST_P(FailingMrfi, AttributeThatHoldsNoValueOrRefusesOne) {
    if (!GetParam().reads) {
        put_refusing(path());
        expect_failure(no_space);
        return;
    }
    for (const char* text : {"", "\n", "none\n"}) {
        put(path(), text);
        expect_failure("-1");
    }
}

const mrfi_addr_t peer = {{1, 0, 0xab, 0}};

INSTANTIATE_TEST_SUITE_P(
    Functions, FailingMrfi,
    testing::Values(MrfiFunction{"mrfi_rssi_get", "rssi", true, call(mrfi_rssi_get, 1)},
                    MrfiFunction{"mrfi_type_get", "type", true, call(mrfi_type_get, 1)},
                    MrfiFunction{"mrfi_address_get", "address", true, call(mrfi_address_get, 1)},
                    MrfiFunction{"mrfi_autolink_get", "autolink", true, call(mrfi_autolink_get, 1)},
                    MrfiFunction{"mrfi_autolink_set", "autolink", false, call(mrfi_autolink_set, 1, 1)},
                    MrfiFunction{"mrfi_link", "link", false, call(mrfi_link, 1, peer)},
                    MrfiFunction{"mrfi_unlink", "unlink", false, call(mrfi_unlink, 1, peer)}),
    [](const auto& instance) { return instance.param.name; });

// What opening a missing file leaves in errno is unspecified: the calls succeed.
TEST_F(FailingMrfiFiles, ListsThatAreMissingOrCannotBeReadAreEmpty) {
    const Scenario lists = [] {
        mrfi_enum_ctx* connections = nullptr;
        mrfi_enum_ctx* devices = nullptr;
        const int opened[] = {mrfi_connection_list_open(1, &connections), mrfi_device_list_open(1, &devices)};
        return joined({std::to_string(opened[0]), std::to_string(opened[1]),
                       result_of(mrfi_connection_list_read, connections), result_of(mrfi_device_list_read, devices),
                       result_of(mrfi_connection_list_read, connections), result_of(mrfi_device_list_read, devices),
                       result_of(mrfi_connection_list_close, connections), result_of(mrfi_device_list_close, devices)});
    };
    constexpr char empty[] = "0, 0, 0: untouched, 0: untouched, 0: untouched, 0: untouched, 0, 0";
    const ChildResult missing = run_mrfi(lists);
    EXPECT_EQ(missing.output, empty);
    EXPECT_EQ(missing.error_text, "");
    for (const char* name : {"/connections", "/devices"}) fs::create_directories(std::string(radio) + name);
    const ChildResult unreadable = run_mrfi(lists);
    EXPECT_EQ(unreadable.output, empty);
    EXPECT_EQ(unreadable.error_text, "");
}

}  // namespace
