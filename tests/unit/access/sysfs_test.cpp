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
#include <locale>
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

// The records of the C interface cannot be compared; their numbers can.

template <typename T>
const T& comparable(const T& value) {
    return value;
}

std::vector<int> comparable(const led_color_t& color) {
    return {color.red, color.green, color.blue};
}

std::vector<int> comparable(const mrfi_addr_t& address) {
    return {std::begin(address.byte), std::end(address.byte)};
}

class SysFSTest : public FilesTest {
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
        for (const auto& [text, value] : rows) EXPECT_EQ(comparable(value_of<T>(text)), comparable(value)) << text;
    }

    template <typename T>
    void expect_unreadable(std::initializer_list<const char*> texts) const {
        for (const char* text : texts) EXPECT_THROW(value_of<T>(text), StreamFailure) << text;
    }

    template <typename T>
    void expect_one_write(const T& value, const std::string& text) const {
        put(path_, "");
        expect_acts([&] { SysFS<T>(path_).write(value); }, write_acts(path_, text));
    }

    template <typename T>
    void expect_one_read(const std::string& text) const {
        put(path_, text);
        expect_acts([&] { SysFS<T>(path_).read(); }, read_acts(path_));
    }

    /** Where this act fails, so does the access, with the stream failure, and these are its acts. */
    void expect_failed_read(const std::string& act, int error, const Acts& acts) const {
        put(path_, "1\n");
        expect_acts(
            recorder().fail(act, error), [&] { SysFS<int>(path_).read(); }, acts, "stream failure");
    }

    void expect_failed_write(const std::string& act, int error, const Acts& acts) const {
        expect_acts(
            recorder().fail(act, error), [&] { SysFS<int>(path_).write(2); }, acts, "stream failure");
    }

    const std::string path_ = directory_ / "attribute";
    const std::string open_to_read_ = "open " + path_ + " r";
    const std::string open_to_write_ = "open " + path_ + " w";
    const std::string read_ = "read " + path_;
    const std::string write_ = "write " + path_;
    const std::string close_ = "close " + path_;
};

std::ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/** Groups by thousands with '.', marks decimals with ',' and calls the truth values names. */
class OtherNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "ja"; }
    std::string do_falsename() const override { return "nein"; }
};

class SysFSInOtherLocale : public SysFSTest {
protected:
    ~SysFSInOtherLocale() override { std::locale::global(before_); }

private:
    const std::locale before_ = std::locale::global(std::locale(std::locale::classic(), new OtherNumbers));
};

/** A value that tells when it is formatted. */
struct Telling {
    bool* formatted = nullptr;
};

std::string text_of(const Telling& value) {
    *value.formatted = true;
    return "output";
}

bool take_value(Velmor::TextFile& /*file*/, Telling& /*value*/) {
    return true;
}

TEST_F(SysFSTest, ConstructionCopyAndDestructionTouchNoFile) {
    const SysFS<int> attribute(path_);
    const SysFS<int> copy(attribute);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_FALSE(exists(path_));
    put(path_, "5\n");
    EXPECT_EQ(copy.read(), 5);
}

TEST_F(SysFSTest, EveryAccessIsAboutThePresentContent) {
    const SysFS<int> attribute(path_);
    put(path_, "1\n");
    EXPECT_EQ(attribute.read(), 1);
    put(path_, "2\n");
    EXPECT_EQ(attribute.read(), 2);
    attribute.write(3);
    EXPECT_EQ(content(path_), "3");
    EXPECT_EQ(attribute.read(), 3);
}

// ---- What is written, for every type that stands in an attribute ---------------------------------------------------

TEST_F(SysFSTest, NumbersAreWrittenAsDecimals) {
    expect_written<int>({{0, "0"}, {42, "42"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}});
    expect_written<unsigned long>(
        {{0, "0"}, {2147483648UL, "2147483648"}, {4294967295UL, "4294967295"}, {ULONG_MAX, std::to_string(ULONG_MAX)}});
    expect_written<Pin>({{37, "37"}, {-1, "-1"}});
    expect_written<io_value_t>({{1, "1"}, {-7, "-7"}});
    expect_written<mrfi_device_type_t>({{3, "3"}, {-3, "-3"}});
}

TEST_F(SysFSTest, BoolIsWrittenAsDigit) {
    expect_written<bool>({{false, "0"}, {true, "1"}});
}

TEST_F(SysFSTest, StringIsWrittenAsItIs) {
    for (const std::string& text :
         {std::string("out"), std::string(" two  words\t\n"), std::string("nul\0nul", 7), std::string()})
        EXPECT_EQ(text_of<std::string>(text), text);
}

TEST_F(SysFSTest, ColorIsWrittenAsThreeDecimalsAndTwoBlanks) {
    expect_written<led_color_t>(
        {{{1, 2, 3}, "1 2 3"}, {{255, 0, 16}, "255 0 16"}, {{-1, INT_MIN, INT_MAX}, "-1 -2147483648 2147483647"}});
}

TEST_F(SysFSTest, AddressIsWrittenInHexadecimalWithItsPrefix) {
    expect_written<mrfi_addr_t>({{{{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d"},
                                 {{{0, 0, 0, 0}}, "0"},
                                 {{{1, 0, 0, 0}}, "0x1"},
                                 {{{0, 0, 0, 0x80}}, "0x80000000"},
                                 {{{0xff, 0xff, 0xff, 0xff}}, "0xffffffff"}});
}

// ---- What is read --------------------------------------------------------------------------------------------------

TEST_F(SysFSTest, NumberIsReadUpToWhatCannotBelongToIt) {
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
}

TEST_F(SysFSTest, BoolIsReadFromItsDigit) {
    expect_read<bool>({{"0\n", false}, {"1\n", true}});
}

TEST_F(SysFSTest, StringIsReadAsOneWord) {
    expect_read<std::string>({{"critical\n", "critical"}, {" \t first second\n", "first"}, {"0-1,3", "0-1,3"}});
}

TEST_F(SysFSTest, ColorIsReadAsThreeInts) {
    expect_read<led_color_t>({{"255 0 16\n", {255, 0, 16}}, {"1\n-2\n300 4", {1, -2, 300}}});
}

TEST_F(SysFSTest, AddressIsReadInHexadecimal) {
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

TEST_F(SysFSTest, TextThatHoldsNoSuchValueFailsToRead) {
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

// ---- A file that does not take part --------------------------------------------------------------------------------

TEST_F(SysFSTest, MissingAttributeFails) {
    const SysFS<int> attribute(directory_ / "absent/attribute");
    EXPECT_THROW(attribute.read(), StreamFailure);
    EXPECT_THROW(attribute.write(1), StreamFailure);
    EXPECT_THROW(SysFS<int>(path_).read(), StreamFailure);
    EXPECT_FALSE(exists(path_));
}

TEST_F(SysFSTest, FailureToOpenComesBeforeTheValueIsFormatted) {
    bool formatted = false;
    EXPECT_THROW(SysFS<Telling>(directory_ / "absent/attribute").write({&formatted}), StreamFailure);
    EXPECT_FALSE(formatted);
    SysFS<Telling>(path_).write({&formatted});
    EXPECT_TRUE(formatted);
    EXPECT_EQ(content(path_), "output");
}

TEST_F(SysFSTest, RefusedTextIsAFailure) {
    EXPECT_THROW(SysFS<int>("/dev/full").write(1), StreamFailure);
    EXPECT_THROW(SysFS<std::string>("/dev/full").write("mem"), StreamFailure);
    EXPECT_THROW(SysFS<led_color_t>("/dev/full").write({1, 2, 3}), StreamFailure);
}

TEST_F(SysFSTest, ReadErrorIsAFailure) {
    // A directory can be opened for reading; reading it is the error EISDIR.
    EXPECT_THROW(SysFS<int>(directory_.path()).read(), StreamFailure);
    EXPECT_THROW(SysFS<std::string>(directory_.path()).read(), StreamFailure);
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

TEST_F(SysFSTest, RefusedOpenIsAFailureAndTheOnlyAct) {
    VELMOR_NEEDS_RECORDER();
    expect_failed_write(open_to_write_, EACCES, {open_to_write_ + " = EACCES"});
    expect_failed_read(open_to_read_, EACCES, {open_to_read_ + " = EACCES"});
}

TEST_F(SysFSTest, FailedTransferIsNotRepeatedAndTheFileClosed) {
    VELMOR_NEEDS_RECORDER();
    expect_failed_write(write_, EINVAL, {open_to_write_, write_ + " 2 = EINVAL", close_});
    expect_failed_read(read_, EIO, {open_to_read_, read_ + " = EIO", close_});
}

TEST_F(SysFSTest, FailedCloseIsAFailure) {
    VELMOR_NEEDS_RECORDER();
    expect_failed_write(close_, EIO, {open_to_write_, write_ + " 2", close_ + " = EIO"});
    expect_failed_read(close_, EIO, {open_to_read_, read_, close_ + " = EIO"});
}

TEST_F(SysFSTest, UnparsableTextClosesTheFile) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "word\n");
    expect_acts([&] { SysFS<int>(path_).read(); }, read_acts(path_), "stream failure");
}

// ---- One act of each kind per access: a driver acts on every write, and its text may change between two reads
// --------

TEST_F(SysFSTest, EveryTypeIsWrittenOnce) {
    VELMOR_NEEDS_RECORDER();
    expect_one_write<int>(-42, "-42");
    expect_one_write<unsigned long>(4294967295UL, "4294967295");
    expect_one_write<std::string>("out", "out");
    expect_one_write<Pin>(37, "37");
    expect_one_write<io_value_t>(1, "1");
    expect_one_write<led_color_t>({255, 0, 16}, "255 0 16");
    expect_one_write<bool>(true, "1");
    expect_one_write<mrfi_device_type_t>(3, "3");
    expect_one_write<mrfi_addr_t>({{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d");
}

TEST_F(SysFSTest, EveryTypeIsReadOnce) {
    VELMOR_NEEDS_RECORDER();
    expect_one_read<int>("-42\n");
    expect_one_read<unsigned long>("4294967295\n");
    expect_one_read<std::string>("critical\n");
    expect_one_read<Pin>("37\n");
    expect_one_read<io_value_t>("1\n");
    expect_one_read<led_color_t>("255 0 16\n");
    expect_one_read<bool>("1\n");
    expect_one_read<mrfi_device_type_t>("3\n");
    expect_one_read<mrfi_addr_t>("0x1a2b3c4d\n");
}

TEST_F(SysFSTest, StringsUpToAWholePageAreWrittenAndReadOnce) {
    VELMOR_NEEDS_RECORDER();
    for (const std::size_t length : {1U, 1023U, 1024U, 4096U})
        expect_one_write<std::string>(std::string(length, 'k'), std::string(length, 'k'));
    expect_one_read<std::string>(std::string(4095, 'k') + "\n");
}

// ---- The kernel's text is its own, whatever language the application speaks
// ------------------------------------------

TEST_F(SysFSInOtherLocale, WritesTheSameBytes) {
    std::ostringstream application;
    application << 1234567;
    ASSERT_EQ(application.str(), "1.234.567");

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
    expect_read<int>({{"1234567\n", 1234567}, {"1.234\n", 1}, {"12.34\n", 12}});
    expect_read<unsigned long>({{"4.294.967.295\n", 4UL}});
    expect_read<io_value_t>({{"1.000\n", 1}});
    expect_unreadable<led_color_t>({"1.000 2 3\n"});
    expect_read<led_color_t>({{"1000 2 3\n", {1000, 2, 3}}});
    expect_read<mrfi_addr_t>({{"0x1.234\n", {{1, 0, 0, 0}}}});
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
