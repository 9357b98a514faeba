// SPDX-License-Identifier: MIT
// The short-range radio: the bytes of its attributes, its two lists and their contexts.

#include <gmock/gmock.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "families/calls.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::hardware;
using families::Kind;
using families::proves;
using testing::ElementsAre;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::failed;
using testing_support::joined;
using testing_support::Out;
using testing_support::Recorder;
using testing_support::run_in_child;
using testing_support::Scenario;
using testing_support::stream_failure;

namespace {

const std::string mrfi0 = "/sys/class/mrfi/mrfi0/";
const std::string mrfi1 = "/sys/class/mrfi/mrfi1/";

template <typename T>
Scenario asking(int (*function)(int, T*), int index) {
    return [=] {
        Out<T> out;
        return answer([&] { return function(index, out); }, out);
    };
}

// ---- Attributes ----------------------------------------------------------------------------------------------------

constexpr mrfi_addr_t highest = {{0xff, 0xff, 0xff, 0xff}};

struct Text {
    std::string function;
    std::string what;
    Scenario call;
    std::string file;
    std::string text;
    std::string output;
};

class MrfiTexts : public testing::TestWithParam<Text> {};

TEST_P(MrfiTexts, AreReadAsTheDriverShowsThem) {
    const bool good = GetParam().output.starts_with("0");
    proves(GetParam().function, good ? Kind::good : Kind::bad_input);
    const std::string before = hardware({"get", GetParam().file});
    hardware({"raw", GetParam().file, GetParam().text});
    const ChildResult child = run_in_child(GetParam().call);
    hardware({"raw", GetParam().file, before + "\\n"});
    EXPECT_EQ(child.output, GetParam().output);
    EXPECT_EQ(child.error_text, good ? "" : failed(GetParam().function, stream_failure));
}

constexpr char no_value[] = "-1: untouched";

INSTANTIATE_TEST_SUITE_P(
    Functions, MrfiTexts,
    testing::Values(
        Text{"mrfi_address_get", "without_prefix", asking(mrfi_address_get, 0), mrfi0 + "address", "ab0001\\n",
             "0: 1 0 ab 0 "},
        Text{"mrfi_address_get", "zero", asking(mrfi_address_get, 0), mrfi0 + "address", "0\\n", "0: 0 0 0 0 "},
        Text{"mrfi_address_get", "too_large", asking(mrfi_address_get, 0), mrfi0 + "address", "0x100000000\\n",
             no_value},
        Text{"mrfi_address_get", "empty", asking(mrfi_address_get, 0), mrfi0 + "address", "\\n", no_value},
        Text{"mrfi_rssi_get", "positive", asking(mrfi_rssi_get, 0), mrfi0 + "rssi", "12 dBm\\n", "0: 12"},
        Text{"mrfi_rssi_get", "word", asking(mrfi_rssi_get, 0), mrfi0 + "rssi", "none\\n", no_value},
        Text{"mrfi_type_get", "negative", asking(mrfi_type_get, 0), mrfi0 + "type", "-1\\n", "0: -1"},
        Text{"mrfi_type_get", "too_large", asking(mrfi_type_get, 0), mrfi0 + "type", "2147483648\\n", no_value},
        Text{"mrfi_autolink_get", "without_newline", asking(mrfi_autolink_get, 0), mrfi0 + "autolink", "1", "0: true"},
        Text{"mrfi_autolink_get", "neither_0_nor_1", asking(mrfi_autolink_get, 0), mrfi0 + "autolink", "2\\n",
             no_value}),
    [](const auto& instance) { return instance.param.function + "_" + instance.param.what; });

TEST(Mrfi, ClassIsTheUpperHalfOfTheAddress) {
    proves("mrfi_class_get", Kind::good);
    const mrfi_addr_t address = {{0x78, 0x56, 0x34, 0x12}};
    const ChildResult child = run_in_child([&] {
        Out<uint32_t> some;
        Out<uint32_t> largest;
        return joined({answer([&] { return mrfi_class_get(&address, some); }, some),
                       answer([&] { return mrfi_class_get(&highest, largest); }, largest)});
    });
    EXPECT_EQ(child.output, "0: 4660, 0: 65535");
}

// ---- Lists ---------------------------------------------------------------------------------------------------------

constexpr char two_lines[] = "0x12340001 1f 2 -60 1 0\\n0xab0002 ff 100 200 3 2\\n";

std::string next_connection(mrfi_enum_ctx* list) {
    Out<mrfi_connection_t> entry;
    return answer([&] { return mrfi_connection_list_read(list, entry); }, entry);
}

std::string next_device(mrfi_enum_ctx* list) {
    Out<mrfi_device_t> entry;
    return answer([&] { return mrfi_device_list_read(list, entry); }, entry);
}

/** All connections of interface 0 when the driver shows this text. */
std::string connections_of(const std::string& text) {
    hardware({"raw", mrfi0 + "connections", text});
    return run_in_child([] {
               mrfi_enum_ctx* list = nullptr;
               std::string all;
               mrfi_connection_list_open(0, &list);
               for (std::string entry; !(entry = next_connection(list)).starts_with("0");) all += "[" + entry + "]";
               mrfi_connection_list_close(list);
               return all;
           })
        .output;
}

std::string devices_of(const std::string& text) {
    hardware({"raw", mrfi0 + "devices", text});
    return run_in_child([] {
               mrfi_enum_ctx* list = nullptr;
               std::string all;
               mrfi_device_list_open(0, &list);
               for (std::string entry; !(entry = next_device(list)).starts_with("0");) all += "[" + entry + "]";
               mrfi_device_list_close(list);
               return all;
           })
        .output;
}

// The reserved bits, 22, are those of the 0x5A that the entry held before.
TEST(MrfiConnections, LinesInTheDriversFormat) {
    proves("mrfi_connection_list_read", Kind::good);
    EXPECT_EQ(connections_of("0x12340001 1f 2 -60 1 0\\n"), "[1: 31 2 196 10 22 1 0 34 12 ]");
    EXPECT_EQ(connections_of("ab0002 1ff 100 200 3 2\\n"), "[1: 255 0 200 10 22 2 0 ab 0 ]");
    EXPECT_EQ(connections_of("1 0 0 0 0 1\\n2 0 0 0 1 1"), "[1: 0 0 0 01 22 1 0 0 0 ][1: 0 0 0 11 22 2 0 0 0 ]");
}

TEST(MrfiConnections, ShortAndMalformedLines) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    EXPECT_EQ(connections_of("0x12340001\\n"), "[1: 0 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections_of("0x12340001 1f zz 3 1 1\\n"), "[1: 31 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections_of("zz\\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
    EXPECT_EQ(connections_of("100000000 1 1 1 1 1\\n"), "[1: 0 0 0 00 22 ff ff ff ff ]");
    EXPECT_EQ(connections_of(" \\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
}

TEST(MrfiConnections, AnEmptyLineEndsTheList) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    EXPECT_EQ(connections_of("1 0 0 0 0 0\\n\\n2 0 0 0 0 0\\n"), "[1: 0 0 0 00 22 1 0 0 0 ]");
    EXPECT_EQ(connections_of("\\n1 0 0 0 0 0\\n"), "");
    EXPECT_EQ(connections_of(""), "");
}

TEST(MrfiDevices, LinesInTheDriversFormat) {
    proves("mrfi_device_list_read", Kind::good);
    EXPECT_EQ(devices_of("0x12340001 3 7 n/a\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices_of("ab0002 4294967295 1 pump\\n3 0 0 N/A\\n"),
              "[1: 4294967295 1 pump 2 0 ab 0 ][1: 0 0 N/A 3 0 0 0 ]");
    EXPECT_EQ(devices_of("1 0 0 abcdefghijklmno\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
}

TEST(MrfiDevices, ShortAndMalformedLinesAndLongNames) {
    proves("mrfi_device_list_read", Kind::bad_input);
    EXPECT_EQ(devices_of("0x12340001\\n"), "[1: 0 0  1 0 34 12 ]");
    EXPECT_EQ(devices_of("0x12340001 3 7\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices_of("1 0 0 abcdefghijklmnopqrst\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
    EXPECT_EQ(devices_of("1 0 0 a\\n\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ]");
}

TEST(MrfiLists, ContextReadsToTheEndAndThenZeroAgain) {
    proves("mrfi_connection_list_open", Kind::good);
    proves("mrfi_connection_list_read", Kind::good);
    proves("mrfi_connection_list_close", Kind::good);
    hardware({"raw", mrfi0 + "connections", two_lines});
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* list = nullptr;
        return joined({answer([&] { return mrfi_connection_list_open(0, &list); }), next_connection(list),
                       next_connection(list), next_connection(list), next_connection(list),
                       answer([&] { return mrfi_connection_list_close(list); })});
    });
    EXPECT_EQ(child.output,
              "0, 1: 31 2 196 10 22 1 0 34 12 , 1: 255 0 200 10 22 2 0 ab 0 , 0: untouched, 0: untouched, 0");
    EXPECT_EQ(child.error_text, "");
}

TEST(MrfiLists, NullEntryDoesNotAdvanceTheContext) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    proves("mrfi_device_list_read", Kind::bad_input);
    hardware({"raw", mrfi0 + "connections", two_lines});
    hardware({"raw", mrfi0 + "devices", "0x12340001 3 7 n/a\\n"});
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* list = nullptr;
        mrfi_enum_ctx* seen = nullptr;
        mrfi_connection_list_open(0, &list);
        mrfi_device_list_open(0, &seen);
        std::string text =
            joined({answer([&] { return mrfi_connection_list_read(list, nullptr); }), next_connection(list),
                    answer([&] { return mrfi_device_list_read(seen, nullptr); }), next_device(seen)});
        mrfi_connection_list_close(list);
        mrfi_device_list_close(seen);
        return text;
    });
    EXPECT_EQ(child.output, "-22 errno 22, 1: 31 2 196 10 22 1 0 34 12 , -22 errno 22, 1: 3 7  1 0 34 12 ");
    EXPECT_EQ(child.error_text, "");
}

TEST(MrfiLists, ContextIsASnapshotAndContextsAreIndependent) {
    proves("mrfi_device_list_open", Kind::good);
    proves("mrfi_device_list_read", Kind::good);
    proves("mrfi_device_list_close", Kind::good);
    hardware({"set", "mrfi0.devices", "1 0 0 a;2 0 0 b"});
    hardware({"set", "mrfi1.devices", "3 0 0 c"});
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* first = nullptr;
        mrfi_enum_ctx* again = nullptr;
        mrfi_enum_ctx* second = nullptr;
        mrfi_device_list_open(0, &first);
        hardware({"set", "mrfi0.devices", "9 0 0 new"});
        mrfi_device_list_open(0, &again);
        mrfi_device_list_open(1, &second);
        std::string text = joined({next_device(first), next_device(second), next_device(again), next_device(first),
                                   next_device(second), next_device(again)});
        for (mrfi_enum_ctx* list : {first, again, second})
            text += ", " + answer([=] { return mrfi_device_list_close(list); });
        return text;
    });
    EXPECT_EQ(child.output,
              "1: 0 0 a 1 0 0 0 , 1: 0 0 c 3 0 0 0 , 1: 0 0 new 9 0 0 0 , 1: 0 0 b 2 0 0 0 , 0: untouched, "
              "0: untouched, 0, 0, 0");
}

TEST(MrfiLists, FileThatCannotBeReadIsAnEmptyList) {
    proves("mrfi_connection_list_open", Kind::bad_input);
    proves("mrfi_device_list_open", Kind::bad_input);
    hardware({"set", "mrfi0.connections", "0x12340001 1f 2 -60 1 0"});
    hardware({"set", "mrfi0.devices", "0x12340001 3 7 n/a"});
    for (const char* fault : {"/sys/class/mrfi/mrfi0/*:open:ENOENT", "/sys/class/mrfi/mrfi0/*:read:EIO"}) {
        const families::Fault failing(fault);
        const ChildResult child = run_in_child([] {
            mrfi_enum_ctx* list = nullptr;
            mrfi_enum_ctx* seen = nullptr;
            std::string text =
                joined({std::to_string(mrfi_connection_list_open(0, &list)),
                        std::to_string(mrfi_device_list_open(0, &seen)), next_connection(list), next_device(seen)});
            mrfi_connection_list_close(list);
            mrfi_device_list_close(seen);
            return text;
        });
        EXPECT_EQ(child.output, "0, 0, 0: untouched, 0: untouched") << fault;
        EXPECT_EQ(child.error_text, "") << fault;
    }
}

// What has been read is shown, whatever comes of the close.
TEST(MrfiLists, FileWhoseCloseFailsIsListed) {
    proves("mrfi_connection_list_open", Kind::bad_input);
    proves("mrfi_device_list_open", Kind::bad_input);
    const families::Fault failing("/sys/class/mrfi/mrfi0/*:close:EIO");
    EXPECT_EQ(connections_of("1 0 0 0 0 0\\n2 0 0 0 0 0\\n"), "[1: 0 0 0 00 22 1 0 0 0 ][1: 0 0 0 00 22 2 0 0 0 ]");
    EXPECT_EQ(devices_of("1 0 0 a\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ][1: 0 0 b 2 0 0 0 ]");
}

TEST(MrfiLists, ContextWithoutOwnerIsNotValidThoughThereAreInterfaces) {
    for (const std::string name : {"mrfi_connection_list_read", "mrfi_connection_list_close", "mrfi_device_list_read",
                                   "mrfi_device_list_close"}) {
        proves(name, Kind::bad_input);
        const ChildResult child = run_in_child([&] { return families::calls().at(name)(0); });
        EXPECT_EQ(child.output, name.ends_with("_read") ? "-1: untouched" : "-1") << name;
        EXPECT_EQ(child.error_text, name + " failed: enumeration context not valid\n") << name;
    }
}

TEST(MrfiLists, AreOpenedReadToTheEndAndClosedAtOnce) {
    VELMOR_NEEDS_RECORDER();
    proves("mrfi_connection_list_open", Kind::good);
    hardware({"raw", mrfi0 + "connections", two_lines});
    const std::string path = mrfi0 + "connections";
    const ChildResult child = run_in_child(Recorder().watch({"/sys/class/mrfi/"}), [] {
        mrfi_enum_ctx* list = nullptr;
        const std::string opened = answer([&] { return mrfi_connection_list_open(0, &list); });
        const std::string first = next_connection(list);
        mrfi_connection_list_close(list);
        return joined({opened, first});
    });
    EXPECT_EQ(child.output, "0, 1: 31 2 196 10 22 1 0 34 12 ");
    EXPECT_THAT(child.acts, ElementsAre("open " + path + " r", "read " + path, "read " + path, "close " + path));
}

// ---- Long lists ----------------------------------------------------------------------------------------------------

/** What a run of its own left behind: the example listed an interface with very many peers. */
std::string left_behind(const std::string& file) {
    const char* const directory = std::getenv("VELMOR_LONG_LISTS");
    std::ifstream stream(std::string(directory == nullptr ? "" : directory) + "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

constexpr int many = 100000;

TEST(MrfiLongLists, AreListedWholeAndInOrder) {
    for (const char* function : {"mrfi_connection_list_read", "mrfi_device_list_read"}) proves(function, Kind::good);
    std::string expected = "connections of interface 0\n";
    std::array<char, 80> line = {};
    for (int i = 1; i <= many; ++i) {
        std::snprintf(line.data(), line.size(), "  %08x  values %d 2 196  flags 1 0\n", i, i % 256);
        expected += line.data();
    }
    expected += "devices seen by interface 0\n";
    for (int i = 1; i <= many; ++i) {
        std::snprintf(line.data(), line.size(), "  %08x  class %04x  values %d 7  peer%d\n", i, i >> 16, i, i);
        expected += line.data();
    }
    // Not EXPECT_EQ, which would look for the smallest difference of a hundred thousand lines.
    EXPECT_TRUE(left_behind("output") == expected);
}

// The record tells the bytes of every read: together they are the file's, once.
TEST(MrfiLongLists, AreReadOnceEach) {
    for (const char* function : {"mrfi_connection_list_open", "mrfi_device_list_open"}) proves(function, Kind::good);
    for (const std::string list : {"connections", "devices"}) {
        long opens = 0;
        long reads = 0;
        long bytes = 0;
        std::istringstream acts(left_behind("acts"));
        for (std::string act; std::getline(acts, act);) {
            if (act.find("/mrfi0/" + list + "\"") == std::string::npos) continue;
            if (act.starts_with(R"({"act":"open")")) ++opens;
            if (!act.starts_with(R"({"act":"read")")) continue;
            ++reads;
            const std::string result = R"("result":)";
            bytes += std::stol(act.substr(act.rfind(result) + result.size()));
        }
        const long size = static_cast<long>(left_behind(list).size());
        EXPECT_GT(size, many * 20);
        EXPECT_EQ(opens, 1) << list;
        EXPECT_EQ(bytes, size) << list;
        EXPECT_EQ(reads, (size + 4095) / 4096 + 1) << list;  // in pages, and the end
    }
}

// ---- The example ---------------------------------------------------------------------------------------------------

TEST(MrfiLists, ExampleListsBothInterfaces) {
    for (const char* function :
         {"mrfi_connection_list_open", "mrfi_connection_list_read", "mrfi_connection_list_close",
          "mrfi_device_list_open", "mrfi_device_list_read", "mrfi_device_list_close", "mrfi_class_get"})
        proves(function, Kind::good);
    hardware({"set", "mrfi0.connections", "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1"});
    hardware({"set", "mrfi0.devices", "0x12340001 3 7 n/a;0x12340002 4 1 pump;0x5678abcd 5 0 anchor-light"});
    hardware({"set", "mrfi1.connections", ""});
    hardware({"set", "mrfi1.devices", ""});
    EXPECT_EQ(families::output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS}),
              "connections of interface 0\n"
              "  12340001  values 31 2 196  flags 1 0\n"
              "  12340002  values 10 3 185  flags 0 1\n"
              "devices seen by interface 0\n"
              "  12340001  class 1234  values 3 7  (no name)\n"
              "  12340002  class 1234  values 4 1  pump\n"
              "  5678abcd  class 5678  values 5 0  anchor-light\n");
    EXPECT_EQ(families::output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, "1"}),
              "connections of interface 1\ndevices seen by interface 1\n");
}

TEST(MrfiLists, ExampleSaysThatTheBoardHasNone) {
    proves("mrfi_connection_list_open", Kind::absent);
    EXPECT_EQ(families::output_of(VELMOR_DEVICES_OWN_BOARD, {VELMOR_MRFI_LISTS}),
              "mrfi_connection_list_open failed: Operation not supported\nexit 1");
}

TEST(MrfiLists, ExampleTakesNoOtherInterface) {
    const std::string usage = "usage: mrfi_lists [INTERFACE]   with INTERFACE 0 or 1\nexit 2";
    for (const char* wrong : {"2", "-1", "1x", ""})
        EXPECT_EQ(families::output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, wrong}), usage) << wrong;
    EXPECT_EQ(families::output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, "0", "1"}), usage);
}

}  // namespace
