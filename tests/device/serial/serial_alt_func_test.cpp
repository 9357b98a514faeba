// SPDX-License-Identifier: MIT
#include "serial/serial_alt_func.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <vector>

#include "support/device.h"

using testing::UnorderedElementsAreArray;
using Velmor::SerialAltFunc;
using namespace testing_support;

namespace {

const std::string keys = "/sys/devices/platform/gpio-keys/keys";
const std::string disabled = "/sys/devices/platform/gpio-keys/disabled_keys";

constexpr serial_alt_func_t serial = SERIAL_ALT_FUNC_SERIAL;
constexpr serial_alt_func_t key = SERIAL_ALT_FUNC_KEY;

const std::string invalid = system_error(EINVAL);

/** A pin whose key has this code. */
SerialAltFunc pin(int code = 31) {
    return {{serial, key, 2, -5}, code};
}

/** What switching this pin throws. */
std::string switching(SerialAltFunc port, serial_alt_func_t function) {
    return thrown([&] { port.set(function); });
}

std::string switching_to(serial_alt_func_t function) {
    return switching(pin(), function);
}

bool has_key(int code) {
    return SerialAltFunc({key}, code).has(key);
}

class SerialAltFuncTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put(keys, "30-32,31,1234,0\n");
        put(disabled, "30,31\n");
    }
};

// ---- Which functions a port has ------------------------------------------------------------------------------------

TEST_F(SerialAltFuncTest, HasOnlyListedFunctions) {
    for (const int listed : {serial, key, 2, -5}) EXPECT_TRUE(pin().has(listed)) << listed;
    for (const int other : {3, -1}) EXPECT_FALSE(pin().has(other)) << other;
    EXPECT_FALSE(SerialAltFunc({}, 31).has(serial));
    EXPECT_FALSE(SerialAltFunc({serial}, 31).has(key));
}

TEST_F(SerialAltFuncTest, PinWithoutKeyHasNoKeyFunction) {
    for (SerialAltFunc without : {SerialAltFunc({serial, key}), SerialAltFunc({serial, key}, 0)}) {
        EXPECT_TRUE(without.has(serial));
        EXPECT_FALSE(without.has(key));
        EXPECT_EQ(switching(without, key), invalid);
    }
    EXPECT_EQ(content(disabled), "30,31\n");
}

TEST_F(SerialAltFuncTest, KeyFunctionNeedsTheDriversKey) {
    for (const int code : {30, 1234}) EXPECT_TRUE(has_key(code)) << code;
    EXPECT_FALSE(has_key(123));
    EXPECT_FALSE(has_key(32)) << "of a range only the first code counts";
    put(keys, "31");
    EXPECT_FALSE(has_key(1234)) << "the file is read by every call";
}

TEST_F(SerialAltFuncTest, OnlyTheFirstWordOfTheKeysCounts) {
    put(keys, " 30,31 40,41\n");
    EXPECT_TRUE(has_key(31));
    EXPECT_FALSE(has_key(40));
    EXPECT_FALSE(has_key(41));
}

TEST_F(SerialAltFuncTest, KeysAreReadOnlyForTheKeyFunction) {
    testing_support::remove("/sys/devices/platform/gpio-keys");
    for (const int function : {serial, 2, 3}) EXPECT_EQ(thrown([&] { pin().has(function); }), "nothing") << function;
    EXPECT_EQ(thrown([] { SerialAltFunc({key}).has(key); }), "nothing");
    EXPECT_EQ(thrown([] { pin().has(key); }), "stream failure");
}

TEST_F(SerialAltFuncTest, KeysWithoutACodeAreAStreamFailure) {
    for (const char* text : {"", "\n", " \n"}) {
        put(keys, text);
        EXPECT_EQ(thrown([] { has_key(31); }), "stream failure") << text;
        EXPECT_EQ(switching_to(serial), "stream failure") << text;
    }
}

TEST_F(SerialAltFuncTest, UnreadableKeysAreAStreamFailure) {
    put_directory(keys);
    EXPECT_EQ(thrown([] { has_key(31); }), "stream failure");
    for (const auto function : {serial, key}) EXPECT_EQ(switching_to(function), "stream failure") << function;
}

// ---- What is written to the disabled keys --------------------------------------------------------------------------

/** The codes of a list as it is written, with a comma behind each. */
std::vector<std::string> codes(const std::string& text) {
    EXPECT_TRUE(text.ends_with(",")) << text;
    std::istringstream list(text);
    std::vector<std::string> result;
    for (std::string code; std::getline(list, code, ',');) result.push_back(code);
    return result;
}

TEST_F(SerialAltFuncTest, SerialFunctionAddsTheKeyAndDropsDuplicates) {
    const struct {
        const char* before;
        std::vector<std::string> after;  // in any order
    } rows[] = {
        {.before = "30\n", .after = {"30", "31"}},
        {.before = "40,41,42", .after = {"31", "40", "41", "42"}},
        {.before = "30,31\n", .after = {"30", "31"}},
        {.before = "30,30,31,30", .after = {"30", "31"}},
        {.before = "30,\n", .after = {"30", "31", "0"}},
        {.before = "", .after = {"31"}},
        {.before = "\n", .after = {"31"}},
        {.before = " \n", .after = {"31"}},
    };
    for (const auto& row : rows) {
        put(disabled, row.before);
        EXPECT_EQ(switching_to(serial), "nothing") << row.before;
        EXPECT_THAT(codes(content(disabled)), UnorderedElementsAreArray(row.after)) << row.before;
    }
}

TEST_F(SerialAltFuncTest, KeyFunctionRemovesEveryOccurrenceAndKeepsTheOrder) {
    const struct {
        const char* before;
        const char* after;
    } rows[] = {
        {.before = "40,31,30,31,35\n", .after = "40,30,35,"},
        {.before = "40,30,40\n", .after = "40,30,40,"},
        // An empty list is written as code 0.
        {.before = "31\n", .after = "0,"},
        {.before = "31,31\n", .after = "0,"},
        {.before = "", .after = "0,"},
        {.before = "\n", .after = "0,"},
        {.before = " \n", .after = "0,"},
        // A piece that is no number reads as 0, and so does the one after a trailing comma.
        {.before = "30,40,\n", .after = "30,40,0,"},
        {.before = "30,31,\n", .after = "30,0,"},
        {.before = "key,,40\n", .after = "0,0,40,"},
        {.before = "40-45,50x,-7\n", .after = "40,50,-7,"},
        // A number that does not fit is the nearest that does.
        {.before = "2147483648,-2147483649,99999999999999999999\n", .after = "2147483647,-2147483648,2147483647,"},
    };
    for (const auto& row : rows) {
        put(disabled, row.before);
        EXPECT_EQ(switching_to(key), "nothing") << row.before;
        EXPECT_EQ(content(disabled), row.after) << row.before;
    }
}

TEST_F(SerialAltFuncTest, FunctionThatIsNotListedIsInvalid) {
    EXPECT_EQ(switching_to(3), invalid);
    EXPECT_EQ(switching({{key}, 31}, serial), invalid);
    EXPECT_EQ(switching({{serial}, 31}, key), invalid);
    EXPECT_EQ(content(disabled), "30,31\n");
}

TEST_F(SerialAltFuncTest, KeyThatTheDriverLacksIsInvalid) {
    for (const auto function : {serial, key}) EXPECT_EQ(switching(pin(77), function), invalid) << function;
    EXPECT_EQ(content(disabled), "30,31\n");
    put(keys, "30,31\n");
    EXPECT_EQ(switching(SerialAltFunc({serial, key}), serial), invalid) << "the driver has no key 0";
    put(keys, "30,\n");
    EXPECT_EQ(switching({{serial}, 0}, serial), "nothing") << "0 is read after the trailing comma";
}

TEST_F(SerialAltFuncTest, OtherListedFunctionsTouchNoFile) {
    testing_support::remove("/sys/devices/platform/gpio-keys");
    for (const int other : {2, -5}) EXPECT_EQ(switching_to(other), "nothing") << other;
}

TEST_F(SerialAltFuncTest, SetCallsAnOverriddenHas) {
    struct Nothing : SerialAltFunc {
        using SerialAltFunc::SerialAltFunc;
        bool has(const serial_alt_func_t& /*function*/) override { return false; }
    };
    EXPECT_EQ(thrown([] { Nothing({serial, key}, 31).set(serial); }), invalid);
}

TEST_F(SerialAltFuncTest, UnreadableDisabledKeysAreAStreamFailure) {
    remove(disabled);
    for (const auto function : {serial, key}) EXPECT_EQ(switching_to(function), "stream failure") << function;
    put_directory(disabled);
    for (const auto function : {serial, key}) EXPECT_EQ(switching_to(function), "stream failure") << function;
}

TEST_F(SerialAltFuncTest, GlobalLocaleChangesNothing) {
    const GroupingLocale grouping;
    EXPECT_TRUE(has_key(1234));
    put(disabled, "30");
    EXPECT_EQ(switching(pin(1234), serial), "nothing");
    EXPECT_THAT(codes(content(disabled)), testing::UnorderedElementsAre("30", "1234"));
    put(disabled, "1234,2345678");
    EXPECT_EQ(switching_to(key), "nothing");
    EXPECT_EQ(content(disabled), "1234,2345678,");
}

TEST_F(SerialAltFuncTest, KeysAreReadBeforeTheDisabledKeysAreWrittenOnce) {
    VELMOR_NEEDS_RECORDER();
    put(disabled, "31\n");
    expect_acts([] { pin().set(serial); },
                in_order({read_acts(keys), read_acts(disabled), write_acts(disabled, "31,")}));
    put(disabled, "31\n");
    expect_acts([] { pin().set(key); },
                in_order({read_acts(keys), read_acts(keys), read_acts(disabled), write_acts(disabled, "0,")}));
}

}  // namespace
