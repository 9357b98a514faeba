// SPDX-License-Identifier: MIT
// Alternate functions: what is read from the driver's key lists and written to them.

#include "families/families_test.h"

using testing::AnyOf;
using testing::ElementsAreArray;
using namespace families;
using namespace testing_support;

namespace {

const std::string gpio_keys = "/sys/devices/platform/gpio-keys/";
const std::string keys = gpio_keys + "keys";
const std::string disabled_keys = gpio_keys + "disabled_keys";
constexpr char all_keys[] = "31,33,102,116\\n";

class AltFunc : public testing::Test {
protected:
    void SetUp() override {
        VELMOR_NEEDS_RECORDER();
        hardware({"raw", keys, all_keys});
    }

    static ChildResult record(const std::string& disabled, int port, serial_alt_func_t function) {
        hardware({"raw", disabled_keys, disabled});
        return run_in_child(Recorder().watch({gpio_keys}), call(serial_alt_func_set, port, function));
    }

    /** The list that a switch of port 0 writes if the driver shows this one. */
    static std::string written(const std::string& disabled, serial_alt_func_t function) {
        const ChildResult child = record(disabled, 0, function);
        EXPECT_THAT(child, returns(succeeds()));
        std::string bytes = "nothing";
        const std::string write = "write " + disabled_keys + " ";
        for (const std::string& act : child.acts) {
            if (!act.starts_with("write ")) continue;
            EXPECT_EQ(bytes, "nothing");
            bytes = act.substr(write.size());
        }
        return bytes;
    }
};

TEST_F(AltFunc, KeyFunctionRemovesTheKeyEverywhere) {
    EXPECT_EQ(written("31,33,31,102\\n", SERIAL_ALT_FUNC_KEY), "33,102,");
    EXPECT_EQ(written("33,102\\n", SERIAL_ALT_FUNC_KEY), "33,102,");
}

TEST_F(AltFunc, EmptyListIsWrittenAsCodeZero) {
    for (const char* disabled : {"31\\n", "\\n", ""})
        EXPECT_EQ(written(disabled, SERIAL_ALT_FUNC_KEY), "0,") << disabled;
}

TEST_F(AltFunc, SerialFunctionAddsTheKeyOnce) {
    for (const char* disabled : {"\\n", "31\\n"})
        EXPECT_EQ(written(disabled, SERIAL_ALT_FUNC_SERIAL), "31,") << disabled;
    for (const char* disabled : {"33\\n", "33,31\\n"})
        EXPECT_THAT(written(disabled, SERIAL_ALT_FUNC_SERIAL), AnyOf("31,33,", "33,31,")) << disabled;
}

TEST_F(AltFunc, TrailingCommaReadsAsCodeZeroAndARangeAsItsFirstCode) {
    EXPECT_EQ(written("31,33,\\n", SERIAL_ALT_FUNC_KEY), "33,0,");
    EXPECT_EQ(written("31-33,102\\n", SERIAL_ALT_FUNC_KEY), "102,");
    EXPECT_EQ(written("33,x,102 116\\n", SERIAL_ALT_FUNC_KEY), "33,0,102,");
}

TEST_F(AltFunc, UnsupportedFunctionIsInvalidAndNothingIsWritten) {
    const struct {
        serial_alt_func_t function;
        const char* handled;
        Acts acts;
    } rows[] = {
        {-1, all_keys, {}},
        {SERIAL_ALT_FUNC_KEY, "30,32\\n", read_acts(keys)},
        {SERIAL_ALT_FUNC_SERIAL, "30,32\\n", read_acts(keys)},
        {SERIAL_ALT_FUNC_SERIAL, "30-32\\n", read_acts(keys)},  // only the first code of a range counts
    };
    for (const auto& [function, handled, acts] : rows) {
        const testing::ScopedTrace row(__FILE__, __LINE__, std::to_string(function) + " " + handled);
        hardware({"raw", keys, handled});
        const ChildResult child = record("102\\n", 0, function);
        EXPECT_THAT(child, returns(fails_with(EINVAL), failed("serial_alt_func_set", "Invalid argument")));
        EXPECT_THAT(child.acts, ElementsAreArray(acts));
    }
}

// Port 1 has no key, which is code 0: the code that a trailing comma reads as is taken for its key.
TEST_F(AltFunc, TrailingCommaOfTheHandledKeysReadsAsCodeZeroToo) {
    hardware({"raw", keys, "31,33,\\n"});
    const ChildResult child = record("33\\n", 1, SERIAL_ALT_FUNC_SERIAL);
    EXPECT_THAT(child, returns(succeeds()));
    ASSERT_EQ(child.acts.size(), 9U);
    EXPECT_THAT(child.acts[7], AnyOf("write " + disabled_keys + " 0,33,", "write " + disabled_keys + " 33,0,"));
}

TEST_F(AltFunc, PortHasTheFunctionsThatItListsAndTheDriverHandles) {
    const auto query = [](int port, int function) { return call(serial_alt_func_has, port, function); };
    const Scenario has = in_turn({query(0, 0), query(0, 1), query(0, 2), query(1, 0), query(1, 1), query(1, 2)});
    const CallResult yes = succeeds("true");
    const CallResult no = succeeds("false");
    EXPECT_THAT(run_in_child(has), returns({yes, yes, no, yes, no, yes}));
    hardware({"raw", keys, "33,102\\n"});
    EXPECT_THAT(run_in_child(has), returns({yes, no, no, yes, no, yes}));
}

TEST_F(AltFunc, FileThatFailsIsAStreamFailure) {
    hardware({"raw", disabled_keys, "102\\n"});
    constexpr char unreadable[] = "basic_filebuf::underflow error reading the file: Permission denied";
    const struct {
        std::string fault;
        std::string cause = stream_failure;
    } rows[] = {
        {keys + ":open:EACCES"},
        {disabled_keys + ":open:EACCES:1"},
        {disabled_keys + ":open:EACCES:2"},
        {disabled_keys + ":read:EACCES", unreadable},
        {disabled_keys + ":write:EACCES"},
        {disabled_keys + ":close:EACCES:1"},
        {disabled_keys + ":close:EACCES:2"},
    };
    for (const auto& [act, cause] : rows) {
        const Fault fault(act);
        EXPECT_THAT(run_in_child(call(serial_alt_func_set, 0, SERIAL_ALT_FUNC_SERIAL)),
                    returns(file_fails_with(EACCES), failed("serial_alt_func_set", cause)))
            << act;
    }
    const Fault fault(keys + ":open:EACCES");
    EXPECT_THAT(run_in_child(call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_KEY)),
                returns(file_fails_with(EACCES, untouched), failed("serial_alt_func_has", stream_failure)));
}

}  // namespace
