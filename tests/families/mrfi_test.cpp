// SPDX-License-Identifier: MIT
// The lists of the short-range radio, and their contexts.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "families/families_test.h"

using namespace families;
using namespace testing_support;

namespace {

const std::string mrfi0 = "/sys/class/mrfi/mrfi0/";
const CallResult at_the_end = succeeds(untouched);

CallResult listed(const std::string& entry) {
    return {1, untouched_errno, entry};
}

// ---- Lists ---------------------------------------------------------------------------------------------------------

/** One of the two lists, with its functions. */
template <typename Entry>
struct List {
    std::string name;
    int (*open)(int, mrfi_enum_ctx**);
    int (*read)(mrfi_enum_ctx*, Entry*);
    int (*close)(mrfi_enum_ctx*);

    mrfi_enum_ctx* opened(int index = 0) const {
        mrfi_enum_ctx* context = nullptr;
        if (open(index, &context) != 0) throw std::runtime_error("cannot open the list of " + name);
        return context;
    }

    std::string next(mrfi_enum_ctx* context) const { return result_of(read, context); }

    /** All entries of interface 0 if the driver shows this text. */
    std::string entries_of(const std::string& text) const {
        hardware({"raw", mrfi0 + name, text});
        const Scenario read_to_the_end = [this] {
            mrfi_enum_ctx* context = opened();
            std::string all;
            for (std::string entry; !(entry = next(context)).starts_with("0");) all += "[" + entry + "]";
            close(context);
            return all;
        };
        return run_in_child(read_to_the_end).output;
    }

    /** Opens this interface's list while the driver shows these lines, and reads it four times. */
    void expect_entries(int index, const std::string& lines, std::vector<std::string> results) const {
        set_hardware("mrfi" + std::to_string(index) + "." + name + "=" + lines);
        const ChildResult child = run_in_child([this, index] {
            mrfi_enum_ctx* context = nullptr;
            return joined({result_of(open, index, &context), next(context), next(context), next(context), next(context),
                           result_of(close, context)});
        });
        results.resize(4, at_the_end);
        EXPECT_THAT(child, returns(joined({succeeds(), results[0], results[1], results[2], results[3], succeeds()})))
            << name << index;
    }
};

const List<mrfi_connection_t> connections = {"connections", mrfi_connection_list_open, mrfi_connection_list_read,
                                             mrfi_connection_list_close};
const List<mrfi_device_t> devices = {"devices", mrfi_device_list_open, mrfi_device_list_read, mrfi_device_list_close};

TEST(MrfiLists, AreReadToTheEndAndThenEndAgain) {
    proves(Kind::good, {"mrfi_connection_list_open", "mrfi_connection_list_read", "mrfi_connection_list_close",
                        "mrfi_device_list_open", "mrfi_device_list_read", "mrfi_device_list_close"});
    for (const int index : {0, 1}) {
        // The reserved bits, 22, are those of the 0x5A that the entry held before.
        connections.expect_entries(index, "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1",
                                   {listed("31 2 196 10 22 1 0 34 12 "), listed("10 3 185 01 22 2 0 34 12 ")});
        devices.expect_entries(index, "0x12340001 3 7 n/a;0x12340002 4 1 pump",
                               {listed("3 7  1 0 34 12 "), listed("4 1 pump 2 0 34 12 ")});
        connections.expect_entries(index, "", {});
        devices.expect_entries(index, "", {});
    }
}

TEST(MrfiConnections, LinesInTheDriversFormat) {
    EXPECT_EQ(connections.entries_of("0x12340001 1f 2 -60 1 0\\n"), "[1: 31 2 196 10 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("0xab0002 ff 100 200 3 2\\n"), "[1: 255 0 200 10 22 2 0 ab 0 ]");
    EXPECT_EQ(connections.entries_of("ab0002 1ff 100 200 3 2\\n"), "[1: 255 0 200 10 22 2 0 ab 0 ]");
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 1\\n2 0 0 0 1 1"),
              "[1: 0 0 0 01 22 1 0 0 0 ][1: 0 0 0 11 22 2 0 0 0 ]");
}

TEST(MrfiConnections, ShortAndMalformedLines) {
    EXPECT_EQ(connections.entries_of("0x12340001\\n"), "[1: 0 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("0x12340001 1f zz 3 1 1\\n"), "[1: 31 0 0 00 22 1 0 34 12 ]");
    EXPECT_EQ(connections.entries_of("zz\\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
    EXPECT_EQ(connections.entries_of("100000000 1 1 1 1 1\\n"), "[1: 0 0 0 00 22 ff ff ff ff ]");
    EXPECT_EQ(connections.entries_of(" \\n"), "[1: 0 0 0 00 22 0 0 0 0 ]");
}

TEST(MrfiConnections, AnEmptyLineEndsTheList) {
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 0\\n\\n2 0 0 0 0 0\\n"), "[1: 0 0 0 00 22 1 0 0 0 ]");
    EXPECT_EQ(connections.entries_of("\\n1 0 0 0 0 0\\n"), "");
    EXPECT_EQ(connections.entries_of(""), "");
}

TEST(MrfiDevices, LinesInTheDriversFormat) {
    EXPECT_EQ(devices.entries_of("0x12340001 3 7 n/a\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("ab0002 4294967295 1 pump\\n3 0 0 N/A\\n"),
              "[1: 4294967295 1 pump 2 0 ab 0 ][1: 0 0 N/A 3 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 abcdefghijklmno\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
}

TEST(MrfiDevices, ShortAndMalformedLinesAndLongNames) {
    EXPECT_EQ(devices.entries_of("0x12340001\\n"), "[1: 0 0  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("0x12340001 3 7\\n"), "[1: 3 7  1 0 34 12 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 abcdefghijklmnopqrst\\n"), "[1: 0 0 abcdefghijklmno 1 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 a\\n\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ]");
}

TEST(MrfiLists, NullEntryDoesNotAdvanceTheContext) {
    set_hardware("mrfi0.connections=0x12340001 1f 2 -60 1 0, mrfi0.devices=0x12340001 3 7 n/a");
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* linked = connections.opened();
        mrfi_enum_ctx* seen = devices.opened();
        return joined({result_of(connections.read, linked, nullptr), connections.next(linked),
                       result_of(devices.read, seen, nullptr), devices.next(seen)});
    });
    EXPECT_THAT(child, returns({fails_with(EINVAL), listed("31 2 196 10 22 1 0 34 12 "), fails_with(EINVAL),
                                listed("3 7  1 0 34 12 ")}));
}

TEST(MrfiLists, ContextIsASnapshotAndContextsAreIndependent) {
    set_hardware("mrfi0.devices=1 0 0 a;2 0 0 b, mrfi1.devices=3 0 0 c");
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx* first = devices.opened();
        set_hardware("mrfi0.devices=9 0 0 new");
        mrfi_enum_ctx* again = devices.opened();
        mrfi_enum_ctx* second = devices.opened(1);
        return joined({devices.next(first), devices.next(second), devices.next(again), devices.next(first),
                       devices.next(second), devices.next(again), result_of(devices.close, first),
                       result_of(devices.close, again), result_of(devices.close, second)});
    });
    EXPECT_THAT(child, returns({listed("0 0 a 1 0 0 0 "), listed("0 0 c 3 0 0 0 "), listed("0 0 new 9 0 0 0 "),
                                listed("0 0 b 2 0 0 0 "), at_the_end, at_the_end, succeeds(), succeeds(), succeeds()}));
}

TEST(MrfiLists, FileThatCannotBeReadIsAnEmptyList) {
    set_hardware("mrfi0.connections=0x12340001 1f 2 -60 1 0, mrfi0.devices=0x12340001 3 7 n/a");
    for (const char* act : {"/sys/class/mrfi/mrfi0/*:open:ENOENT", "/sys/class/mrfi/mrfi0/*:read:EIO"}) {
        const Fault fault(act);
        const ChildResult child = run_in_child([] {
            return joined({connections.next(connections.opened()), devices.next(devices.opened())});
        });
        EXPECT_THAT(child, returns({at_the_end, at_the_end})) << act;
    }
}

// What has been read is listed, even if the close then fails.
TEST(MrfiLists, FileWhoseCloseFailsIsListed) {
    const Fault fault("/sys/class/mrfi/mrfi0/*:close:EIO");
    EXPECT_EQ(connections.entries_of("1 0 0 0 0 0\\n2 0 0 0 0 0\\n"),
              "[1: 0 0 0 00 22 1 0 0 0 ][1: 0 0 0 00 22 2 0 0 0 ]");
    EXPECT_EQ(devices.entries_of("1 0 0 a\\n2 0 0 b\\n"), "[1: 0 0 a 1 0 0 0 ][1: 0 0 b 2 0 0 0 ]");
}

TEST(MrfiLists, ContextWithoutOwnerIsNotValidEvenIfThereAreInterfaces) {
    for (const std::string function : {"mrfi_connection_list_read", "mrfi_connection_list_close",
                                       "mrfi_device_list_read", "mrfi_device_list_close"}) {
        EXPECT_THAT(run_in_child(call_of(function)), returns(refuses(function.ends_with("_read") ? untouched : ""),
                                                             failed(function, context_not_valid)));
    }
}

TEST(MrfiLists, FileIsOpenedReadToItsEndAndClosedByTheOpen) {
    VELMOR_NEEDS_RECORDER();
    const std::string path = mrfi0 + "connections";
    hardware({"raw", path, "0x12340001 1f 2 -60 1 0\\n0xab0002 ff 100 200 3 2\\n"});
    const ChildResult child = run_in_child(Recorder().watch({"/sys/class/mrfi/"}), [] {
        mrfi_enum_ctx* list = nullptr;
        return joined(
            {result_of(connections.open, 0, &list), connections.next(list), result_of(connections.close, list)});
    });
    EXPECT_THAT(child, returns({succeeds(), listed("31 2 196 10 22 1 0 34 12 "), succeeds()}));
    EXPECT_EQ(child.acts, read_to_end_acts(path));
}

// ---- Long lists ----------------------------------------------------------------------------------------------------

/** A file of the run in which the example listed an interface with very many peers: see tests/families/run. */
std::string left_behind(const std::string& file) {
    const char* const directory = std::getenv("VELMOR_LONG_LISTS");
    std::ifstream stream(std::string(directory == nullptr ? "" : directory) + "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

constexpr int many = 100000;

TEST(MrfiLongLists, AreListedCompletelyAndInOrder) {
    std::string linked = "connections of interface 0\n";
    std::string seen = "devices seen by interface 0\n";
    std::array<char, 80> line = {};
    for (int i = 1; i <= many; ++i) {
        std::snprintf(line.data(), line.size(), "  %08x  values %d 2 196  flags 1 0\n", i, i % 256);
        linked += line.data();
        std::snprintf(line.data(), line.size(), "  %08x  class %04x  values %d 7  peer%d\n", i, i >> 16, i, i);
        seen += line.data();
    }
    // Not EXPECT_EQ, which would look for the smallest difference between hundreds of thousands of lines.
    EXPECT_TRUE(left_behind("output") == linked + seen);
}

// The record has the size of every read: together they are the file's, once.
TEST(MrfiLongLists, AreReadOnceEach) {
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

TEST(MrfiExample, ListsBothInterfaces) {
    set_hardware(
        "mrfi0.connections=0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1, mrfi0.devices=0x12340001 3 7 n/a;0x12340002 "
        "4 1 pump;0x5678abcd 5 0 anchor-light, mrfi1.connections=, mrfi1.devices=");
    EXPECT_EQ(output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS}),
              "connections of interface 0\n"
              "  12340001  values 31 2 196  flags 1 0\n"
              "  12340002  values 10 3 185  flags 0 1\n"
              "devices seen by interface 0\n"
              "  12340001  class 1234  values 3 7  (no name)\n"
              "  12340002  class 1234  values 4 1  pump\n"
              "  5678abcd  class 5678  values 5 0  anchor-light\n");
    EXPECT_EQ(output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, "1"}),
              "connections of interface 1\ndevices seen by interface 1\n");
}

TEST(MrfiExample, FailsOnABoardWithoutAnInterface) {
    EXPECT_EQ(output_of(VELMOR_DEVICES_OWN_BOARD, {VELMOR_MRFI_LISTS}),
              "mrfi_connection_list_open failed: Operation not supported\nexit 1");
}

TEST(MrfiExample, TakesNoOtherInterface) {
    const std::string usage = "usage: mrfi_lists [INTERFACE]   with INTERFACE 0 or 1\nexit 2";
    for (const char* wrong : {"2", "-1", "1x", ""})
        EXPECT_EQ(output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, wrong}), usage) << wrong;
    EXPECT_EQ(output_of(VELMOR_BOARD_OF_ALL_FAMILIES, {VELMOR_MRFI_LISTS, "0", "1"}), usage);
}

}  // namespace
