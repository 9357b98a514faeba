// SPDX-License-Identifier: MIT
// The short-range radio: the bytes of its attributes, its two lists and their contexts.

#include <gmock/gmock.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

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
using namespace testing_support;

namespace {

const std::string mrfi0 = "/sys/class/mrfi/mrfi0/";
const CallResult at_the_end = succeeds(untouched);

CallResult listed(const std::string& entry) {
    return {1, untouched_errno, entry};
}

constexpr mrfi_addr_t highest = {{0xff, 0xff, 0xff, 0xff}};

TEST(Mrfi, ClassIsTheUpperHalfOfTheAddress) {
    proves("mrfi_class_get", Kind::good);
    const mrfi_addr_t address = {{0x78, 0x56, 0x34, 0x12}};
    EXPECT_EQ(run_in_child(call(mrfi_class_get, address)).output, succeeds("4660"));
    EXPECT_EQ(run_in_child(call(mrfi_class_get, highest)).output, succeeds("65535"));
}

// ---- Lists ---------------------------------------------------------------------------------------------------------

/** One of the two lists, with its functions. */
template <typename Entry>
struct List {
    std::string name;
    int (*open)(int, mrfi_enum_ctx**);
    int (*read)(mrfi_enum_ctx*, Entry*);
    int (*close)(mrfi_enum_ctx*);

    void works() const {
        const std::string prefix = "mrfi_" + name.substr(0, name.size() - 1) + "_list_";
        for (const char* function : {"open", "read", "close"}) proves(prefix + function, Kind::good);
    }

    mrfi_enum_ctx* opened(int index = 0) const {
        mrfi_enum_ctx* context = nullptr;
        if (open(index, &context) != 0) throw std::runtime_error("cannot open the list of " + name);
        return context;
    }

    std::string next(mrfi_enum_ctx* context) const { return call(read, context)(); }

    /** All entries of interface 0 when the driver shows this text. */
    std::string entries_of(const std::string& text) const {
        hardware({"raw", mrfi0 + name, text});
        return run_in_child([this] {
                   mrfi_enum_ctx* context = opened();
                   std::string all;
                   for (std::string entry; !(entry = next(context)).starts_with("0");) all += "[" + entry + "]";
                   close(context);
                   return all;
               })
            .output;
    }

    /** Opens the list of this interface when the driver shows these lines, and reads it four times. */
    void expect_entries(int index, const std::string& lines, const std::vector<std::string>& entries) const {
        hardware({"set", "mrfi" + std::to_string(index) + "." + name, lines});
        const ChildResult child = run_in_child([this, index] {
            mrfi_enum_ctx* context = nullptr;
            return joined({answer([&] { return open(index, &context); }), next(context), next(context), next(context),
                           next(context), answer([&] { return close(context); })});
        });
        std::string expected = succeeds();
        for (const std::string& entry : entries) expected = joined({expected, listed(entry)});
        for (auto i = entries.size(); i < 4; ++i) expected = joined({expected, at_the_end});
        EXPECT_EQ(child.output, joined({expected, succeeds()})) << name << index;
        EXPECT_EQ(child.error_text, "") << name << index;
    }
};

const List<mrfi_connection_t> connections = {"connections", mrfi_connection_list_open, mrfi_connection_list_read,
                                             mrfi_connection_list_close};
const List<mrfi_device_t> devices = {"devices", mrfi_device_list_open, mrfi_device_list_read, mrfi_device_list_close};

TEST(MrfiLists, AreReadToTheEndAndThenEndAgain) {
    connections.works();
    devices.works();
    for (const int index : {0, 1}) {
        // The reserved bits, 22, are those of the 0x5A that the entry held before.
        connections.expect_entries(index, "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1",
                                   {"31 2 196 10 22 1 0 34 12 ", "10 3 185 01 22 2 0 34 12 "});
        devices.expect_entries(index, "0x12340001 3 7 n/a;0x12340002 4 1 pump",
                               {"3 7  1 0 34 12 ", "4 1 pump 2 0 34 12 "});
        connections.expect_entries(index, "", {});
        devices.expect_entries(index, "", {});
    }
}

TEST(MrfiConnections, LinesInTheDriversFormat) {
    proves("mrfi_connection_list_read", Kind::good);
    EXPECT_EQ(connections.entries_of("0x12340001 1f 2 -60 1 0\\n"), "[1: 31 2 196 10 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("0xab0002 ff 100 200 3 2\\n"), "[1: 255 0 200 10 22 2 0 ab 0 ]");
    EXPECT_EQ(connections.entries_of("ab0002 1ff 100 200 3 2\\n"), "[1: 255 0 200 10 22 2 0 ab 0 ]");
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 1\\n2 0 0 0 1 1"),
              "[1: 0 0 0 01 22 1 0 0 0 ][1: 0 0 0 11 22 2 0 0 0 ]");
}

TEST(MrfiConnections, ShortAndMalformedLines) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    EXPECT_EQ(connections.entries_of("0x12340001\\n"), "[1: 0 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("0x12340001 1f zz 3 1 1\\n"), "[1: 31 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("zz\\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
    EXPECT_EQ(connections.entries_of("100000000 1 1 1 1 1\\n"), "[1: 0 0 0 00 22 ff ff ff ff ]");
    EXPECT_EQ(connections.entries_of(" \\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
}

TEST(MrfiConnections, AnEmptyLineEndsTheList) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 0\\n\\n2 0 0 0 0 0\\n"), "[1: 0 0 0 00 22 1 0 0 0 ]");
    EXPECT_EQ(connections.entries_of("\\n1 0 0 0 0 0\\n"), "");
    EXPECT_EQ(connections.entries_of(""), "");
}

TEST(MrfiDevices, LinesInTheDriversFormat) {
    proves("mrfi_device_list_read", Kind::good);
    EXPECT_EQ(devices.entries_of("0x12340001 3 7 n/a\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("ab0002 4294967295 1 pump\\n3 0 0 N/A\\n"),
              "[1: 4294967295 1 pump 2 0 ab 0 ][1: 0 0 N/A 3 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 abcdefghijklmno\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
}

TEST(MrfiDevices, ShortAndMalformedLinesAndLongNames) {
    proves("mrfi_device_list_read", Kind::bad_input);
    EXPECT_EQ(devices.entries_of("0x12340001\\n"), "[1: 0 0  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("0x12340001 3 7\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 abcdefghijklmnopqrst\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 a\\n\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ]");
}

TEST(MrfiLists, NullEntryDoesNotAdvanceTheContext) {
    proves("mrfi_connection_list_read", Kind::bad_input);
    proves("mrfi_device_list_read", Kind::bad_input);
    hardware({"set", "mrfi0.connections", "0x12340001 1f 2 -60 1 0"});
    hardware({"set", "mrfi0.devices", "0x12340001 3 7 n/a"});
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* linked = connections.opened();
        mrfi_enum_ctx* seen = devices.opened();
        return joined({call(mrfi_connection_list_read, linked, nullptr)(), connections.next(linked),
                       call(mrfi_device_list_read, seen, nullptr)(), devices.next(seen)});
    });
    EXPECT_EQ(child.output, joined({fails_with(EINVAL), listed("31 2 196 10 22 1 0 34 12 "), fails_with(EINVAL),
                                    listed("3 7  1 0 34 12 ")}));
    EXPECT_EQ(child.error_text, "");
}

TEST(MrfiLists, ContextIsASnapshotAndContextsAreIndependent) {
    devices.works();
    hardware({"set", "mrfi0.devices", "1 0 0 a;2 0 0 b"});
    hardware({"set", "mrfi1.devices", "3 0 0 c"});
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* first = devices.opened();
        hardware({"set", "mrfi0.devices", "9 0 0 new"});
        mrfi_enum_ctx* again = devices.opened();
        mrfi_enum_ctx* second = devices.opened(1);
        std::string text = joined({devices.next(first), devices.next(second), devices.next(again), devices.next(first),
                                   devices.next(second), devices.next(again)});
        for (mrfi_enum_ctx* list : {first, again, second})
            text += ", " + answer([=] { return mrfi_device_list_close(list); });
        return text;
    });
    EXPECT_EQ(child.output, "1: 0 0 a 1 0 0 0 , 1: 0 0 c 3 0 0 0 , 1: 0 0 new 9 0 0 0 , 1: 0 0 b 2 0 0 0 , " +
                                joined({at_the_end, at_the_end, succeeds(), succeeds(), succeeds()}));
}

TEST(MrfiLists, FileThatCannotBeReadIsAnEmptyList) {
    proves("mrfi_connection_list_open", Kind::bad_input);
    proves("mrfi_device_list_open", Kind::bad_input);
    hardware({"set", "mrfi0.connections", "0x12340001 1f 2 -60 1 0"});
    hardware({"set", "mrfi0.devices", "0x12340001 3 7 n/a"});
    for (const char* fault : {"/sys/class/mrfi/mrfi0/*:open:ENOENT", "/sys/class/mrfi/mrfi0/*:read:EIO"}) {
        const families::Fault failing(fault);
        const ChildResult child = run_in_child([] {
            return joined({connections.next(connections.opened()), devices.next(devices.opened())});
        });
        EXPECT_EQ(child.output, joined({at_the_end, at_the_end})) << fault;
        EXPECT_EQ(child.error_text, "") << fault;
    }
}

// What has been read is shown, whatever comes of the close.
TEST(MrfiLists, FileWhoseCloseFailsIsListed) {
    proves("mrfi_connection_list_open", Kind::bad_input);
    proves("mrfi_device_list_open", Kind::bad_input);
    const families::Fault failing("/sys/class/mrfi/mrfi0/*:close:EIO");
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 0\\n2 0 0 0 0 0\\n"),
              "[1: 0 0 0 00 22 1 0 0 0 ][1: 0 0 0 00 22 2 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 a\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ][1: 0 0 b 2 0 0 0 ]");
}

TEST(MrfiLists, ContextWithoutOwnerIsNotValidThoughThereAreInterfaces) {
    for (const std::string name : {"mrfi_connection_list_read", "mrfi_connection_list_close", "mrfi_device_list_read",
                                   "mrfi_device_list_close"}) {
        proves(name, Kind::bad_input);
        const ChildResult child = run_in_child(families::call_of(name));
        EXPECT_EQ(child.output, refuses(name.ends_with("_read") ? untouched : "")) << name;
        EXPECT_EQ(child.error_text, failed(name, "enumeration context not valid")) << name;
    }
}

TEST(MrfiLists, AreOpenedReadToTheEndAndClosedAtOnce) {
    VELMOR_NEEDS_RECORDER();
    proves("mrfi_connection_list_open", Kind::good);
    hardware({"raw", mrfi0 + "connections", "0x12340001 1f 2 -60 1 0\\n0xab0002 ff 100 200 3 2\\n"});
    const std::string path = mrfi0 + "connections";
    const ChildResult child = run_in_child(Recorder().watch({"/sys/class/mrfi/"}), [] {
        mrfi_enum_ctx* list = nullptr;
        const std::string opened = answer([&] { return mrfi_connection_list_open(0, &list); });
        return joined({opened, connections.next(list), answer([&] { return mrfi_connection_list_close(list); })});
    });
    EXPECT_EQ(child.output, joined({succeeds(), listed("31 2 196 10 22 1 0 34 12 "), succeeds()}));
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

// The record has the bytes of every read: together they are the file's, once.
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
