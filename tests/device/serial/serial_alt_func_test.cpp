// SPDX-License-Identifier: MIT
#include "serial/serial_alt_func.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "core/board.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing_support::content;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::SerialAltFunc;

namespace {

constexpr char keys[] = "/sys/devices/platform/gpio-keys/keys";
constexpr char disabled[] = "/sys/devices/platform/gpio-keys/disabled_keys";
constexpr char invalid[] = "system_error 22 Invalid argument";

/** The pieces of a list as it is written, every code with its comma. */
std::vector<std::string> codes(const std::string& text) {
    std::istringstream list(text);
    std::vector<std::string> result;
    for (std::string code; std::getline(list, code, ',');) result.push_back(code);
    EXPECT_TRUE(text.ends_with(",")) << text;
    return result;
}

class SerialAltFuncTest : public testing::Test {
protected:
    void SetUp() override {
        testing_support::reset_device();
        put(keys, "30-32,31,1234,0\n");
        put(disabled, "30,31\n");
    }

    static std::string set_of(SerialAltFunc port, serial_alt_func_t function) {
        return thrown([&] { port.set(function); });
    }

    /** What is written when the key with this code is enabled. */
    static std::string enabled(const std::string& before, int key) {
        put(disabled, before);
        EXPECT_EQ(set_of(SerialAltFunc({0, 1}, key), 1), "nothing");
        return content(disabled);
    }

    /** The codes that are written when the key with this code is disabled. */
    static std::vector<std::string> disabled_with(const std::string& before, int key) {
        put(disabled, before);
        EXPECT_EQ(set_of(SerialAltFunc({0, 1}, key), 0), "nothing");
        return codes(content(disabled));
    }
};

// ---- has

TEST_F(SerialAltFuncTest, HasOnlyListedFunctions) {
    SerialAltFunc port({0, 1, 9}, 31);
    EXPECT_TRUE(port.has(0));
    EXPECT_TRUE(port.has(1));
    EXPECT_TRUE(port.has(9));
    EXPECT_FALSE(port.has(2));
    EXPECT_FALSE(port.has(-1));
    EXPECT_FALSE(SerialAltFunc({}, 31).has(0));
    EXPECT_FALSE(SerialAltFunc({0}, 31).has(1));
}

TEST_F(SerialAltFuncTest, PortWithoutKeyHasNoKeyFunction) {
    for (SerialAltFunc port : {SerialAltFunc({0, 1}), SerialAltFunc({0, 1}, 0)}) {
        EXPECT_TRUE(port.has(0));
        EXPECT_FALSE(port.has(1));
        EXPECT_EQ(set_of(port, 1), invalid);
    }
    EXPECT_EQ(content(disabled), "30,31\n");
}

TEST_F(SerialAltFuncTest, KeyFunctionNeedsTheDriversKey) {
    EXPECT_TRUE(SerialAltFunc({1}, 1234).has(1));
    EXPECT_FALSE(SerialAltFunc({1}, 32).has(1)) << "of a range only the first code counts";
    EXPECT_TRUE(SerialAltFunc({1}, 30).has(1));
    EXPECT_FALSE(SerialAltFunc({1}, 123).has(1));
    put(keys, "31");
    EXPECT_FALSE(SerialAltFunc({1}, 1234).has(1)) << "read afresh";
}

TEST_F(SerialAltFuncTest, OnlyTheFirstWordOfAListCounts) {
    put(keys, " 30,31 40,41\n");
    EXPECT_TRUE(SerialAltFunc({1}, 31).has(1));
    EXPECT_FALSE(SerialAltFunc({1}, 40).has(1));
    EXPECT_FALSE(SerialAltFunc({1}, 41).has(1));
}

TEST_F(SerialAltFuncTest, KeysAreReadOnlyWhereTheyDecide) {
    testing_support::remove("/sys/devices/platform/gpio-keys");
    EXPECT_EQ(thrown([] {
                  SerialAltFunc port({0, 1, 9}, 31);
                  port.has(0);
                  port.has(9);
                  port.has(2);
                  SerialAltFunc({1}).has(1);
              }),
              "nothing");
    EXPECT_EQ(thrown([] { SerialAltFunc({1}, 31).has(1); }), "stream failure");
}

TEST_F(SerialAltFuncTest, EmptyKeysAreAStreamFailure) {
    for (const char* text : {"", "\n", " \n"}) {
        put(keys, text);
        EXPECT_EQ(thrown([] { SerialAltFunc({1}, 31).has(1); }), "stream failure");
        EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 0), "stream failure");
    }
}

TEST_F(SerialAltFuncTest, UnreadableKeysAreAStreamFailure) {
    testing_support::remove(keys);
    std::filesystem::create_directory(keys);
    EXPECT_EQ(thrown([] { SerialAltFunc({1}, 31).has(1); }), "stream failure");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 0), "stream failure");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 1), "stream failure");
}

// ---- set to the serial function: the key is disabled

TEST_F(SerialAltFuncTest, SerialFunctionAddsTheKey) {
    EXPECT_THAT(disabled_with("30\n", 31), UnorderedElementsAre("30", "31"));
    EXPECT_THAT(disabled_with("40,41,42", 31), UnorderedElementsAre("31", "40", "41", "42"));
}

TEST_F(SerialAltFuncTest, SerialFunctionCollapsesDuplicates) {
    EXPECT_THAT(disabled_with("30,31\n", 31), UnorderedElementsAre("30", "31"));
    EXPECT_THAT(disabled_with("30,30,31,30", 31), UnorderedElementsAre("30", "31"));
}

TEST_F(SerialAltFuncTest, EmptyDisabledKeysAreAnEmptyList) {
    for (const char* text : {"", "\n", " \n"}) {
        EXPECT_THAT(disabled_with(text, 31), ElementsAre("31"));
        EXPECT_EQ(enabled(text, 31), "0,");
    }
}

// ---- set to the key function: the key is enabled

TEST_F(SerialAltFuncTest, KeyFunctionRemovesEveryOccurrenceAndKeepsTheOrder) {
    EXPECT_EQ(enabled("40,31,30,31,35\n", 31), "40,30,35,");
    EXPECT_EQ(enabled("40,30,40\n", 31), "40,30,40,");
}

TEST_F(SerialAltFuncTest, KeyFunctionLeavesZeroForAnEmptyList) {
    EXPECT_EQ(enabled("31\n", 31), "0,");
    EXPECT_EQ(enabled("31,31\n", 31), "0,");
}

TEST_F(SerialAltFuncTest, TrailingCommaReadsAsOneMoreZero) {
    EXPECT_EQ(enabled("30,40,\n", 31), "30,40,0,");
    EXPECT_EQ(enabled("30,31,\n", 31), "30,0,");
    EXPECT_THAT(disabled_with("30,\n", 31), UnorderedElementsAre("30", "31", "0"));
    put(keys, "30,\n");
    EXPECT_EQ(set_of(SerialAltFunc({0}, 0), 0), "nothing") << "code 0 is then among the keys";
}

TEST_F(SerialAltFuncTest, PieceThatIsNoNumberReadsAsZero) {
    EXPECT_EQ(enabled("key,,40\n", 31), "0,0,40,");
    EXPECT_EQ(enabled("40-45,50x,-7\n", 31), "40,50,-7,");
}

TEST_F(SerialAltFuncTest, NumberThatDoesNotFitIsTheNearestThatDoes) {
    EXPECT_EQ(enabled("2147483648,-2147483649,99999999999999999999\n", 31), "2147483647,-2147483648,2147483647,");
}

// ---- set, both ways

TEST_F(SerialAltFuncTest, FunctionThatIsNotSupportedIsInvalid) {
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 2), invalid);
    EXPECT_EQ(set_of(SerialAltFunc({1}, 31), 0), invalid);
    EXPECT_EQ(set_of(SerialAltFunc({0}, 31), 1), invalid);
    EXPECT_EQ(content(disabled), "30,31\n");
}

TEST_F(SerialAltFuncTest, KeyThatTheDriverLacksIsInvalid) {
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 77), 0), invalid);
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 77), 1), invalid);
    EXPECT_EQ(content(disabled), "30,31\n");
    put(keys, "30,31\n");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}), 0), invalid) << "0 is no key of this driver";
}

TEST_F(SerialAltFuncTest, OtherListedFunctionsTouchNoFile) {
    testing_support::remove("/sys/devices/platform/gpio-keys");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1, 2, -5}, 31), 2), "nothing");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1, 2, -5}, 31), -5), "nothing");
}

TEST_F(SerialAltFuncTest, SetAsksAnOverriddenHas) {
    struct Nothing : SerialAltFunc {
        using SerialAltFunc::SerialAltFunc;
        bool has(const serial_alt_func_t& /*function*/) override { return false; }
    };
    EXPECT_EQ(thrown([] { Nothing({0, 1}, 31).set(0); }), invalid);
}

TEST_F(SerialAltFuncTest, DisabledKeysThatCannotBeReadAreAStreamFailure) {
    testing_support::remove(disabled);
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 0), "stream failure");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 1), "stream failure");
    std::filesystem::create_directory(disabled);
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 0), "stream failure");
    EXPECT_EQ(set_of(SerialAltFunc({0, 1}, 31), 1), "stream failure");
}

TEST_F(SerialAltFuncTest, GlobalLocaleChangesNothing) {
    const testing_support::GroupingLocale grouping;
    EXPECT_TRUE(SerialAltFunc({1}, 1234).has(1));
    EXPECT_THAT(disabled_with("30", 1234), UnorderedElementsAre("30", "1234"));
    EXPECT_EQ(enabled("1234,2345678", 31), "1234,2345678,");
}

class SerialAltFuncActs : public SerialAltFuncTest {
protected:
    void SetUp() override {
        VELMOR_NEEDS_RECORDER();
        SerialAltFuncTest::SetUp();
        put(disabled, "31\n");
    }

    /** Opens and writes, in order. */
    std::vector<std::string> acts(serial_alt_func_t function, const std::string& expected = "nothing") const {
        Outcome outcome = recorder_.run([&] {
            return set_of(SerialAltFunc({0, 1, 2}, 31), function) == expected ? 1 : 0;
        });
        EXPECT_EQ(outcome.result, 1);
        std::erase_if(outcome.acts,
                      [](const std::string& act) { return !act.starts_with("open ") && !act.starts_with("write "); });
        return outcome.acts;
    }

    Recorder recorder_;
    const std::string read_keys_ = std::string("open ") + keys + " r";
    const std::string read_disabled_ = std::string("open ") + disabled + " r";
    const std::string open_disabled_ = std::string("open ") + disabled + " w";
    const std::string write_disabled_ = std::string("write ") + disabled + " ";
};

TEST_F(SerialAltFuncActs, SerialFunctionChecksReadsAndWritesOnce) {
    EXPECT_THAT(acts(0), ElementsAre(read_keys_, read_disabled_, open_disabled_, write_disabled_ + "31,"));
}

TEST_F(SerialAltFuncActs, KeyFunctionChecksReadsAndWritesOnce) {
    EXPECT_THAT(acts(1), ElementsAre(read_keys_, read_keys_, read_disabled_, open_disabled_, write_disabled_ + "0,"));
}

TEST_F(SerialAltFuncActs, OtherFunctionDoesNothing) {
    EXPECT_THAT(acts(2), ElementsAre());
}

TEST_F(SerialAltFuncActs, RefusedListIsAStreamFailure) {
    recorder_.fail(std::string("write ") + disabled, EINVAL);
    EXPECT_THAT(acts(0, "stream failure"),
                ElementsAre(read_keys_, read_disabled_, open_disabled_, write_disabled_ + "31, = EINVAL"));
}

TEST_F(SerialAltFuncTest, UnregisteredIsNotSupported) {
    EXPECT_EQ(thrown([] { Velmor::Board().serial_alt_func_set(0, 0); }), "system_error 95 Operation not supported");
    EXPECT_EQ(thrown([] { Velmor::Board().serial_alt_func_has(0, 0); }), "system_error 95 Operation not supported");
}

TEST_F(SerialAltFuncTest, NullFlagIsInvalid) {
    errno = 0;
    EXPECT_EQ(serial_alt_func_has(0, 0, nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
