// SPDX-License-Identifier: MIT
// Alternate functions: what is read of the driver's key lists and what is written to them.

#include <gmock/gmock.h>
#include <cerrno>
#include <string>

#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::hardware;
using families::Kind;
using families::proves;
using testing::AnyOf;
using testing::ElementsAreArray;
using namespace testing_support;

namespace {

const std::string gpio_keys = "/sys/devices/platform/gpio-keys/";
const std::string keys = gpio_keys + "keys";
const std::string disabled_keys = gpio_keys + "disabled_keys";
constexpr char all_keys[] = "31,33,102,116\\n";

const auto switch_to_serial = call(serial_alt_func_set, 0, SERIAL_ALT_FUNC_SERIAL);

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

    /** What port 0 writes when it is switched and the driver shows this. */
    static std::string written(const std::string& disabled, serial_alt_func_t function) {
        const ChildResult child = record(disabled, 0, function);
        EXPECT_EQ(child.output, succeeds());
        EXPECT_EQ(child.error_text, "");
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

TEST_F(AltFunc, KeyFunctionRemovesEveryOccurrenceOfTheKey) {
    proves("serial_alt_func_set", Kind::good);
    EXPECT_EQ(written("31,33,31,102\\n", SERIAL_ALT_FUNC_KEY), "33,102,");
    EXPECT_EQ(written("33,102\\n", SERIAL_ALT_FUNC_KEY), "33,102,");
}

TEST_F(AltFunc, ListThatWouldBeEmptyIsWrittenAsCodeZero) {
    proves("serial_alt_func_set", Kind::good);
    EXPECT_EQ(written("31\\n", SERIAL_ALT_FUNC_KEY), "0,");
    EXPECT_EQ(written("\\n", SERIAL_ALT_FUNC_KEY), "0,");
    EXPECT_EQ(written("", SERIAL_ALT_FUNC_KEY), "0,");
}

TEST_F(AltFunc, SerialFunctionAddsTheKeyOnce) {
    proves("serial_alt_func_set", Kind::good);
    EXPECT_EQ(written("\\n", SERIAL_ALT_FUNC_SERIAL), "31,");
    EXPECT_EQ(written("31\\n", SERIAL_ALT_FUNC_SERIAL), "31,");
    EXPECT_THAT(written("33\\n", SERIAL_ALT_FUNC_SERIAL), AnyOf("31,33,", "33,31,"));
    EXPECT_THAT(written("33,31\\n", SERIAL_ALT_FUNC_SERIAL), AnyOf("31,33,", "33,31,"));
}

TEST_F(AltFunc, TrailingCommaReadsAsCodeZeroAndARangeAsItsFirst) {
    proves("serial_alt_func_set", Kind::good);
    EXPECT_EQ(written("31,33,\\n", SERIAL_ALT_FUNC_KEY), "33,0,");
    EXPECT_EQ(written("31-33,102\\n", SERIAL_ALT_FUNC_KEY), "102,");
    EXPECT_EQ(written("33,x,102 116\\n", SERIAL_ALT_FUNC_KEY), "33,0,102,");
}

TEST_F(AltFunc, FunctionThatIsNotSupportedIsInvalidAndNothingIsWritten) {
    proves("serial_alt_func_set", Kind::bad_input);
    const struct {
        serial_alt_func_t function;
        const char* handled;
        Acts acts;
    } rows[] = {
        {-1, all_keys, {}},
        {SERIAL_ALT_FUNC_KEY, "30,32\\n", read_acts(keys)},
        {SERIAL_ALT_FUNC_SERIAL, "30,32\\n", read_acts(keys)},
        {SERIAL_ALT_FUNC_SERIAL, "30-32\\n", read_acts(keys)},  // only the first of a range counts
    };
    for (const auto& row : rows) {
        hardware({"raw", keys, row.handled});
        const ChildResult child = record("102\\n", 0, row.function);
        EXPECT_EQ(child.output, fails_with(EINVAL)) << row.function << row.handled;
        EXPECT_EQ(child.error_text, failed("serial_alt_func_set", "Invalid argument")) << row.function << row.handled;
        EXPECT_THAT(child.acts, ElementsAreArray(row.acts)) << row.function << row.handled;
    }
}

// The port has no key, 0: the code that is read behind a trailing comma is taken for it.
TEST_F(AltFunc, TrailingCommaOfTheHandledKeysReadsAsCodeZeroToo) {
    proves("serial_alt_func_set", Kind::good);
    hardware({"raw", keys, "31,33,\\n"});
    const ChildResult child = record("33\\n", 1, SERIAL_ALT_FUNC_SERIAL);
    EXPECT_EQ(child.output, succeeds());
    ASSERT_EQ(child.acts.size(), 9U);
    EXPECT_THAT(child.acts[7], AnyOf("write " + disabled_keys + " 0,33,", "write " + disabled_keys + " 33,0,"));
}

TEST_F(AltFunc, HasIsTrueForWhatThePortListsAndTheDriverHandles) {
    proves("serial_alt_func_has", Kind::good);
    const std::string yes = succeeds("true");
    const std::string no = succeeds("false");
    const auto ports = [] {
        const auto has = [](int port, int function) { return call(serial_alt_func_has, port, function)(); };
        return joined({has(0, 0), has(0, 1), has(0, 2), has(1, 0), has(1, 1), has(1, 2)});
    };
    EXPECT_EQ(run_in_child(ports).output, joined({yes, yes, no, yes, no, yes}));
    hardware({"raw", keys, "33,102\\n"});
    EXPECT_EQ(run_in_child(ports).output, joined({yes, no, no, yes, no, yes}));
}

TEST_F(AltFunc, FileThatFailsIsAStreamFailure) {
    proves("serial_alt_func_set", Kind::bad_input);
    proves("serial_alt_func_has", Kind::bad_input);
    hardware({"raw", disabled_keys, "102\\n"});
    const auto expect_failure = [](const std::string& fault, const std::string& cause) {
        const families::Fault failing(fault);
        const ChildResult child = run_in_child(switch_to_serial);
        EXPECT_EQ(child.output, file_fails_with(EACCES)) << fault;
        EXPECT_EQ(child.error_text, failed("serial_alt_func_set", cause)) << fault;
    };
    expect_failure(keys + ":open:EACCES", stream_failure);
    for (const char* act : {"open:EACCES:1", "open:EACCES:2", "write:EACCES", "close:EACCES:1", "close:EACCES:2"})
        expect_failure(disabled_keys + ":" + act, stream_failure);
    expect_failure(disabled_keys + ":read:EACCES",
                   "basic_filebuf::underflow error reading the file: Permission denied");
    const families::Fault failing(keys + ":open:EACCES");
    EXPECT_EQ(run_in_child(call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_KEY)).output,
              file_fails_with(EACCES, untouched));
}

}  // namespace
