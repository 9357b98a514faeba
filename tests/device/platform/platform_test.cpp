// SPDX-License-Identifier: MIT
#include "platform/platform.h"

#include <gmock/gmock.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/device.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using Velmor::Platform;
using namespace testing_support;

namespace {

using Bytes = std::array<std::uint8_t, 96>;

const std::string missing_field = system_error(EOPNOTSUPP);

std::string record(const std::string& key) {
    return "/proc/platform/" + key;
}

/** Every file that a query of the record reads, in order. */
std::vector<std::string> files_of_info() {
    std::vector<std::string> files;
    for (const std::string software : {"boot_", "splash_", "os_"}) {
        for (const char* key : {"date_day", "date_month", "date_year", "version_major", "version_minor",
                                "version_revision", "version_status", "version_build", "version_development"})
            files.push_back(record(software + key));
    }
    for (const char* file : {"/etc/fs_version", "/proc/platform/serial_number", "/proc/platform/compatibility_version"})
        files.emplace_back(file);
    return files;
}

using Table = std::map<int, unsigned>;

/** Put a hardware table with these bytes, and 0 elsewhere. */
void put_table(int version, const Table& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "0x";
    for (int i = 0; i < 64; ++i) {
        const unsigned byte = bytes.contains(i) ? bytes.at(i) : 0;
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    put(record("pht_version"), std::to_string(version) + "\n");
    put(record("pht"), text + "\n");
}

Platform platform_with(int version, const Table& bytes) {
    put_table(version, bytes);
    return Platform();
}

/** What a byte of the record is before a query. */
constexpr std::uint8_t keep = 0xA5;

platform_info_t unwritten() {
    Bytes bytes;
    bytes.fill(keep);
    return std::bit_cast<platform_info_t>(bytes);
}

platform_info_t info() {
    platform_info_t result = unwritten();
    Platform().info_get(&result, sizeof result);
    return result;
}

/** What a query of the record throws. */
std::string info_failure() {
    return thrown([] { info(); });
}

/** What the constructor throws. */
std::string construction_failure() {
    return thrown([] { Platform(); });
}

class PlatformTest : public DeviceTest {};

// ---- The record ------------------------------------------------------------------------------------------------

class PlatformRecord : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        // Where two fields of the device's own record are alike.
        put(record("os_version_development"), "6\n");
        put(record("boot_version_development"), "9\n");
        put(record("splash_date_year"), "2023\n");
        put(record("compatibility_version"), "16909060\n");
        // Nothing reads these any more.
        put(record("low_featuremask"), "1\n");
        put(record("high_featuremask"), "2\n");
    }
};

TEST_F(PlatformRecord, IsFilledByteByByte) {
    constexpr Bytes expected = {
        3,    4,    5,    'A',  42,   6,    5,    6,     // 0: version and date of the operating system
        0xEA, 0x07, keep, keep,                          // 8: its year, 2026
        0,    0,    0,    0,    0,    0,    0,    0,     // 12: feature masks
        4,    3,    2,    1,                             // 20: compatibility version 0x01020304
        'A',  'B',  '1',  '2',  'C',  '0',  'F',  'F',   // 24: serial number
        'E',  'E',  0,    keep, keep, keep, keep, keep,  // 32
        keep, keep, keep, keep, keep, keep, keep, keep,  // 40
        keep, keep, keep, keep, keep, keep, keep, keep,  // 48
        keep, keep, keep, keep, keep, keep,              // 56
        2,                                               // 62: kind of the boot loader's block
        1,    2,    3,    'R',  40,   9,    3,    4,     // 63: version and date of the boot loader
        keep,                                            // 71
        0xE8, 0x07,                                      // 72: its year, 2024
        2,    1,    3,    'R',  17,   1,    24,   12,    // 74: version and date of the root file system
        0xE9, 0x07,                                      // 82: its year, 2025
        2,    3,    4,    'B',  41,   1,    4,    5,     // 84: version and date of the boot splash
        0xE7, 0x07,                                      // 92: its year, 2023
        keep, keep,                                      // 94
    };
    EXPECT_THAT(std::bit_cast<Bytes>(info()), ElementsAreArray(expected));
}

TEST_F(PlatformRecord, SizeIsIgnored) {
    const auto bytes = std::bit_cast<Bytes>(info());
    platform_info_t result = unwritten();
    Platform().info_get(&result, 0);
    EXPECT_THAT(std::bit_cast<Bytes>(result), ElementsAreArray(bytes));
}

TEST_F(PlatformRecord, FilesAreReadInOrder) {
    VELMOR_NEEDS_RECORDER();
    Acts acts = in_order({read_acts(record("pht_version")), read_acts(record("pht"))});
    for (const std::string& file : files_of_info()) acts = in_order({acts, read_acts(file)});
    expect_acts([] { info(); }, acts);
}

TEST_F(PlatformRecord, EveryQueryReadsTheFilesAgain) {
    Platform platform;
    platform_info_t result = {};
    platform.info_get(&result, sizeof result);
    put(record("boot_version_major"), "77\n");
    put(record("serial_number"), "NEW\n");
    put("/etc/fs_version", "9.8.7c6 1/2/2003\n");
    platform.info_get(&result, sizeof result);
    EXPECT_EQ(result.boot_version_major, 77);
    EXPECT_STREQ(result.serial_number, "NEW");
    EXPECT_EQ(result.fs_version_major, 9);
}

TEST_F(PlatformRecord, NumbersAreCutToTheirFields) {
    put(record("os_version_major"), "259\n");
    put(record("os_date_day"), "-1\n");
    put(record("boot_date_year"), "67560\n");  // 2024 more than 65536
    put(record("splash_date_year"), "-2\n");
    put(record("splash_version_build"), "2147483647\n");
    put(record("compatibility_version"), "4294967295\n");
    const platform_info_t result = info();
    EXPECT_EQ(result.os_version_major, 3);
    EXPECT_EQ(result.os_date_day, 255);
    EXPECT_EQ(result.boot_date_year, 2024);
    EXPECT_EQ(result.splash_date_year, 65534);
    EXPECT_EQ(result.splash_version_build, 255);
    EXPECT_EQ(result.compatibility_version, 4294967295U);
}

TEST_F(PlatformRecord, StatusIsTheFirstCharacterThatIsNotBlank) {
    put(record("os_version_status"), " \n xyz\n");
    put(record("boot_version_status"), "0\n");
    EXPECT_EQ(info().os_version_status, 'x');
    EXPECT_EQ(info().boot_version_status, '0');
}

TEST_F(PlatformRecord, PartsAreReadByOperationsThatCanBeOverridden) {
    struct Noting : Platform {
        void boot_info_read(platform_info_t& /*info*/) override { calls += "boot "; }
        void splash_info_read(platform_info_t& /*info*/) override { calls += "splash "; }
        void os_info_read(platform_info_t& /*info*/) override { calls += "os "; }
        void fs_info_read(platform_info_t& info) override {
            calls += "fs ";
            Platform::fs_info_read(info);
        }
        void fs_version_parse(platform_info_t& /*info*/, const std::string& text) override { calls += text + " "; }
        void fs_date_parse(platform_info_t& /*info*/, const std::string& text) override { calls += text; }
        std::string calls;
    };
    Noting platform;
    platform_info_t result = {};
    platform.info_get(&result, sizeof result);
    EXPECT_EQ(platform.calls, "boot splash os fs 2.1.3R17D 24/12/2025");
}

TEST_F(PlatformRecord, QueriesMayOverlap) {
    Platform platform;
    std::array<platform_info_t, 2> results = {unwritten(), unwritten()};
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (platform_info_t& result : results) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10; ++i) platform.info_get(&result, sizeof result);
        });
    }
    for (std::thread& thread : threads) thread.join();
    const auto expected = std::bit_cast<Bytes>(info());
    for (const platform_info_t& result : results) EXPECT_THAT(std::bit_cast<Bytes>(result), ElementsAreArray(expected));
}

TEST_F(PlatformRecord, GlobalLocaleChangesNothing) {
    const GroupingLocale grouping;
    put(record("os_date_year"), "2,026\n");
    put("/etc/fs_version", "2,1.1.3R17D 24/12/2,025\n");
    const platform_info_t result = info();
    EXPECT_EQ(result.os_date_year, 2);
    EXPECT_EQ(result.fs_version_major, 2);
    EXPECT_EQ(result.fs_date_year, 2);
    EXPECT_EQ(result.compatibility_version, 16909060U);
}

// ---- Files that cannot be read ------------------------------------------------------------------------------------

class PlatformFile : public PlatformTest, public testing::WithParamInterface<std::string> {
protected:
    static bool is(const std::string& name) { return GetParam().ends_with(name); }
};

TEST_P(PlatformFile, MissingOrUnparsableFailsTheQuery) {
    const std::string expected = is("serial_number") ? "nothing" : "stream failure";
    std::vector<std::string> texts = {"", " \n"};
    const bool is_text = is("serial_number") || is("status") || is("fs_version");
    if (!is_text) texts.insert(texts.end(), {"x1\n", "-\n", "99999999999\n"});
    for (const std::string& text : texts) {
        put(GetParam(), text);
        EXPECT_EQ(info_failure(), expected) << "\"" << text << "\"";
    }
    remove(GetParam());
    EXPECT_EQ(info_failure(), expected) << "missing";
    put_directory(GetParam());
    EXPECT_EQ(info_failure(), expected) << "directory";
}

INSTANTIATE_TEST_SUITE_P(Each, PlatformFile, testing::ValuesIn(files_of_info()), [](const auto& instance) {
    return std::filesystem::path(instance.param).filename().string();
});

TEST_F(PlatformTest, FailureKeepsWhatWasReadBeforeIt) {
    remove(record("splash_version_major"));
    platform_info_t result = unwritten();
    Platform platform;
    EXPECT_EQ(thrown([&] { platform.info_get(&result, sizeof result); }), "stream failure");
    EXPECT_EQ(result.boot_version_development, 0);
    EXPECT_EQ(result.splash_date_year, 2025);
    EXPECT_EQ(result.splash_version_major, keep);
    EXPECT_EQ(result.os_date_day, keep);
    EXPECT_EQ(result.boot_info_kind, keep);
}

TEST_F(PlatformTest, FileSystemVersionNeedsBothWords) {
    put("/etc/fs_version", "2.1.3R17D\n");
    EXPECT_EQ(info_failure(), "stream failure");
}

TEST_F(PlatformTest, SerialNumberIsTheFirstWordCutTo31Characters) {
    put(record("serial_number"), " 123 456\n");
    EXPECT_STREQ(info().serial_number, "123");
    const std::string digits = "1234567890123456789012345678901";
    for (const char* more : {"", "2", "2345678901234567890"}) {
        put(record("serial_number"), digits + more + "\n");
        EXPECT_STREQ(info().serial_number, digits.c_str());
    }
}

TEST_F(PlatformTest, SerialNumberThatIsMissingIsEmpty) {
    remove(record("serial_number"));
    const platform_info_t result = info();
    EXPECT_STREQ(result.serial_number, "");
    EXPECT_EQ(result.os_version_major, 3);
    EXPECT_EQ(result.fs_version_major, 2);
    EXPECT_EQ(result.boot_info_kind, 2);
    EXPECT_EQ(result.compatibility_version, 7U);
}

TEST_F(PlatformTest, SerialNumberWhoseReadFailsIsEmpty) {
    VELMOR_NEEDS_RECORDER();
    const Recorder recorder = Recorder().fail("read " + record("serial_number"), EIO, 0);
    const ChildResult child = run_in_child(recorder, [] { return "\"" + std::string(info().serial_number) + "\""; });
    EXPECT_EQ(child.output, "\"\"");
}

// ---- The file system's texts -------------------------------------------------------------------------------------

struct Version {
    int major = 0, minor = 0, revision = 0;
    char status = '\0';
    int build = 0, development = 0;

    bool operator==(const Version&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Version& version) {
        return out << version.major << '.' << version.minor << '.' << version.revision << " status " << +version.status
                   << " build " << version.build << " development " << version.development;
    }
};

Version fs_version(const platform_info_t& info) {
    return {info.fs_version_major,  info.fs_version_minor, info.fs_version_revision,
            info.fs_version_status, info.fs_version_build, info.fs_version_development};
}

TEST_F(PlatformTest, FileSystemVersionIsReadAsFarAsItGoes) {
    const struct {
        const char* text;
        Version expected;
    } rows[] = {
        // Complete
        {"2.1.3R17D", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17, .development = 1}},
        {"1..7b2", {.major = 1, .revision = 7, .status = 'b', .build = 2}},
        {"10.20.30.40", {.major = 10, .minor = 20, .revision = 30, .status = '.', .build = 40}},
        {"2.1.3R17d", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17}},
        {"2.1.3R17XD", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17}},
        {"2.1.3R17DX", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17, .development = 1}},
        {"2.1.3RD", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .development = 1}},
        {"2.1.3DD", {.major = 2, .minor = 1, .revision = 3, .status = 'D', .development = 1}},
        {"2.1.R17", {.major = 2, .minor = 1, .status = 'R', .build = 17}},
        {".1.3R17", {.minor = 1, .revision = 3, .status = 'R', .build = 17}},
        {"..R", {.status = 'R'}},
        // Short
        {"", {}},
        {"2", {.major = 2}},
        {"2.", {.major = 2}},
        {"2.1", {.major = 2, .minor = 1}},
        {"2.1.", {.major = 2, .minor = 1}},
        {"2.1.3", {.major = 2, .minor = 1, .revision = 3}},
        {"2.1.3R", {.major = 2, .minor = 1, .revision = 3, .status = 'R'}},
        {"2.1.3R17", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17}},
        // Not numbers
        {"x.y.zR1", {.status = 'z'}},
        {"2a.1b.3R17", {.major = 2, .minor = 1, .revision = 3, .status = 'R', .build = 17}},
        {"300.257.259R260", {.major = 44, .minor = 1, .revision = 3, .status = 'R', .build = 4}},
        {"2147483648.1.3R99999999999", {.minor = 1, .revision = 3, .status = 'R'}},
        {"99999999999.99999999999.99999999999R1", {.status = 'R', .build = 1}},
    };
    for (const auto& row : rows) {
        platform_info_t result = unwritten();
        Platform().fs_version_parse(result, row.text);
        EXPECT_EQ(fs_version(result), row.expected) << row.text;
    }
}

struct Date {
    int day = 0, month = 0, year = 0;

    bool operator==(const Date&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Date& date) {
        return out << date.day << '/' << date.month << '/' << date.year;
    }
};

Date fs_date(const platform_info_t& info) {
    return {.day = info.fs_date_day, .month = info.fs_date_month, .year = info.fs_date_year};
}

TEST_F(PlatformTest, FileSystemDateIsReadAsFarAsItGoes) {
    const struct {
        const char* text;
        Date expected;
    } rows[] = {
        // Complete
        {"24/12/2025", {.day = 24, .month = 12, .year = 2025}},
        {"5//2013", {.day = 5, .year = 2013}},
        {"//2013", {.year = 2013}},
        {"05/09/65535", {.day = 5, .month = 9, .year = 65535}},
        {"1/2/2013/4", {.day = 1, .month = 2, .year = 2013}},
        // Short
        {"", {}},
        {"5", {.day = 5}},
        {"5/", {.day = 5}},
        {"5/6", {.day = 5, .month = 6}},
        {"5/6/", {.day = 5, .month = 6}},
        {"//", {}},
        // Not numbers
        {"x/y/z", {}},
        {"5x/6y/7z", {.day = 5, .month = 6, .year = 7}},
        {"1/2/65537", {.day = 1, .month = 2}},
        {"300/2147483648/1", {.day = 44, .year = 1}},
    };
    for (const auto& row : rows) {
        platform_info_t result = unwritten();
        Platform().fs_date_parse(result, row.text);
        EXPECT_EQ(fs_date(result), row.expected) << row.text;
    }
}

TEST_F(PlatformTest, FileSystemTextsAreTheTwoWordsOfTheirFile) {
    put("/etc/fs_version", "\n 1..7b2\n5//2013 more\n");
    const platform_info_t result = info();
    EXPECT_EQ(fs_version(result), (Version{.major = 1, .revision = 7, .status = 'b', .build = 2}));
    EXPECT_EQ(fs_date(result), (Date{.day = 5, .year = 2013}));
}

// ---- The hardware table --------------------------------------------------------------------------------------------

/** Which bits of the table a field has: the library's layouts, written in another way. */
struct FieldBits {
    std::uint32_t id;
    int byte;               // in versions 1 and 3
    unsigned high, low;     // bits, 7 is the highest
    int byte_of_version_2;  // negative: version 2 lacks the field
};

constexpr FieldBits fields[] = {
    {1, 0, 7, 5, 0},    {2, 0, 4, 3, 0},    {3, 0, 2, 0, 0},    {4, 1, 7, 0, 1},    {5, 2, 7, 0, 2},
    {6, 3, 7, 3, 3},    {7, 4, 7, 7, 4},    {8, 4, 6, 6, 4},    {9, 4, 5, 5, 4},    {10, 4, 4, 2, 4},
    {11, 5, 2, 0, -1},  {12, 6, 7, 0, -1},  {13, 7, 4, 0, -1},  {14, 8, 7, 0, -1},  {15, 9, 7, 0, -1},
    {16, 10, 7, 0, 5},  {17, 11, 7, 0, 6},  {18, 12, 7, 0, 7},  {19, 13, 7, 0, 8},  {20, 14, 7, 0, 9},
    {21, 15, 7, 0, 10}, {22, 16, 7, 0, 11}, {23, 17, 7, 0, 12}, {24, 18, 7, 5, 13}, {25, 18, 4, 2, 13},
    {26, 19, 7, 4, 14}, {27, 19, 3, 0, 14},
};

class PlatformLayout : public PlatformTest, public testing::WithParamInterface<int> {
protected:
    static int byte_of(const FieldBits& field) { return GetParam() == 2 ? field.byte_of_version_2 : field.byte; }

    /** Every field of a table in which only one byte is not 0. */
    static void expect_fields(int byte, unsigned value) {
        Platform platform = platform_with(GetParam(), {{byte, value}});
        for (const FieldBits& field : fields) {
            if (byte_of(field) < 0) continue;
            const unsigned width = field.high - field.low + 1;
            const unsigned expected = byte_of(field) == byte ? value / (1U << field.low) % (1U << width) : 0;
            EXPECT_EQ(platform.field_get(field.id), expected)
                << "field " << field.id << ", byte " << byte << " is " << value;
        }
    }
};

TEST_P(PlatformLayout, EveryBitBelongsToItsField) {
    for (int byte = 0; byte < 24; ++byte) {
        for (unsigned bit = 0; bit < 8; ++bit) expect_fields(byte, 1U << bit);
        expect_fields(byte, 0xFF);
    }
}

TEST_P(PlatformLayout, OtherFieldsAreNotSupported) {
    Platform platform = platform_with(GetParam(), {});
    for (const std::uint32_t id : {0U, 28U, 256U + 1U, 0xFFFFFFFFU})
        EXPECT_EQ(thrown([&] { platform.field_get(id); }), missing_field) << id;
    for (const FieldBits& field : fields) {
        EXPECT_EQ(thrown([&] { platform.field_get(field.id); }), byte_of(field) < 0 ? missing_field : "nothing")
            << field.id;
    }
}

INSTANTIATE_TEST_SUITE_P(Version, PlatformLayout, testing::Values(1, 2, 3), testing::PrintToStringParamName());

TEST_F(PlatformTest, UnknownTableVersionIsNoDeviceEvenWithoutATable) {
    put_table(4, {});
    remove(record("pht"));
    EXPECT_EQ(construction_failure(), "system_error 19 Invalid PHT table version 4: No such device");
}

TEST_F(PlatformTest, TableThatCannotBeReadIsAStreamFailure) {
    for (const char* key : {"pht_version", "pht"}) {
        reset_device();
        for (const char* text : {"", " \n"}) {
            put(record(key), text);
            EXPECT_EQ(construction_failure(), "stream failure") << key;
        }
        remove(record(key));
        EXPECT_EQ(construction_failure(), "stream failure") << key;
    }
    reset_device();
    put(record("pht_version"), "one\n");
    EXPECT_EQ(construction_failure(), "stream failure");
}

TEST_F(PlatformTest, ShortTableIsZeroBehindItsEnd) {
    put(record("pht"), "0x29123\n");
    Platform platform;
    EXPECT_EQ(platform.uid_get(), 0x1203);
    EXPECT_EQ(platform.mid_get(), 0U);
    EXPECT_EQ(platform.field_get(27), 0U);
}

TEST_F(PlatformTest, TableIsReadByTheConstructorOnly) {
    Platform platform = platform_with(1, {{1, 0x12}, {2, 0x34}});
    put_table(2, {{1, 0xFF}, {2, 0xFF}});
    EXPECT_EQ(platform.uid_get(), 0x1234);
    for (const char* key : {"pht", "pht_version"}) remove(record(key));
    EXPECT_EQ(platform.uid_get(), 0x1234);
    EXPECT_EQ(platform.field_get(11), 0U);
}

// ---- Identities ----------------------------------------------------------------------------------------------------

TEST_F(PlatformTest, IdentitiesAreFieldsOfTheTable) {
    EXPECT_EQ(platform_with(1, {{1, 0x12}, {2, 0x34}}).uid_get(), 0x1234);
    EXPECT_EQ(platform_with(2, {{1, 0xFF}, {2, 0xFE}}).uid_get(), 0xFFFE);
    EXPECT_EQ(platform_with(1, {{3, 0xAF}}).oemid_get(), 0x15U);
    EXPECT_EQ(platform_with(2, {{3, 0xF8}}).oemid_get(), 0x1FU);
    EXPECT_EQ(platform_with(1, {{16, 0xBE}, {17, 0xEF}}).mid_get(), 0xBEEFU);
    EXPECT_EQ(platform_with(2, {{11, 0xCA}, {12, 0xFE}}).mid_get(), 0xCAFEU);
}

TEST_F(PlatformTest, IdentitiesReadTheirFields) {
    struct ReadFields : Platform {
        std::uint32_t field_get(std::uint32_t id) override {
            fields.insert(id);
            return id;
        }
        std::set<std::uint32_t> fields;
    };
    ReadFields platform;
    const auto fields_read = [&platform] { return std::exchange(platform.fields, {}); };
    EXPECT_EQ(platform.uid_get(), 0x0405);
    EXPECT_THAT(fields_read(), ElementsAre(4, 5));
    EXPECT_EQ(platform.oemid_get(), 6U);
    EXPECT_THAT(fields_read(), ElementsAre(6));
    EXPECT_EQ(platform.mid_get(), 0x1617U);
    EXPECT_THAT(fields_read(), ElementsAre(22, 23));
    EXPECT_EQ(platform.can_manuf_code_get(), 0x030C);
    EXPECT_THAT(fields_read(), ElementsAre(11, 12));
    EXPECT_EQ(platform.can_unique_num_get(), 0x0D0E0FU);
    EXPECT_THAT(fields_read(), ElementsAre(13, 14, 15));
}

TEST_F(PlatformTest, CanManufacturerCodeIsElevenBits) {
    EXPECT_EQ(platform_with(1, {{5, 0xFD}, {6, 0x34}}).can_manuf_code_get(), 0x534);
    EXPECT_EQ(platform_with(3, {{5, 0xFF}, {6, 0xFF}}).can_manuf_code_get(), 0x7FF);
}

TEST_F(PlatformTest, CanUniqueNumberIsTwentyOneBits) {
    EXPECT_EQ(platform_with(1, {{7, 0xF5}, {8, 0x67}, {9, 0x89}}).can_unique_num_get(), 0x156789U);
    EXPECT_EQ(platform_with(3, {{7, 0xFF}, {8, 0xFF}, {9, 0xFF}}).can_unique_num_get(), 0x1FFFFFU);
    for (const int byte : {7, 8, 9})
        EXPECT_EQ(platform_with(1, {{byte, 1}}).can_unique_num_get(), 1U << 8 * (9 - byte));
}

TEST_F(PlatformTest, CanUniqueNumberOfTheTableNeedsNoFile) {
    Platform platform;
    for (const std::string& file : files_of_info()) remove(file);
    EXPECT_EQ(platform.can_unique_num_get(), 0x012345U);
}

class PlatformCanFallback : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        put_table(1, {{7, 0xE0}, {10, 0xFF}});  // around the unique number, whose bits are all 0
    }

    static std::uint32_t number_of(const std::string& serial) {
        put(record("serial_number"), serial + "\n");
        return Platform().can_unique_num_get();
    }
};

TEST_F(PlatformCanFallback, IsTheSerialNumbersLastSixDigits) {
    const struct {
        const char* serial;
        std::uint32_t number;
    } rows[] = {
        {"AB12C0FFEE", 0x00FFEE},
        {"ab123f0102", 0x1F0102},
        {"123456", 0x123456},
        {"FFFFFF", 0x1FFFFF},
        // A pair of characters that is no number counts as 0.
        {"XX1G3456", 0x013456},
        {"G13456", 0x003456},
        {"12zz56", 0x120056},
        {"1234-Z", 0x123400},
        // Too short.
        {"12345", 0},
        {"1", 0},
    };
    for (const auto& row : rows) EXPECT_EQ(number_of(row.serial), row.number) << row.serial;
    remove(record("serial_number"));
    EXPECT_EQ(Platform().can_unique_num_get(), 0U);
}

// The record holds 31 characters. Those that follow in the file do not count.
TEST_F(PlatformCanFallback, LongSerialNumberEndsWithTheRecord) {
    EXPECT_EQ(number_of("1234567890123456789012345"
                        "0A0B0C"
                        "0D0E0F"),
              0x0A0B0CU);
}

TEST_F(PlatformCanFallback, ReadsTheRecordThroughAnOverriddenInfoGet) {
    struct OtherRecord : Platform {
        void info_get(platform_info_t* info, std::size_t size) override {
            EXPECT_EQ(size, sizeof *info);
            std::memcpy(info->serial_number, "0A0B0C", sizeof "0A0B0C");
        }
    };
    EXPECT_EQ(OtherRecord().can_unique_num_get(), 0x0A0B0CU);
}

TEST_F(PlatformCanFallback, ReadsEveryFileOfTheRecord) {
    Platform platform;
    for (const std::string& file : files_of_info()) {
        reset_device();
        remove(file);
        EXPECT_EQ(thrown([&] { platform.can_unique_num_get(); }),
                  file.ends_with("serial_number") ? "nothing" : "stream failure")
            << file;
    }
}

// ---- The exported functions ----------------------------------------------------------------------------------------

TEST_F(PlatformTest, UnreadableFileReturnsMinusOneAndTheErrnoOfItsOpen) {
    remove(record("os_date_day"));
    const Scenario get_info = [] {
        platform_info_t result = {};
        return answer([&] { return platform_info_get(&result, sizeof result); });
    };
    EXPECT_THAT(run_in_child(get_info), returns(file_fails_with(ENOENT), failed("platform_info_get", stream_failure)));
}

TEST_F(PlatformTest, CanNumbersAreNotSupportedInVersion2) {
    put_table(2, {{5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}});
    const CallResult result = fails_with(EOPNOTSUPP, untouched);
    EXPECT_THAT(run_in_child(call(platform_can_manuf_code_get)),
                returns(result, failed("platform_can_manuf_code_get", not_supported)));
    EXPECT_THAT(run_in_child(call(platform_can_unique_num_get)),
                returns(result, failed("platform_can_unique_num_get", not_supported)));
}

}  // namespace
