// SPDX-License-Identifier: MIT
#include "access/sysfs.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "access/gpio.h"
#include "support/files_test.h"
#include "velmor.h"

using testing::Each;
using Velmor::SysFS;
using Pin = Velmor::GPIO::pin;
using namespace testing_support;

namespace {

using StreamFailure = std::ios_base::failure;

class SysFSTest : public OneFileTest {
protected:
    template <typename T>
    T value_of(const std::string& text) const {
        put(path_, text);
        return SysFS<T>(path_).read();
    }

    template <typename T>
    std::string text_of(const T& value) const {
        put(path_, "an old text that is longer than the new one\n");
        SysFS<T>(path_).write(value);
        return content(path_);
    }

    template <typename T>
    void expect_written(std::initializer_list<std::pair<T, std::string>> rows) const {
        for (const auto& [value, text] : rows) EXPECT_EQ(text_of<T>(value), text);
    }

    template <typename T>
    void expect_read(std::initializer_list<std::pair<std::string, T>> rows) const {
        // Records of the C interface cannot be compared, but what is printed of them can.
        for (const auto& [text, value] : rows)
            EXPECT_EQ(testing::PrintToString(value_of<T>(text)), testing::PrintToString(value)) << text;
    }

    template <typename T>
    void expect_unreadable(std::initializer_list<const char*> texts) const {
        for (const char* text : texts) EXPECT_THROW(value_of<T>(text), StreamFailure) << text;
    }

    template <typename T>
    void expect_one_write(const T& value, const std::string& text) const {
        expect_acts([&] { SysFS<T>(path_).write(value); }, write_acts(path_, text));
    }

    template <typename T>
    void expect_one_read(const std::string& text) const {
        put(path_, text);
        expect_acts([&] { SysFS<T>(path_).read(); }, read_acts(path_));
    }

    /** If this act of an access fails, these are its acts, and it is a stream failure. */
    void expect_failed_read(const std::string& act, int error, const Acts& acts) const {
        put(path_, "1\n");
        expect_acts(
            recorder().fail(act, error), [&] { SysFS<int>(path_).read(); }, acts, "stream failure");
    }

    void expect_failed_write(const std::string& act, int error, const Acts& acts) const {
        expect_acts(
            recorder().fail(act, error), [&] { SysFS<int>(path_).write(2); }, acts, "stream failure");
    }
};

using SysFSActs = Recorded<SysFSTest>;

std::ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class SysFSInOtherLocale : public SysFSTest {
private:
    const GroupingLocale locale_;
};

/** A value that notes when it is formatted. */
struct NotingValue {
    bool* formatted = nullptr;
};

std::string text_of(const NotingValue& value) {
    *value.formatted = true;
    return "output";
}

bool take_value(Velmor::TextFile& /*file*/, NotingValue& /*value*/) {
    return true;
}

TEST_F(SysFSTest, ConstructionTouchesNoFileAndEveryAccessIsToTheCurrentContent) {
    const SysFS<int> attribute(path_);
    const SysFS<int> copy(attribute);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_FALSE(exists(path_));
    put(path_, "5\n");
    EXPECT_EQ(copy.read(), 5);
    put(path_, "1\n");
    EXPECT_EQ(attribute.read(), 1);
    put(path_, "2\n");
    EXPECT_EQ(attribute.read(), 2);
    attribute.write(3);
    EXPECT_EQ(content(path_), "3");
    EXPECT_EQ(attribute.read(), 3);
}

// ---- The text of every type ----------------------------------------------------------------------------------------

TEST_F(SysFSTest, ValuesOfEveryTypeAreWrittenAsText) {
    expect_written<int>({{0, "0"}, {42, "42"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}});
    expect_written<unsigned long>(
        {{0, "0"}, {2147483648UL, "2147483648"}, {4294967295UL, "4294967295"}, {ULONG_MAX, std::to_string(ULONG_MAX)}});
    expect_written<Pin>({{37, "37"}, {-1, "-1"}});
    expect_written<io_value_t>({{1, "1"}, {-7, "-7"}});
    expect_written<mrfi_device_type_t>({{3, "3"}, {-3, "-3"}});
    expect_written<bool>({{false, "0"}, {true, "1"}});
    const std::string with_nul("nul\0nul", 7);
    expect_written<std::string>(
        {{"out", "out"}, {" two  words\t\n", " two  words\t\n"}, {with_nul, with_nul}, {"", ""}});
    expect_written<led_color_t>(
        {{{1, 2, 3}, "1 2 3"}, {{255, 0, 16}, "255 0 16"}, {{-1, INT_MIN, INT_MAX}, "-1 -2147483648 2147483647"}});
    expect_written<mrfi_addr_t>({{{{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d"},
                                 {{{0, 0, 0, 0}}, "0"},
                                 {{{1, 0, 0, 0}}, "0x1"},
                                 {{{0, 0, 0, 0x80}}, "0x80000000"},
                                 {{{0xff, 0xff, 0xff, 0xff}}, "0xffffffff"}});
}

TEST_F(SysFSTest, ValuesOfEveryTypeAreReadUpToTheFirstCharacterThatIsNotPartOfThem) {
    expect_read<int>({{"42\n", 42},
                      {"42", 42},
                      {" 7 and further words\n", 7},
                      {"\n\t -5x", -5},
                      {"0x10", 0},
                      {"010", 10},
                      {"2147483647", INT_MAX},
                      {"-2147483648", INT_MIN}});
    expect_read<unsigned long>({{"4294967295\n", 4294967295UL}, {std::to_string(ULONG_MAX), ULONG_MAX}});
    expect_read<Pin>({{"37\n", 37}});
    expect_read<io_value_t>({{"-1\n", -1}});
    expect_read<mrfi_device_type_t>({{"2147483647\n", INT_MAX}});
    expect_read<bool>({{"0\n", false}, {"1\n", true}});
    // A string is one word.
    expect_read<std::string>({{"critical\n", "critical"}, {" \t first second\n", "first"}, {"0-1,3", "0-1,3"}});
    expect_read<led_color_t>({{"255 0 16\n", {255, 0, 16}}, {"1\n-2\n300 4", {1, -2, 300}}});
    expect_read<mrfi_addr_t>({{"0x1a2b3c4d\n", {{0x4d, 0x3c, 0x2b, 0x1a}}},
                              {"1A2B3C4D\n", {{0x4d, 0x3c, 0x2b, 0x1a}}},
                              {"10\n", {{0x10, 0, 0, 0}}},
                              {"0\n", {{0, 0, 0, 0}}},
                              {"0xffffffff", {{0xff, 0xff, 0xff, 0xff}}}});
}

TEST_F(SysFSTest, AddressIsReadBackAsWritten) {
    for (const std::uint8_t byte : std::vector<std::uint8_t>{0x00, 0x01, 0x7f, 0x80, 0xff}) {
        const mrfi_addr_t address = {{byte, 0x02, 0x00, byte}};
        expect_read<mrfi_addr_t>({{text_of(address), address}});
    }
}

TEST_F(SysFSTest, TextWithoutSuchAValueIsAFailure) {
    expect_unreadable<int>({"", "\n", " ", "word", "x7", "-", "2147483648", "-2147483649", "99999999999999999999"});
    expect_unreadable<unsigned long>({"", "word", "18446744073709551616"});
    expect_unreadable<Pin>({"", "high\n", "2147483648"});
    expect_unreadable<io_value_t>({"", "high\n", "2147483648"});
    expect_unreadable<mrfi_device_type_t>({"", "high\n", "2147483648"});
    expect_unreadable<std::string>({"", "\n", " \t\n"});
    expect_unreadable<led_color_t>({"", "1\n", "1 2\n", "1,2,3\n", "1 2 x", "1 2 2147483648"});
    expect_unreadable<bool>({"", "true\n", "false\n", "2\n", "-1\n", "Y\n"});
    expect_unreadable<mrfi_addr_t>({"", "none\n", "0x100000000\n"});
}

// ---- Failures ------------------------------------------------------------------------------------------------------

TEST_F(SysFSTest, AttributeThatIsMissingOrRefusesTheAccessIsAFailure) {
    const SysFS<int> attribute(directory_ / "absent/attribute");
    EXPECT_THROW(attribute.read(), StreamFailure);
    EXPECT_THROW(attribute.write(1), StreamFailure);
    EXPECT_THROW(SysFS<int>(path_).read(), StreamFailure);
    EXPECT_FALSE(exists(path_));
    EXPECT_THROW(SysFS<int>("/dev/full").write(1), StreamFailure);
    EXPECT_THROW(SysFS<std::string>("/dev/full").write("mem"), StreamFailure);
    EXPECT_THROW(SysFS<led_color_t>("/dev/full").write({1, 2, 3}), StreamFailure);
    // A directory can be opened for reading, but read() fails with EISDIR.
    EXPECT_THROW(SysFS<int>(directory_.path()).read(), StreamFailure);
    EXPECT_THROW(SysFS<std::string>(directory_.path()).read(), StreamFailure);
}

TEST_F(SysFSTest, ValueIsFormattedAfterTheFileHasBeenOpened) {
    bool formatted = false;
    EXPECT_THROW(SysFS<NotingValue>(directory_ / "absent/attribute").write({&formatted}), StreamFailure);
    EXPECT_FALSE(formatted);
    SysFS<NotingValue>(path_).write({&formatted});
    EXPECT_TRUE(formatted);
    EXPECT_EQ(content(path_), "output");
}

TEST_F(SysFSTest, NoDescriptorStaysOpen) {
    put(path_, "word\n");
    const auto before = open_descriptors();
    EXPECT_THROW(SysFS<int>(path_).read(), StreamFailure);
    EXPECT_THROW(SysFS<int>(directory_.path()).read(), StreamFailure);
    EXPECT_THROW(SysFS<int>("/dev/full").write(1), StreamFailure);
    SysFS<int>(path_).write(1);
    EXPECT_EQ(SysFS<int>(path_).read(), 1);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SysFSActs, FailureIsNotRetriedAndClosesTheFile) {
    expect_failed_write(open_to_write_, EACCES, {open_to_write_ + " = EACCES"});
    expect_failed_write(write_, EINVAL, {open_to_write_, write_ + " 2 = EINVAL", close_});
    expect_failed_write(close_, EIO, {open_to_write_, write_ + " 2", close_ + " = EIO"});
    expect_failed_read(open_to_read_, EACCES, {open_to_read_ + " = EACCES"});
    expect_failed_read(read_, EIO, {open_to_read_, read_ + " = EIO", close_});
    expect_failed_read(close_, EIO, {open_to_read_, read_, close_ + " = EIO"});
    put(path_, "word\n");
    expect_acts([&] { SysFS<int>(path_).read(); }, read_acts(path_), "stream failure");
}

// ---- One system call per access: a driver acts on every write, and its text may change between two reads -----------

TEST_F(SysFSActs, ValueOfAnyTypeIsOneWrite) {
    expect_one_write<int>(-42, "-42");
    expect_one_write<unsigned long>(4294967295UL, "4294967295");
    for (const std::string& text : {std::string("out"), std::string(1, 'k'), std::string(1023, 'k'),
                                    std::string(1024, 'k'), std::string(4096, 'k')})
        expect_one_write<std::string>(text, text);
    expect_one_write<Pin>(37, "37");
    expect_one_write<io_value_t>(1, "1");
    expect_one_write<led_color_t>({255, 0, 16}, "255 0 16");
    expect_one_write<bool>(true, "1");
    expect_one_write<mrfi_device_type_t>(3, "3");
    expect_one_write<mrfi_addr_t>({{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d");
}

TEST_F(SysFSActs, ValueOfAnyTypeIsOneRead) {
    expect_one_read<int>("-42\n");
    expect_one_read<unsigned long>("4294967295\n");
    expect_one_read<std::string>("critical\n");
    expect_one_read<std::string>(std::string(4095, 'k') + "\n");  // a page
    expect_one_read<Pin>("37\n");
    expect_one_read<io_value_t>("1\n");
    expect_one_read<led_color_t>("255 0 16\n");
    expect_one_read<bool>("1\n");
    expect_one_read<mrfi_device_type_t>("3\n");
    expect_one_read<mrfi_addr_t>("0x1a2b3c4d\n");
}

// ---- The application's locale changes nothing ----------------------------------------------------------------------

TEST_F(SysFSInOtherLocale, WritesTheSameBytes) {
    std::ostringstream application;
    application << 1234567;
    ASSERT_EQ(application.str(), "1,234,567");

    expect_written<int>({{1234567, "1234567"}, {INT_MIN, "-2147483648"}});
    expect_written<unsigned long>({{4294967295UL, "4294967295"}});
    expect_written<Pin>({{1234, "1234"}});
    expect_written<io_value_t>({{1000, "1000"}});
    expect_written<mrfi_device_type_t>({{1000, "1000"}});
    expect_written<led_color_t>({{{1000, 200000, 3}, "1000 200000 3"}});
    expect_written<mrfi_addr_t>({{{{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d"}});
    expect_written<bool>({{true, "1"}});
}

TEST_F(SysFSInOtherLocale, ReadsTheSameValues) {
    expect_read<int>({{"1234567\n", 1234567}, {"1,234\n", 1}, {"12.34\n", 12}});
    expect_read<unsigned long>({{"4,294,967,295\n", 4UL}});
    expect_read<io_value_t>({{"1,000\n", 1}});
    expect_unreadable<led_color_t>({"1,000 2 3\n"});
    expect_read<led_color_t>({{"1000 2 3\n", {1000, 2, 3}}});
    expect_read<mrfi_addr_t>({{"0x1,234\n", {{1, 0, 0, 0}}}});
    expect_read<bool>({{"1\n", true}});
    expect_unreadable<bool>({"ja\n"});
}

TEST_F(SysFSTest, ThreadsMayShareOneObject) {
    put(path_, "42\n");
    const SysFS<int> attribute(path_);
    std::vector<int> values(4);
    std::vector<std::thread> threads;
    threads.reserve(values.size());
    for (int& value : values) threads.emplace_back([&] { value = attribute.read(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(values, Each(42));
}

}  // namespace
