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

template <typename Record>
Bytes bytes(const Record& of) {
    Bytes result(sizeof of);
    std::memcpy(result.data(), &of, sizeof of);
    return result;
}

class MrfiTest : public FilesTest {
protected:
    std::string file(const std::string& name) const { return directory_ / name; }

    MRFI mrfi_{directory_.path()};
};

/** The two lists, and the records that their entries are read into. */
class MrfiLists : public MrfiTest {
protected:
    /** Opens lists of these texts. */
    void open(const std::string& connections, const std::string& devices) {
        put(file("connections"), connections);
        put(file("devices"), devices);
        connections_.reset(mrfi_.connection_list_open());
        devices_.reset(mrfi_.device_list_open());
    }

    bool read_connection() { return mrfi_.connection_list_read(*connections_, connection_); }
    bool read_device() { return mrfi_.device_list_read(*devices_, device_); }

    std::unique_ptr<mrfi_enum_ctx> connections_{mrfi_.connection_list_open()};
    std::unique_ptr<mrfi_enum_ctx> devices_{mrfi_.device_list_open()};
    mrfi_connection_t connection_ = {};
    mrfi_device_t device_ = {};
};

TEST(MrfiClass, IsTheUpperHalfOfTheAddress) {
    EXPECT_EQ(MRFI::class_get({{0x78, 0x56, 0x34, 0x12}}), 0x1234U);
    EXPECT_EQ(MRFI::class_get({{0xFF, 0xFF, 0, 0}}), 0U);
    EXPECT_EQ(MRFI::class_get({{0, 0, 0xFF, 0xFF}}), 0xFFFFU);
}

TEST_F(MrfiTest, RssiAndTypeAreSignedAndTheAddressIsHexadecimal) {
    put(file("rssi"), "-60\n");
    put(file("type"), "-2147483648\n");
    EXPECT_EQ(mrfi_.rssi_get(), -60);
    EXPECT_EQ(mrfi_.type_get(), INT_MIN);
    put(file("rssi"), " 12 dBm\n");
    put(file("type"), "2147483647\n");
    EXPECT_EQ(mrfi_.rssi_get(), 12);
    EXPECT_EQ(mrfi_.type_get(), INT_MAX);
    for (const char* text : {"0x1a2b3c4d\n", "1a2b3c4d\n", "0X1A2B3C4D", " 1A2B3C4D "}) {
        put(file("address"), text);
        EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x4D, 0x3C, 0x2B, 0x1A)) << text;
    }
    put(file("address"), "10");
    EXPECT_THAT(bytes(mrfi_.address_get()), ElementsAre(0x10, 0, 0, 0));
}

TEST_F(MrfiTest, AutolinkIsZeroOrOne) {
    put(file("autolink"), "");
    mrfi_.autolink_set(true);
    EXPECT_EQ(content(file("autolink")), "1");
    mrfi_.autolink_set(false);
    EXPECT_EQ(content(file("autolink")), "0");
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
    mrfi_.link({{0x01, 0x00, 0xAB, 0x00}});
    EXPECT_EQ(content(file("link")), "0xab0001");
    EXPECT_EQ(content(file("unlink")), "old text");
    mrfi_.unlink({{0x4D, 0x3C, 0x2B, 0x1A}});
    EXPECT_EQ(content(file("unlink")), "0x1a2b3c4d");
    mrfi_.link({{0xFF, 0xFF, 0xFF, 0xFF}});
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
        EXPECT_EQ(thrown([&] { mrfi.link({{1, 2, 3, 4}}); }), "stream failure");
        EXPECT_EQ(thrown([&] { mrfi.unlink({{1, 2, 3, 4}}); }), "stream failure");
    };
    expect_failures(MRFI(file("none")));
    // Like a driver, this device refuses a value when it is written.
    for (const char* name : {"autolink", "link", "unlink"}) std::filesystem::create_symlink("/dev/full", file(name));
    expect_failures(mrfi_);
}

TEST_F(MrfiTest, OperationIsOneAccess) {
    VELMOR_NEEDS_RECORDER();
    put(file("rssi"), "5");
    put(file("link"), "");
    expect_acts([this] { mrfi_.link({{1, 0, 0, 0}}); }, write_acts(file("link"), "0x1"));
    expect_acts([this] { return mrfi_.rssi_get(); }, read_to_end_acts(file("rssi")), "5");
}

// ---- Lists ---------------------------------------------------------------------------------------------------------

TEST_F(MrfiLists, ConnectionIsReadUpToTheFirstFieldThatIsNoNumber) {
    const struct {
        const char* line;
        Bytes bytes;  // of a record that was 0xFF before; the flags are the two lowest bits, the others stay
    } rows[] = {
        {"0x12340001 1f 2 -60 1 0", {0xFD, 0x1F, 0x02, 0xC4, 0x01, 0x00, 0x34, 0x12}},
        {"12340001 0x1f 0x2 60 0 1", {0xFE, 0x1F, 0x02, 0x3C, 0x01, 0x00, 0x34, 0x12}},
        {"ABCDEF01\t10  10 10 3 2 more", {0xFD, 0x10, 0x10, 0x0A, 0x01, 0xEF, 0xCD, 0xAB}},
        {"  1 1ff -1 256 -1 -2", {0xFD, 0xFF, 0xFF, 0x00, 0x01, 0, 0, 0}},
        // Too short.
        {"0x12345678", {0xFC, 0, 0, 0, 0x78, 0x56, 0x34, 0x12}},
        {"0x12345678 1f", {0xFC, 0x1F, 0, 0, 0x78, 0x56, 0x34, 0x12}},
        {"1 2 3", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
        {"1 2 3 4", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 1 ", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        {" ", {0xFC, 0, 0, 0, 0, 0, 0, 0}},
        // Numbers that are others in another base.
        {"10 21 32 43 9 9", {0xFF, 0x21, 0x32, 0x2B, 0x10, 0, 0, 0}},
        {"1 2 3 4 0x1 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 2b 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 1 0x1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 1 2b", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        // Not a number.
        {"zz 1f 2 -60 1 1", {0xFC, 0, 0, 0, 0, 0, 0, 0}},
        {"1 zz 2 3 1 1", {0xFC, 0, 0, 0, 1, 0, 0, 0}},
        {"1 2 g 3 1 1", {0xFC, 2, 0, 0, 1, 0, 0, 0}},
        {"1 2 3 a 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
        {"1 2 3 0x4 1 1", {0xFC, 2, 3, 0, 1, 0, 0, 0}},
        {"1 2 3 4 y 1", {0xFC, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 1 y", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        // A number out of range is the nearest in range, and the line ends there.
        {"1ffffffff 1 2 3 1 1", {0xFC, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"1 80000000 2 3 1 1", {0xFC, 0xFF, 0, 0, 1, 0, 0, 0}},
        {"1 7fffff12 2 3 1 1", {0xFF, 0x12, 2, 3, 1, 0, 0, 0}},
        {"1 2 -90000012 3 1 1", {0xFC, 2, 0x00, 0, 1, 0, 0, 0}},
        {"1 2 3 2147483648 1 1", {0xFC, 2, 3, 0xFF, 1, 0, 0, 0}},
        {"1 2 3 -2147483653 1 1", {0xFC, 2, 3, 0x00, 1, 0, 0, 0}},
        {"1 2 3 4 99999999998 1", {0xFD, 2, 3, 4, 1, 0, 0, 0}},
        {"1 2 3 4 0 99999999998", {0xFE, 2, 3, 4, 1, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        open(std::string(row.line) + "\n", "");
        std::memset(&connection_, 0xFF, sizeof connection_);
        EXPECT_TRUE(read_connection());
        EXPECT_THAT(bytes(connection_), ElementsAreArray(row.bytes)) << row.line;
    }
}

TEST_F(MrfiLists, DeviceIsReadUpToTheFirstFieldThatIsNoNumber) {
    const struct {
        const char* line;
        Bytes address;
        std::uint32_t value1 = 0;
        std::uint32_t value2 = 0;
        std::string name = {};
    } rows[] = {
        {"0x12340001 3 7 n/a", {0x01, 0x00, 0x34, 0x12}, 3, 7},
        {"12340001 4294967295 0 bow more", {0x01, 0x00, 0x34, 0x12}, 4294967295U, 0, "bow"},
        {"1 10 10 123456789012345", {1, 0, 0, 0}, 10, 10, "123456789012345"},
        {"1 2 3 1234567890123456", {1, 0, 0, 0}, 2, 3, "123456789012345"},
        {"1 2 3 abcdefghijklmnopqrst", {1, 0, 0, 0}, 2, 3, "abcdefghijklmno"},
        {"1 2 3 n/ab", {1, 0, 0, 0}, 2, 3, "n/ab"},
        {"1 2 3 N/A", {1, 0, 0, 0}, 2, 3, "N/A"},
        // Too short.
        {"abcdef01", {0x01, 0xEF, 0xCD, 0xAB}},
        {"1 2", {1, 0, 0, 0}, 2},
        {"1 2 3", {1, 0, 0, 0}, 2, 3},
        {"1 2 3 ", {1, 0, 0, 0}, 2, 3},
        {" ", {0, 0, 0, 0}},
        // Not a number, or out of range.
        {"zz 2 3 bow", {0, 0, 0, 0}},
        {"1 zz 3 bow", {1, 0, 0, 0}},
        {"1 2 zz bow", {1, 0, 0, 0}, 2},
        {"1 2 bow", {1, 0, 0, 0}, 2},
        {"100000000 2 3 bow", {0xFF, 0xFF, 0xFF, 0xFF}},
        {"1 4294967296 3 bow", {1, 0, 0, 0}, 4294967295U},
        {"1 2 4294967296 bow", {1, 0, 0, 0}, 2, 4294967295U},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        open("", std::string(row.line) + "\n");
        std::memset(&device_, 0xA5, sizeof device_);
        EXPECT_TRUE(read_device());
        EXPECT_THAT(bytes(device_.address), ElementsAreArray(row.address));
        EXPECT_EQ(device_.value1, row.value1);
        EXPECT_EQ(device_.value2, row.value2);
        std::string name = row.name;
        name.resize(sizeof device_.name, '\0');
        EXPECT_EQ(std::string(device_.name, sizeof device_.name), name);
    }
}

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

TEST_F(MrfiLists, AreReadFromTheirOwnFiles) {
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
    mrfi_.link({{0x4D, 0x3C, 0x2B, 0x1A}});
    EXPECT_EQ(content(file("link")), "0x1a2b3c4d");

    open("0x12340001 1f,f 2 3 1 1\n", "1 1,234 7 bow\n");
    EXPECT_TRUE(read_connection());
    EXPECT_THAT(bytes(connection_), ElementsAre(0, 0x1F, 0, 0, 0x01, 0x00, 0x34, 0x12));
    EXPECT_TRUE(read_device());
    EXPECT_EQ(device_.value1, 1U);
    EXPECT_EQ(device_.value2, 0U);
}

TEST_F(MrfiLists, ReadingWithoutARecordIsInvalidAndTakesNoLine) {
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
