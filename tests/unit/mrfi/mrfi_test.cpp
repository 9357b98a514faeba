// SPDX-License-Identifier: MIT
#include "mrfi/mrfi.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/board.h"
#include "mrfi/mrfi_enum_ctx.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::Board;
using Velmor::MRFI;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr mrfi_addr_t address(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2, std::uint8_t b3) {
    return {{b0, b1, b2, b3}};
}

Bytes bytes(const mrfi_addr_t& of) {
    return {of.byte[0], of.byte[1], of.byte[2], of.byte[3]};
}

Bytes bytes(const mrfi_connection_t& of) {
    Bytes result(sizeof of);
    std::memcpy(result.data(), &of, sizeof of);
    return result;
}

class MrfiTest : public testing::Test {
protected:
    std::string file(const std::string& name) const { return directory_ / name; }

    testing_support::TemporaryDirectory directory_;
    MRFI mrfi_{directory_.path()};
};

TEST(MrfiClass, IsTheUpperHalfOfTheAddress) {
    EXPECT_EQ(MRFI::class_get(address(0x78, 0x56, 0x34, 0x12)), 0x1234U);
    EXPECT_EQ(MRFI::class_get(address(0xFF, 0xFF, 0, 0)), 0U);
    EXPECT_EQ(MRFI::class_get(address(0, 0, 0xFF, 0xFF)), 0xFFFFU);
}

TEST_F(MrfiTest, RssiAndTypeAreSignedNumbers) {
    put(file("rssi"), "-60\n");
    put(file("type"), "-2147483648\n");
    EXPECT_EQ(mrfi_.rssi_get(), -60);
    EXPECT_EQ(mrfi_.type_get(), INT_MIN);
    put(file("rssi"), " 12 dBm\n");
    put(file("type"), "2147483647\n");
    EXPECT_EQ(mrfi_.rssi_get(), 12);
    EXPECT_EQ(mrfi_.type_get(), INT_MAX);
}

TEST_F(MrfiTest, AddressIsHexadecimalWithOrWithoutPrefix) {
    for (const char* text : {"0x1a2b3c4d\n", "1a2b3c4d\n", "0X1A2B3C4D", " 1A2B3C4D "}) {
        put(file("address"), text);
        EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x4D, 0x3C, 0x2B, 0x1A)) << text;
    }
    put(file("address"), "10");
    EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x10, 0, 0, 0));
}

TEST_F(MrfiTest, AutolinkIsWrittenAsOneDigit) {
    put(file("autolink"), "");
    mrfi_.autolink_set(true);
    EXPECT_EQ(content(file("autolink")), "1");
    mrfi_.autolink_set(false);
    EXPECT_EQ(content(file("autolink")), "0");
}

TEST_F(MrfiTest, AutolinkIsReadAsZeroOrOneOnly) {
    put(file("autolink"), "1\n");
    EXPECT_TRUE(mrfi_.autolink_get());
    put(file("autolink"), "0\n");
    EXPECT_FALSE(mrfi_.autolink_get());
    for (const char* text : {"2", "-1", "true", "", "10"}) {
        put(file("autolink"), text);
        EXPECT_EQ(thrown([this] { mrfi_.autolink_get(); }), "stream failure") << text;
    }
}

TEST_F(MrfiTest, LinkAndUnlinkWriteTheAddress) {
    put(file("link"), "old text");
    put(file("unlink"), "old text");
    mrfi_.link(address(0x01, 0x00, 0xAB, 0x00));
    EXPECT_EQ(content(file("link")), "0xab0001");
    EXPECT_EQ(content(file("unlink")), "old text");
    mrfi_.unlink(address(0x4D, 0x3C, 0x2B, 0x1A));
    EXPECT_EQ(content(file("unlink")), "0x1a2b3c4d");
    mrfi_.link(address(0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_EQ(content(file("link")), "0xffffffff");
}

TEST_F(MrfiTest, AddressZeroIsWrittenAsOneDigit) {
    mrfi_.link(address(0, 0, 0, 0));
    mrfi_.unlink(address(0, 0, 0, 0));
    EXPECT_EQ(content(file("link")), "0");
    EXPECT_EQ(content(file("unlink")), "0");
}

TEST_F(MrfiTest, AttributeThatCannotBeReadIsAStreamFailure) {
    const auto expect_failures = [this](const std::string& what) {
        EXPECT_EQ(thrown([this] { mrfi_.rssi_get(); }), "stream failure") << what;
        EXPECT_EQ(thrown([this] { mrfi_.type_get(); }), "stream failure") << what;
        EXPECT_EQ(thrown([this] { mrfi_.address_get(); }), "stream failure") << what;
        EXPECT_EQ(thrown([this] { mrfi_.autolink_get(); }), "stream failure") << what;
    };
    expect_failures("missing");
    for (const char* text : {"", "\n", "zz\n", "99999999999999999999\n"}) {
        for (const char* name : {"rssi", "type", "address", "autolink"}) put(file(name), text);
        expect_failures(text);
    }
    for (const char* name : {"rssi", "type", "address", "autolink"}) {
        testing_support::remove(file(name));
        put(file(name) + "/not/a/file", "");
    }
    expect_failures("directory");
}

TEST_F(MrfiTest, AttributeThatCannotBeWrittenIsAStreamFailure) {
    const auto expect_failures = [](const MRFI& mrfi) {
        EXPECT_EQ(thrown([&] { mrfi.autolink_set(true); }), "stream failure");
        EXPECT_EQ(thrown([&] { mrfi.link(address(1, 2, 3, 4)); }), "stream failure");
        EXPECT_EQ(thrown([&] { mrfi.unlink(address(1, 2, 3, 4)); }), "stream failure");
    };
    expect_failures(MRFI(file("none")));
    // A driver refuses a value when it is written, as this device does.
    for (const char* name : {"autolink", "link", "unlink"}) std::filesystem::create_symlink("/dev/full", file(name));
    expect_failures(mrfi_);
}

TEST_F(MrfiTest, EveryOperationIsOneAccess) {
    VELMOR_NEEDS_RECORDER();
    put(file("rssi"), "5");
    put(file("link"), "");
    const auto outcome = Recorder().watch({directory_.path()}).run([this] {
        mrfi_.link(address(1, 0, 0, 0));
        return mrfi_.rssi_get();
    });
    EXPECT_EQ(outcome.result, 5);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + file("link") + " w", "write " + file("link") + " 0x1",
                                          "close " + file("link"), "open " + file("rssi") + " r",
                                          "read " + file("rssi"), "read " + file("rssi"), "close " + file("rssi")));
}

// ---- Lists

using Context = std::unique_ptr<mrfi_enum_ctx>;

struct ConnectionLine {
    const char* line;
    Bytes bytes;  // of a record that held 0xFF everywhere
};

class MrfiConnectionLine : public MrfiTest, public testing::WithParamInterface<ConnectionLine> {};

TEST_P(MrfiConnectionLine, IsReadAsFarAsItGoes) {
    put(file("connections"), std::string(GetParam().line) + "\n");
    const Context context(mrfi_.connection_list_open());
    mrfi_connection_t connection;
    std::memset(&connection, 0xFF, sizeof connection);
    EXPECT_TRUE(mrfi_.connection_list_read(*context, connection));
    EXPECT_THAT(bytes(connection), ElementsAreArray(GetParam().bytes)) << GetParam().line;
}

// Flags stand in the lowest bits of byte 0, the six others are the caller's.
INSTANTIATE_TEST_SUITE_P(
    Whole, MrfiConnectionLine,
    testing::Values(ConnectionLine{"0x12340001 1f 2 -60 1 0", {0xFD, 0x1F, 0x02, 0xC4, 0x01, 0x00, 0x34, 0x12}},
                    ConnectionLine{"12340001 0x1f 0x2 60 0 1", {0xFE, 0x1F, 0x02, 0x3C, 0x01, 0x00, 0x34, 0x12}},
                    ConnectionLine{"ABCDEF01\t10  10 10 3 2 more", {0xFD, 0x10, 0x10, 0x0A, 0x01, 0xEF, 0xCD, 0xAB}},
                    ConnectionLine{"  1 1ff -1 256 -1 -2", {0xFD, 0xFF, 0xFF, 0x00, 0x01, 0, 0, 0}}));
INSTANTIATE_TEST_SUITE_P(Short, MrfiConnectionLine,
                         testing::Values(ConnectionLine{"0x12345678", {0xFC, 0, 0, 0, 0x78, 0x56, 0x34, 0x12}},
                                         ConnectionLine{"0x12345678 1f", {0xFC, 0x1F, 0, 0, 0x78, 0x56, 0x34, 0x12}},
                                         ConnectionLine{"1 2 3", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 1 ", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{" ", {0xFC, 0, 0, 0, 0, 0, 0, 0}}));
// The numbers are chosen so that another base gives another record.
INSTANTIATE_TEST_SUITE_P(Bases, MrfiConnectionLine,
                         testing::Values(ConnectionLine{"10 21 32 43 9 9", {0xFF, 0x21, 0x32, 0x2B, 0x10, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 0x1 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 2b 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 1 0x1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 1 2b", {0xFD, 2, 3, 4, 1, 0, 0, 0}}));
INSTANTIATE_TEST_SUITE_P(Malformed, MrfiConnectionLine,
                         testing::Values(ConnectionLine{"zz 1f 2 -60 1 1", {0xFC, 0, 0, 0, 0, 0, 0, 0}},
                                         ConnectionLine{"1 zz 2 3 1 1", {0xFC, 0, 0, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 g 3 1 1", {0xFC, 2, 0, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 a 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 0x4 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 y 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 1 y", {0xFD, 2, 3, 4, 1, 0, 0, 0}}));
// What does not fit is the nearest that does, and the line ends there.
INSTANTIATE_TEST_SUITE_P(TooBig, MrfiConnectionLine,
                         testing::Values(ConnectionLine{"1ffffffff 1 2 3 1 1", {0xFC, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
                                         ConnectionLine{"1 80000000 2 3 1 1", {0xFC, 0xFF, 0, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 7fffff12 2 3 1 1", {0xFF, 0x12, 2, 3, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 -90000012 3 1 1", {0xFC, 2, 0x00, 0, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 2147483648 1 1", {0xFC, 2, 3, 0xFF, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 -2147483653 1 1", {0xFC, 2, 3, 0x00, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 99999999998 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                                         ConnectionLine{"1 2 3 4 0 99999999998", {0xFE, 2, 3, 4, 1, 0, 0, 0}}));

struct DeviceLine {
    const char* line;
    Bytes address;
    std::uint32_t value1;
    std::uint32_t value2;
    const char* name;
};

class MrfiDeviceLine : public MrfiTest, public testing::WithParamInterface<DeviceLine> {};

TEST_P(MrfiDeviceLine, IsReadAsFarAsItGoes) {
    put(file("devices"), std::string(GetParam().line) + "\n");
    const Context context(mrfi_.device_list_open());
    mrfi_device_t device;
    std::memset(&device, 0xA5, sizeof device);
    EXPECT_TRUE(mrfi_.device_list_read(*context, device));
    EXPECT_THAT(bytes(device.address), ElementsAreArray(GetParam().address));
    EXPECT_EQ(device.value1, GetParam().value1);
    EXPECT_EQ(device.value2, GetParam().value2);
    std::string name = GetParam().name;
    name.resize(sizeof device.name, '\0');
    EXPECT_EQ(std::string(device.name, sizeof device.name), name);
}

INSTANTIATE_TEST_SUITE_P(
    Whole, MrfiDeviceLine,
    testing::Values(DeviceLine{"0x12340001 3 7 n/a", {0x01, 0x00, 0x34, 0x12}, 3, 7, ""},
                    DeviceLine{"12340001 4294967295 0 bow more", {0x01, 0x00, 0x34, 0x12}, 4294967295U, 0, "bow"},
                    DeviceLine{"1 10 10 123456789012345", {1, 0, 0, 0}, 10, 10, "123456789012345"},
                    DeviceLine{"1 2 3 1234567890123456", {1, 0, 0, 0}, 2, 3, "123456789012345"},
                    DeviceLine{"1 2 3 abcdefghijklmnopqrst", {1, 0, 0, 0}, 2, 3, "abcdefghijklmno"},
                    DeviceLine{"1 2 3 n/ab", {1, 0, 0, 0}, 2, 3, "n/ab"},
                    DeviceLine{"1 2 3 N/A", {1, 0, 0, 0}, 2, 3, "N/A"}));
INSTANTIATE_TEST_SUITE_P(Short, MrfiDeviceLine,
                         testing::Values(DeviceLine{"abcdef01", {0x01, 0xEF, 0xCD, 0xAB}, 0, 0, ""},
                                         DeviceLine{"1 2", {1, 0, 0, 0}, 2, 0, ""},
                                         DeviceLine{"1 2 3", {1, 0, 0, 0}, 2, 3, ""},
                                         DeviceLine{"1 2 3 ", {1, 0, 0, 0}, 2, 3, ""},
                                         DeviceLine{" ", {0, 0, 0, 0}, 0, 0, ""}));
INSTANTIATE_TEST_SUITE_P(Malformed, MrfiDeviceLine,
                         testing::Values(DeviceLine{"zz 2 3 bow", {0, 0, 0, 0}, 0, 0, ""},
                                         DeviceLine{"1 zz 3 bow", {1, 0, 0, 0}, 0, 0, ""},
                                         DeviceLine{"1 2 zz bow", {1, 0, 0, 0}, 2, 0, ""},
                                         DeviceLine{"1 2 bow", {1, 0, 0, 0}, 2, 0, ""},
                                         DeviceLine{"100000000 2 3 bow", {0xFF, 0xFF, 0xFF, 0xFF}, 0, 0, ""},
                                         DeviceLine{"1 4294967296 3 bow", {1, 0, 0, 0}, 4294967295U, 0, ""},
                                         DeviceLine{"1 2 4294967296 bow", {1, 0, 0, 0}, 2, 4294967295U, ""}));

TEST_F(MrfiTest, EndOfAListLeavesTheRecordAlone) {
    put(file("connections"), "1\n");
    put(file("devices"), "1\n");
    const Context connections(mrfi_.connection_list_open());
    const Context devices(mrfi_.device_list_open());
    mrfi_connection_t connection = {};
    mrfi_device_t device = {};
    EXPECT_TRUE(mrfi_.connection_list_read(*connections, connection));
    EXPECT_TRUE(mrfi_.device_list_read(*devices, device));
    std::memset(&connection, 0xA5, sizeof connection);
    std::memset(&device, 0xA5, sizeof device);
    const std::array<char, sizeof device> untouched = std::bit_cast<std::array<char, sizeof device>>(device);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(mrfi_.connection_list_read(*connections, connection));
        EXPECT_FALSE(mrfi_.device_list_read(*devices, device));
    }
    EXPECT_THAT(bytes(connection), ElementsAreArray(Bytes(8, 0xA5)));
    EXPECT_EQ(std::memcmp(&device, untouched.data(), sizeof device), 0);
}

TEST_F(MrfiTest, MissingListsAreEmpty) {
    const Context connections(mrfi_.connection_list_open());
    const Context devices(mrfi_.device_list_open());
    mrfi_connection_t connection = {};
    mrfi_device_t device = {};
    EXPECT_FALSE(mrfi_.connection_list_read(*connections, connection));
    EXPECT_FALSE(mrfi_.device_list_read(*devices, device));
}

TEST_F(MrfiTest, EmptyLineEndsTheConnections) {
    put(file("connections"), "1\n\n3\n4\n");
    const Context context(mrfi_.connection_list_open());
    mrfi_connection_t connection = {};
    EXPECT_TRUE(mrfi_.connection_list_read(*context, connection));
    EXPECT_EQ(connection.address.byte[0], 1);
    EXPECT_FALSE(mrfi_.connection_list_read(*context, connection));
}

TEST_F(MrfiTest, ListsAreTheOnesOfTheirFiles) {
    put(file("connections"), "1 2 3 4 0 0\n");
    put(file("devices"), "5 6 7 eight\n");
    const Context connections(mrfi_.connection_list_open());
    const Context devices(mrfi_.device_list_open());
    mrfi_connection_t connection = {};
    mrfi_device_t device = {};
    EXPECT_TRUE(mrfi_.connection_list_read(*connections, connection));
    EXPECT_TRUE(mrfi_.device_list_read(*devices, device));
    EXPECT_EQ(connection.address.byte[0], 1);
    EXPECT_EQ(device.address.byte[0], 5);
    EXPECT_EQ(connections->owner(), &mrfi_);
    EXPECT_EQ(devices->owner(), &mrfi_);
}

TEST_F(MrfiTest, LongListIsReadCompletely) {
    std::string text;
    for (int i = 0; i < 100000; ++i) text += "1 " + std::to_string(i) + " 7 n/a\n";
    put(file("devices"), text);
    const Context context(mrfi_.device_list_open());
    mrfi_device_t device = {};
    std::uint32_t count = 0;
    while (mrfi_.device_list_read(*context, device)) EXPECT_EQ(device.value1, count++);
    EXPECT_EQ(count, 100000U);
}

TEST_F(MrfiTest, GlobalLocaleChangesNothing) {
    const testing_support::GroupingLocale grouping;
    put(file("rssi"), "1234,567\n");
    EXPECT_EQ(mrfi_.rssi_get(), 1234);
    put(file("address"), "0x1a2b3c4d\n");
    EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x4D, 0x3C, 0x2B, 0x1A));
    mrfi_.link(address(0x4D, 0x3C, 0x2B, 0x1A));
    EXPECT_EQ(content(file("link")), "0x1a2b3c4d");

    put(file("connections"), "0x12340001 1f,f 2 3 1 1\n");
    put(file("devices"), "1 1,234 7 bow\n");
    const Context connections(mrfi_.connection_list_open());
    const Context devices(mrfi_.device_list_open());
    mrfi_connection_t connection = {};
    EXPECT_TRUE(mrfi_.connection_list_read(*connections, connection));
    EXPECT_THAT(bytes(connection), ElementsAre(0, 0x1F, 0, 0, 0x01, 0x00, 0x34, 0x12));
    mrfi_device_t device = {};
    EXPECT_TRUE(mrfi_.device_list_read(*devices, device));
    EXPECT_EQ(device.value1, 1U);
    EXPECT_EQ(device.value2, 0U);
}

TEST_F(MrfiTest, CloseDestroysTheContext) {
    struct Counting : mrfi_enum_ctx {
        Counting(const std::string& path, MRFI* owner, int& count) : mrfi_enum_ctx(path, owner), destroyed(count) {}
        Counting(const Counting&) = delete;
        Counting& operator=(const Counting&) = delete;
        ~Counting() override { ++destroyed; }
        int& destroyed;
    };
    int destroyed = 0;
    mrfi_.list_close(new Counting(file("devices"), &mrfi_, destroyed));
    EXPECT_EQ(destroyed, 1);
}

// ---- As the board reaches it

TEST_F(MrfiTest, BoardSelectsTheInterfaceByItsIndex) {
    Board board;
    MRFI second(file("second"));
    board.add(Velmor::Resource::type{22}, &mrfi_);
    board.add(Velmor::Resource::type{23}, &second);
    put(file("rssi"), "1");
    put(file("second") + "/rssi", "2");
    EXPECT_EQ(board.mrfi_rssi_get(0), 1);
    EXPECT_EQ(board.mrfi_rssi_get(1), 2);
    put(file("second") + "/connections", "5\n");
    const Context context(board.mrfi_connection_list_open(1));
    mrfi_connection_t connection = {};
    EXPECT_TRUE(board.mrfi_connection_list_read(context.get(), &connection));
    EXPECT_EQ(connection.address.byte[0], 5);
}

TEST(MrfiBoard, UnregisteredIsNotSupported) {
    constexpr char not_supported[] = "system_error 95 Operation not supported";
    Board board;
    const mrfi_addr_t peer = {};
    EXPECT_EQ(thrown([&] { board.mrfi_rssi_get(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_type_get(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_address_get(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_autolink_set(0, true); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_autolink_get(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_link(0, &peer); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_unlink(0, &peer); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_connection_list_open(0); }), not_supported);
    EXPECT_EQ(thrown([&] { board.mrfi_device_list_open(0); }), not_supported);
}

TEST_F(MrfiTest, ContextWithoutOwnerIsNotValid) {
    constexpr char not_valid[] = "invalid_argument enumeration context not valid";
    put(file("connections"), "1\n");
    Board board;
    mrfi_enum_ctx orphan(file("connections"), nullptr);
    mrfi_connection_t connection = {};
    mrfi_device_t device = {};
    EXPECT_EQ(thrown([&] { board.mrfi_connection_list_read(&orphan, &connection); }), not_valid);
    EXPECT_EQ(thrown([&] { board.mrfi_device_list_read(&orphan, &device); }), not_valid);
    std::string line;
    EXPECT_TRUE(orphan.next(line)) << "a refused read has taken the line";
}

TEST_F(MrfiTest, NullPointersAreInvalidAndReadNothing) {
    put(file("connections"), "1\n");
    put(file("devices"), "1\n");
    const Context connections(mrfi_.connection_list_open());
    const Context devices(mrfi_.device_list_open());
    mrfi_connection_t connection = {};
    mrfi_device_t device = {};
    const mrfi_addr_t peer = {};
    std::uint32_t device_class = 0;
    const std::vector<std::function<int()>> calls = {
        [] { return mrfi_rssi_get(0, nullptr); },
        [] { return mrfi_type_get(0, nullptr); },
        [] { return mrfi_address_get(0, nullptr); },
        [] { return mrfi_autolink_get(0, nullptr); },
        [] { return mrfi_link(0, nullptr); },
        [] { return mrfi_unlink(0, nullptr); },
        [] { return mrfi_connection_list_open(0, nullptr); },
        [] { return mrfi_connection_list_close(nullptr); },
        [] { return mrfi_device_list_open(0, nullptr); },
        [] { return mrfi_device_list_close(nullptr); },
        [&] { return mrfi_connection_list_read(connections.get(), nullptr); },
        [&] { return mrfi_connection_list_read(nullptr, &connection); },
        [] { return mrfi_connection_list_read(nullptr, nullptr); },
        [&] { return mrfi_device_list_read(devices.get(), nullptr); },
        [&] { return mrfi_device_list_read(nullptr, &device); },
        [] { return mrfi_device_list_read(nullptr, nullptr); },
        [&] { return mrfi_class_get(nullptr, &device_class); },
        [&] { return mrfi_class_get(&peer, nullptr); },
        [] { return mrfi_class_get(nullptr, nullptr); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        errno = 0;
        EXPECT_EQ(calls[i](), -22) << i;
        EXPECT_EQ(errno, 22) << i;
    }
    EXPECT_TRUE(mrfi_.connection_list_read(*connections, connection)) << "a refused read has taken the line";
    EXPECT_TRUE(mrfi_.device_list_read(*devices, device)) << "a refused read has taken the line";
}

}  // namespace
