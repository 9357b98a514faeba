// SPDX-License-Identifier: MIT
#include "access/sysfs.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "access/gpio.h"
#include "support/files.h"
#include "support/recorder.h"
#include "velmor.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::SysFS;

namespace {

using StreamFailure = std::ios_base::failure;

class SysFSTest : public testing::Test {
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

    std::vector<int> color_of(const std::string& text) const {
        const auto color = value_of<led_color_t>(text);
        return {color.red, color.green, color.blue};
    }

    std::vector<int> address_of(const std::string& text) const {
        const auto address = value_of<mrfi_addr_t>(text);
        return {std::begin(address.byte), std::end(address.byte)};
    }

    template <typename T>
    std::vector<std::string> acts_of_writing(const T& value) const {
        put(path_, "");
        return recorder()
            .run([&] {
                SysFS<T>(path_).write(value);
                return 0;
            })
            .acts;
    }

    template <typename T>
    std::vector<std::string> acts_of_reading(const std::string& text) const {
        put(path_, text);
        return recorder()
            .run([&] {
                SysFS<T>(path_).read();
                return 0;
            })
            .acts;
    }

    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "attribute";
};

class WrittenOnce : public SysFSTest {
protected:
    template <typename T>
    void expect(const T& value, const std::string& text) const {
        EXPECT_THAT(acts_of_writing<T>(value),
                    ElementsAre("open " + path_ + " w", "write " + path_ + " " + text, "close " + path_));
    }
};

class ReadOnce : public SysFSTest {
protected:
    template <typename T>
    void expect(const std::string& text) const {
        EXPECT_THAT(acts_of_reading<T>(text), ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_));
    }
};

/** 1 for the stream failure, 2 for anything else that is thrown, 0 for nothing. */
template <typename Code>
int failure_of(Code code) {
    try {
        code();
        return 0;
    } catch (const StreamFailure&) {
        return 1;
    } catch (...) {
        return 2;
    }
}

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
    EXPECT_FALSE(testing_support::exists(path_));
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

// What is written, for every type that stands in an attribute.

TEST_F(SysFSTest, IntIsWrittenAsSignedDecimal) {
    EXPECT_EQ(text_of<int>(0), "0");
    EXPECT_EQ(text_of<int>(42), "42");
    EXPECT_EQ(text_of<int>(INT_MAX), "2147483647");
    EXPECT_EQ(text_of<int>(INT_MIN), "-2147483648");
}

TEST_F(SysFSTest, UnsignedLongIsWrittenAsUnsignedDecimal) {
    EXPECT_EQ(text_of<unsigned long>(0), "0");
    EXPECT_EQ(text_of<unsigned long>(2147483648UL), "2147483648");
    EXPECT_EQ(text_of<unsigned long>(4294967295UL), "4294967295");
    EXPECT_EQ(text_of<unsigned long>(ULONG_MAX), std::to_string(ULONG_MAX));
}

TEST_F(SysFSTest, StringIsWrittenAsItIs) {
    EXPECT_EQ(text_of<std::string>("out"), "out");
    EXPECT_EQ(text_of<std::string>(" two  words\t\n"), " two  words\t\n");
    EXPECT_EQ(text_of<std::string>(std::string("nul\0nul", 7)), std::string("nul\0nul", 7));
    EXPECT_EQ(text_of<std::string>(""), "");
}

TEST_F(SysFSTest, PinIsWrittenAsSignedDecimal) {
    EXPECT_EQ(text_of<Velmor::GPIO::pin>(37), "37");
    EXPECT_EQ(text_of<Velmor::GPIO::pin>(-1), "-1");
}

TEST_F(SysFSTest, IoValueIsWrittenAsSignedDecimal) {
    EXPECT_EQ(text_of<io_value_t>(1), "1");
    EXPECT_EQ(text_of<io_value_t>(-7), "-7");
}

TEST_F(SysFSTest, ColorIsWrittenAsThreeDecimalsAndTwoBlanks) {
    EXPECT_EQ(text_of<led_color_t>({1, 2, 3}), "1 2 3");
    EXPECT_EQ(text_of<led_color_t>({255, 0, 16}), "255 0 16");
    EXPECT_EQ(text_of<led_color_t>({-1, INT_MIN, INT_MAX}), "-1 -2147483648 2147483647");
}

TEST_F(SysFSTest, BoolIsWrittenAsDigit) {
    EXPECT_EQ(text_of<bool>(false), "0");
    EXPECT_EQ(text_of<bool>(true), "1");
}

TEST_F(SysFSTest, DeviceTypeIsWrittenAsSignedDecimal) {
    EXPECT_EQ(text_of<mrfi_device_type_t>(3), "3");
    EXPECT_EQ(text_of<mrfi_device_type_t>(-3), "-3");
}

TEST_F(SysFSTest, AddressIsWrittenInHexadecimalWithItsPrefix) {
    EXPECT_EQ(text_of<mrfi_addr_t>({{0x4d, 0x3c, 0x2b, 0x1a}}), "0x1a2b3c4d");
    EXPECT_EQ(text_of<mrfi_addr_t>({{0, 0, 0, 0}}), "0");
    EXPECT_EQ(text_of<mrfi_addr_t>({{1, 0, 0, 0}}), "0x1");
    EXPECT_EQ(text_of<mrfi_addr_t>({{0, 0, 0, 0x80}}), "0x80000000");
    EXPECT_EQ(text_of<mrfi_addr_t>({{0xff, 0xff, 0xff, 0xff}}), "0xffffffff");
}

// What is read.

TEST_F(SysFSTest, IntIsReadUpToWhatCannotBelongToIt) {
    EXPECT_EQ(value_of<int>("42\n"), 42);
    EXPECT_EQ(value_of<int>("42"), 42);
    EXPECT_EQ(value_of<int>(" 7 and further words\n"), 7);
    EXPECT_EQ(value_of<int>("\n\t -5x"), -5);
    EXPECT_EQ(value_of<int>("0x10"), 0);
    EXPECT_EQ(value_of<int>("010"), 10);
    EXPECT_EQ(value_of<int>("2147483647"), INT_MAX);
    EXPECT_EQ(value_of<int>("-2147483648"), INT_MIN);
}

TEST_F(SysFSTest, UnsignedLongIsReadAboveTheLargestInt) {
    EXPECT_EQ(value_of<unsigned long>("4294967295\n"), 4294967295UL);
    EXPECT_EQ(value_of<unsigned long>(std::to_string(ULONG_MAX)), ULONG_MAX);
}

TEST_F(SysFSTest, StringIsReadAsOneWord) {
    EXPECT_EQ(value_of<std::string>("critical\n"), "critical");
    EXPECT_EQ(value_of<std::string>(" \t first second\n"), "first");
    EXPECT_EQ(value_of<std::string>("0-1,3"), "0-1,3");
}

TEST_F(SysFSTest, PinAndIoValueAndDeviceTypeAreReadAsInt) {
    EXPECT_EQ(value_of<Velmor::GPIO::pin>("37\n"), 37);
    EXPECT_EQ(value_of<io_value_t>("-1\n"), -1);
    EXPECT_EQ(value_of<mrfi_device_type_t>("2147483647\n"), INT_MAX);
}

TEST_F(SysFSTest, ColorIsReadAsThreeInts) {
    EXPECT_THAT(color_of("255 0 16\n"), ElementsAre(255, 0, 16));
    EXPECT_THAT(color_of("1\n-2\n300 4"), ElementsAre(1, -2, 300));
}

TEST_F(SysFSTest, BoolIsReadFromItsDigit) {
    EXPECT_FALSE(value_of<bool>("0\n"));
    EXPECT_TRUE(value_of<bool>("1\n"));
}

TEST_F(SysFSTest, AddressIsReadInHexadecimal) {
    EXPECT_THAT(address_of("0x1a2b3c4d\n"), ElementsAre(0x4d, 0x3c, 0x2b, 0x1a));
    EXPECT_THAT(address_of("1A2B3C4D\n"), ElementsAre(0x4d, 0x3c, 0x2b, 0x1a));
    EXPECT_THAT(address_of("10\n"), ElementsAre(0x10, 0, 0, 0));
    EXPECT_THAT(address_of("0\n"), ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(address_of("0xffffffff"), ElementsAre(0xff, 0xff, 0xff, 0xff));
}

TEST_F(SysFSTest, AddressIsReadBackAsWritten) {
    for (const std::uint8_t byte : std::vector<std::uint8_t>{0x00, 0x01, 0x7f, 0x80, 0xff}) {
        const mrfi_addr_t address = {{byte, 0x02, 0x00, byte}};
        EXPECT_THAT(address_of(text_of<mrfi_addr_t>(address)), ElementsAreArray(address.byte));
    }
}

// A text that holds no such value.

TEST_F(SysFSTest, TextWithoutIntFailsToRead) {
    for (const char* text : {"", "\n", " ", "word", "x7", "-", "2147483648", "-2147483649", "99999999999999999999"})
        EXPECT_THROW(value_of<int>(text), StreamFailure) << text;
}

TEST_F(SysFSTest, TextWithoutUnsignedLongFailsToRead) {
    for (const char* text : {"", "word", "18446744073709551616"})
        EXPECT_THROW(value_of<unsigned long>(text), StreamFailure) << text;
}

TEST_F(SysFSTest, TextWithoutWordFailsToRead) {
    for (const char* text : {"", "\n", " \t\n"}) EXPECT_THROW(value_of<std::string>(text), StreamFailure) << text;
}

TEST_F(SysFSTest, TextWithoutPinIoValueOrDeviceTypeFailsToRead) {
    for (const char* text : {"", "high\n", "2147483648"}) {
        EXPECT_THROW(value_of<Velmor::GPIO::pin>(text), StreamFailure) << text;
        EXPECT_THROW(value_of<io_value_t>(text), StreamFailure) << text;
        EXPECT_THROW(value_of<mrfi_device_type_t>(text), StreamFailure) << text;
    }
}

TEST_F(SysFSTest, TextWithoutThreeIntsFailsToReadAsColor) {
    for (const char* text : {"", "1\n", "1 2\n", "1,2,3\n", "1 2 x", "1 2 2147483648"})
        EXPECT_THROW(color_of(text), StreamFailure) << text;
}

TEST_F(SysFSTest, TextOtherThanZeroAndOneFailsToReadAsBool) {
    for (const char* text : {"", "true\n", "false\n", "2\n", "-1\n", "Y\n"})
        EXPECT_THROW(value_of<bool>(text), StreamFailure) << text;
}

TEST_F(SysFSTest, TextWithoutAddressFailsToRead) {
    for (const char* text : {"", "none\n", "0x100000000\n"}) EXPECT_THROW(address_of(text), StreamFailure) << text;
}

// A file that does not take part.

TEST_F(SysFSTest, MissingAttributeFails) {
    const SysFS<int> attribute(directory_ / "absent/attribute");
    EXPECT_THROW(attribute.read(), StreamFailure);
    EXPECT_THROW(attribute.write(1), StreamFailure);
    EXPECT_THROW(SysFS<int>(path_).read(), StreamFailure);
    EXPECT_FALSE(testing_support::exists(path_));
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
    put(path_, "1\n");
    const auto written = recorder().fail("open " + path_ + " w", EACCES).run([&] {
        return failure_of([&] { SysFS<int>(path_).write(2); });
    });
    EXPECT_EQ(written.result, 1);
    EXPECT_THAT(written.acts, ElementsAre("open " + path_ + " w = EACCES"));

    const auto read = recorder().fail("open " + path_ + " r", EACCES).run([&] {
        return failure_of([&] { SysFS<int>(path_).read(); });
    });
    EXPECT_EQ(read.result, 1);
    EXPECT_THAT(read.acts, ElementsAre("open " + path_ + " r = EACCES"));
}

TEST_F(SysFSTest, RefusedWriteIsNotRepeatedAndTheFileClosed) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome =
        recorder().fail("write " + path_, EINVAL).run([&] { return failure_of([&] { SysFS<int>(path_).write(2); }); });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", "write " + path_ + " 2 = EINVAL", "close " + path_));
}

TEST_F(SysFSTest, FailedReadIsNotRepeatedAndTheFileClosed) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "1\n");
    const auto outcome =
        recorder().fail("read " + path_, EIO).run([&] { return failure_of([&] { SysFS<int>(path_).read(); }); });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_ + " = EIO", "close " + path_));
}

TEST_F(SysFSTest, FailedCloseIsAFailure) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "1\n");
    const Recorder closing_fails = recorder().fail("close " + path_, EIO);
    EXPECT_EQ(closing_fails.run([&] { return failure_of([&] { SysFS<int>(path_).write(2); }); }).result, 1);
    EXPECT_EQ(closing_fails.run([&] { return failure_of([&] { SysFS<int>(path_).read(); }); }).result, 1);
}

TEST_F(SysFSTest, UnparsableTextClosesTheFile) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "word\n");
    const auto outcome = recorder().run([&] { return failure_of([&] { SysFS<int>(path_).read(); }); });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_));
}

// One act of each kind per access: a driver acts on every write, and its text may change between two reads.

TEST_F(WrittenOnce, EveryType) {
    VELMOR_NEEDS_RECORDER();
    expect<int>(-42, "-42");
    expect<unsigned long>(4294967295UL, "4294967295");
    expect<std::string>("out", "out");
    expect<Velmor::GPIO::pin>(37, "37");
    expect<io_value_t>(1, "1");
    expect<led_color_t>({255, 0, 16}, "255 0 16");
    expect<bool>(true, "1");
    expect<mrfi_device_type_t>(3, "3");
    expect<mrfi_addr_t>({{0x4d, 0x3c, 0x2b, 0x1a}}, "0x1a2b3c4d");
}

TEST_F(WrittenOnce, StringsUpToAWholePage) {
    VELMOR_NEEDS_RECORDER();
    for (const std::size_t length : {1U, 1023U, 1024U, 4096U})
        expect<std::string>(std::string(length, 'k'), std::string(length, 'k'));
}

TEST_F(ReadOnce, EveryType) {
    VELMOR_NEEDS_RECORDER();
    expect<int>("-42\n");
    expect<unsigned long>("4294967295\n");
    expect<std::string>("critical\n");
    expect<Velmor::GPIO::pin>("37\n");
    expect<io_value_t>("1\n");
    expect<led_color_t>("255 0 16\n");
    expect<bool>("1\n");
    expect<mrfi_device_type_t>("3\n");
    expect<mrfi_addr_t>("0x1a2b3c4d\n");
}

TEST_F(ReadOnce, StringsUpToAWholePage) {
    VELMOR_NEEDS_RECORDER();
    expect<std::string>(std::string(4095, 'k') + "\n");
}

// The kernel's text is its own, whatever language the application speaks.

TEST_F(SysFSInOtherLocale, WritesTheSameBytes) {
    std::ostringstream application;
    application << 1234567;
    ASSERT_EQ(application.str(), "1.234.567");

    EXPECT_EQ(text_of<int>(1234567), "1234567");
    EXPECT_EQ(text_of<int>(INT_MIN), "-2147483648");
    EXPECT_EQ(text_of<unsigned long>(4294967295UL), "4294967295");
    EXPECT_EQ(text_of<Velmor::GPIO::pin>(1234), "1234");
    EXPECT_EQ(text_of<io_value_t>(1000), "1000");
    EXPECT_EQ(text_of<mrfi_device_type_t>(1000), "1000");
    EXPECT_EQ(text_of<led_color_t>({1000, 200000, 3}), "1000 200000 3");
    EXPECT_EQ(text_of<mrfi_addr_t>({{0x4d, 0x3c, 0x2b, 0x1a}}), "0x1a2b3c4d");
    EXPECT_EQ(text_of<bool>(true), "1");
}

TEST_F(SysFSInOtherLocale, ReadsTheSameValues) {
    EXPECT_EQ(value_of<int>("1234567\n"), 1234567);
    EXPECT_EQ(value_of<int>("1.234\n"), 1);
    EXPECT_EQ(value_of<int>("12.34\n"), 12);
    EXPECT_EQ(value_of<unsigned long>("4.294.967.295\n"), 4UL);
    EXPECT_EQ(value_of<io_value_t>("1.000\n"), 1);
    EXPECT_THROW(color_of("1.000 2 3\n"), StreamFailure);
    EXPECT_THAT(color_of("1000 2 3\n"), ElementsAre(1000, 2, 3));
    EXPECT_THAT(address_of("0x1.234\n"), ElementsAre(1, 0, 0, 0));
    EXPECT_TRUE(value_of<bool>("1\n"));
    EXPECT_THROW(value_of<bool>("ja\n"), StreamFailure);
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
