// SPDX-License-Identifier: MIT
#include "mrfi/mrfi.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "mrfi/mrfi_enum_ctx.h"
#include "support/files_test.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using Velmor::MRFI;
using namespace testing_support;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr mrfi_addr_t address(std::uint8_t b0, std::uint8_t b1, std::uint8_t b2, std::uint8_t b3) {
    return {{b0, b1, b2, b3}};
}

template <typename Record>
Bytes bytes(const Record& of) {
    Bytes result(sizeof of);
    std::memcpy(result.data(), &of, sizeof of);
    return result;
}

using Context = std::unique_ptr<mrfi_enum_ctx>;

class MrfiTest : public FilesTest {
protected:
    std::string file(const std::string& name) const { return directory_ / name; }

    MRFI mrfi_{directory_.path()};
};

/** The first entries of both lists, and what is behind them. */
class MrfiLists : public MrfiTest {
protected:
    /** Opens the lists of these files. */
    void open(const std::string& connections, const std::string& devices) {
        put(file("connections"), connections);
        put(file("devices"), devices);
        connections_.reset(mrfi_.connection_list_open());
        devices_.reset(mrfi_.device_list_open());
    }

    bool read_connection() { return mrfi_.connection_list_read(*connections_, connection_); }
    bool read_device() { return mrfi_.device_list_read(*devices_, device_); }

    Context connections_{mrfi_.connection_list_open()};
    Context devices_{mrfi_.device_list_open()};
    mrfi_connection_t connection_ = {};
    mrfi_device_t device_ = {};
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
        remove(file(name));
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
    const ChildResult child = run_in_child(recorder(), [this] {
        mrfi_.link(address(1, 0, 0, 0));
        return std::to_string(mrfi_.rssi_get());
    });
    EXPECT_EQ(child.output, "5");
    EXPECT_EQ(child.acts, in_order({write_acts(file("link"), "0x1"), read_to_end_acts(file("rssi"))}));
}

// ---- Lists

struct ConnectionLine {
    const char* line;
    Bytes bytes;  // of a record that held 0xFF everywhere
};

class MrfiConnectionLine : public MrfiLists, public testing::WithParamInterface<ConnectionLine> {};

TEST_P(MrfiConnectionLine, IsReadAsFarAsItGoes) {
    open(std::string(GetParam().line) + "\n", "");
    std::memset(&connection_, 0xFF, sizeof connection_);
    EXPECT_TRUE(read_connection());
    EXPECT_THAT(bytes(connection_), ElementsAreArray(GetParam().bytes)) << GetParam().line;
}

// Flags stand in the lowest bits of byte 0, the six others are the caller's.
INSTANTIATE_TEST_SUITE_P(Whole, MrfiConnectionLine,
                         testing::ValuesIn(std::vector<ConnectionLine>{
                             {"0x12340001 1f 2 -60 1 0", {0xFD, 0x1F, 0x02, 0xC4, 0x01, 0x00, 0x34, 0x12}},
                             {"12340001 0x1f 0x2 60 0 1", {0xFE, 0x1F, 0x02, 0x3C, 0x01, 0x00, 0x34, 0x12}},
                             {"ABCDEF01\t10  10 10 3 2 more", {0xFD, 0x10, 0x10, 0x0A, 0x01, 0xEF, 0xCD, 0xAB}},
                             {"  1 1ff -1 256 -1 -2", {0xFD, 0xFF, 0xFF, 0x00, 0x01, 0, 0, 0}}}));
INSTANTIATE_TEST_SUITE_P(Short, MrfiConnectionLine,
                         testing::ValuesIn(std::vector<ConnectionLine>{
                             {"0x12345678", {0xFC, 0, 0, 0, 0x78, 0x56, 0x34, 0x12}},
                             {"0x12345678 1f", {0xFC, 0x1F, 0, 0, 0x78, 0x56, 0x34, 0x12}},
                             {"1 2 3", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                             {"1 2 3 4", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 1 ", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                             {" ", {0xFC, 0, 0, 0, 0, 0, 0, 0}}}));
// The numbers are chosen so that another base gives another record.
INSTANTIATE_TEST_SUITE_P(Bases, MrfiConnectionLine,
                         testing::ValuesIn(std::vector<ConnectionLine>{
                             {"10 21 32 43 9 9", {0xFF, 0x21, 0x32, 0x2B, 0x10, 0, 0, 0}},
                             {"1 2 3 4 0x1 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 2b 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 1 0x1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 1 2b", {0xFD, 2, 3, 4, 1, 0, 0, 0}}}));
INSTANTIATE_TEST_SUITE_P(Malformed, MrfiConnectionLine,
                         testing::ValuesIn(std::vector<ConnectionLine>{{"zz 1f 2 -60 1 1", {0xFC, 0, 0, 0, 0, 0, 0, 0}},
                                                                       {"1 zz 2 3 1 1", {0xFC, 0, 0, 0, 1, 0, 0, 0}},
                                                                       {"1 2 g 3 1 1", {0xFC, 2, 0, 0, 1, 0, 0, 0}},
                                                                       {"1 2 3 a 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                                                                       {"1 2 3 0x4 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
                                                                       {"1 2 3 4 y 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
                                                                       {"1 2 3 4 1 y", {0xFD, 2, 3, 4, 1, 0, 0, 0}}}));
// What does not fit is the nearest that does, and the line ends there.
INSTANTIATE_TEST_SUITE_P(TooBig, MrfiConnectionLine,
                         testing::ValuesIn(std::vector<ConnectionLine>{
                             {"1ffffffff 1 2 3 1 1", {0xFC, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
                             {"1 80000000 2 3 1 1", {0xFC, 0xFF, 0, 0, 1, 0, 0, 0}},
                             {"1 7fffff12 2 3 1 1", {0xFF, 0x12, 2, 3, 1, 0, 0, 0}},
                             {"1 2 -90000012 3 1 1", {0xFC, 2, 0x00, 0, 1, 0, 0, 0}},
                             {"1 2 3 2147483648 1 1", {0xFC, 2, 3, 0xFF, 1, 0, 0, 0}},
                             {"1 2 3 -2147483653 1 1", {0xFC, 2, 3, 0x00, 1, 0, 0, 0}},
                             {"1 2 3 4 99999999998 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
                             {"1 2 3 4 0 99999999998", {0xFE, 2, 3, 4, 1, 0, 0, 0}}}));

struct DeviceLine {
    const char* line;
    Bytes address;
    std::uint32_t value1 = 0;
    std::uint32_t value2 = 0;
    const char* name = "";
};

class MrfiDeviceLine : public MrfiLists, public testing::WithParamInterface<DeviceLine> {};

TEST_P(MrfiDeviceLine, IsReadAsFarAsItGoes) {
    open("", std::string(GetParam().line) + "\n");
    std::memset(&device_, 0xA5, sizeof device_);
    EXPECT_TRUE(read_device());
    EXPECT_THAT(bytes(device_.address), ElementsAreArray(GetParam().address));
    EXPECT_EQ(device_.value1, GetParam().value1);
    EXPECT_EQ(device_.value2, GetParam().value2);
    std::string name = GetParam().name;
    name.resize(sizeof device_.name, '\0');
    EXPECT_EQ(std::string(device_.name, sizeof device_.name), name);
}

INSTANTIATE_TEST_SUITE_P(
    Whole, MrfiDeviceLine,
    testing::ValuesIn(std::vector<DeviceLine>{
        {.line = "0x12340001 3 7 n/a", .address = {0x01, 0x00, 0x34, 0x12}, .value1 = 3, .value2 = 7},
        {.line = "12340001 4294967295 0 bow more",
         .address = {0x01, 0x00, 0x34, 0x12},
         .value1 = 4294967295U,
         .name = "bow"},
        {.line = "1 10 10 123456789012345",
         .address = {1, 0, 0, 0},
         .value1 = 10,
         .value2 = 10,
         .name = "123456789012345"},
        {.line = "1 2 3 1234567890123456",
         .address = {1, 0, 0, 0},
         .value1 = 2,
         .value2 = 3,
         .name = "123456789012345"},
        {.line = "1 2 3 abcdefghijklmnopqrst",
         .address = {1, 0, 0, 0},
         .value1 = 2,
         .value2 = 3,
         .name = "abcdefghijklmno"},
        {.line = "1 2 3 n/ab", .address = {1, 0, 0, 0}, .value1 = 2, .value2 = 3, .name = "n/ab"},
        {.line = "1 2 3 N/A", .address = {1, 0, 0, 0}, .value1 = 2, .value2 = 3, .name = "N/A"}}));
INSTANTIATE_TEST_SUITE_P(Short, MrfiDeviceLine,
                         testing::ValuesIn(std::vector<DeviceLine>{
                             {.line = "abcdef01", .address = {0x01, 0xEF, 0xCD, 0xAB}},
                             {.line = "1 2", .address = {1, 0, 0, 0}, .value1 = 2},
                             {.line = "1 2 3", .address = {1, 0, 0, 0}, .value1 = 2, .value2 = 3},
                             {.line = "1 2 3 ", .address = {1, 0, 0, 0}, .value1 = 2, .value2 = 3},
                             {.line = " ", .address = {0, 0, 0, 0}}}));
INSTANTIATE_TEST_SUITE_P(
    Malformed, MrfiDeviceLine,
    testing::ValuesIn(std::vector<DeviceLine>{
        {.line = "zz 2 3 bow", .address = {0, 0, 0, 0}},
        {.line = "1 zz 3 bow", .address = {1, 0, 0, 0}},
        {.line = "1 2 zz bow", .address = {1, 0, 0, 0}, .value1 = 2},
        {.line = "1 2 bow", .address = {1, 0, 0, 0}, .value1 = 2},
        {.line = "100000000 2 3 bow", .address = {0xFF, 0xFF, 0xFF, 0xFF}},
        {.line = "1 4294967296 3 bow", .address = {1, 0, 0, 0}, .value1 = 4294967295U},
        {.line = "1 2 4294967296 bow", .address = {1, 0, 0, 0}, .value1 = 2, .value2 = 4294967295U}}));

TEST_F(MrfiLists, EndLeavesTheRecordAlone) {
    open("1\n", "1\n");
    EXPECT_TRUE(read_connection());
    EXPECT_TRUE(read_device());
    std::memset(&connection_, 0xA5, sizeof connection_);
    std::memset(&device_, 0xA5, sizeof device_);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(read_connection());
        EXPECT_FALSE(read_device());
    }
    EXPECT_THAT(bytes(connection_), Each(0xA5));
    EXPECT_THAT(bytes(device_), Each(0xA5));
}

TEST_F(MrfiLists, AreTheOnesOfTheirFiles) {
    open("1 2 3 4 0 0\n", "5 6 7 eight\n");
    EXPECT_TRUE(read_connection());
    EXPECT_TRUE(read_device());
    EXPECT_EQ(connection_.address.byte[0], 1);
    EXPECT_EQ(device_.address.byte[0], 5);
    EXPECT_EQ(connections_->owner(), &mrfi_);
    EXPECT_EQ(devices_->owner(), &mrfi_);
}

TEST_F(MrfiLists, LongListIsReadCompletely) {
    std::string text;
    for (int i = 0; i < 100000; ++i) text += "1 " + std::to_string(i) + " 7 n/a\n";
    open("", text);
    std::uint32_t count = 0;
    while (read_device()) EXPECT_EQ(device_.value1, count++);
    EXPECT_EQ(count, 100000U);
}

TEST_F(MrfiLists, GlobalLocaleChangesNothing) {
    const GroupingLocale grouping;
    put(file("rssi"), "1234,567\n");
    EXPECT_EQ(mrfi_.rssi_get(), 1234);
    put(file("address"), "0x1a2b3c4d\n");
    EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x4D, 0x3C, 0x2B, 0x1A));
    mrfi_.link(address(0x4D, 0x3C, 0x2B, 0x1A));
    EXPECT_EQ(content(file("link")), "0x1a2b3c4d");

    open("0x12340001 1f,f 2 3 1 1\n", "1 1,234 7 bow\n");
    EXPECT_TRUE(read_connection());
    EXPECT_THAT(bytes(connection_), ElementsAre(0, 0x1F, 0, 0, 0x01, 0x00, 0x34, 0x12));
    EXPECT_TRUE(read_device());
    EXPECT_EQ(device_.value1, 1U);
    EXPECT_EQ(device_.value2, 0U);
}

TEST_F(MrfiLists, ReadIntoNoRecordIsInvalidAndTakesNoLine) {
    open("1\n", "1\n");
    errno = 0;
    EXPECT_EQ(mrfi_connection_list_read(connections_.get(), nullptr), -EINVAL);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(mrfi_device_list_read(devices_.get(), nullptr), -EINVAL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(read_connection());
    EXPECT_TRUE(read_device());
}

}  // namespace
