// SPDX-License-Identifier: MIT
// What a start of the board leaves behind in memory, and what happens without memory. This program has an operator new
// of its own, so it is not built with sanitizers.

#include <gmock/gmock.h>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/board.h"
#include "core/resource.h"
#include "core/translator.h"
#include "lighting/backlight_sysfs.h"
#include "platform/platform.h"
#include "support/device.h"
#include "velmor.h"

using namespace testing_support;

namespace {

/** Memory that is still in use. */
struct Memory {
    long blocks = 0;
    long bytes = 0;

    template <typename Object>
    Memory& object() {
        return block(sizeof(Object));
    }
    Memory& text(const std::string& text) { return block(text.size() + 1); }
    Memory& block(std::size_t size) {
        ++blocks;
        bytes += static_cast<long>(size);
        return *this;
    }

    Memory operator-(const Memory& other) const { return {blocks - other.blocks, bytes - other.bytes}; }

    std::string output() const { return std::to_string(blocks) + " blocks, " + std::to_string(bytes) + " bytes"; }
};

/** Precedes each block of operator new. */
struct alignas(std::max_align_t) Header {
    std::size_t size;
    bool is_counted;
};

bool counting = false;
Memory in_use;
long allocations = 0;
long failing_allocation = 0;  // 1 is the first that is counted, -1 is every one
bool failing_as_malloc = false;

void* allocate(std::size_t size) {
    if (counting) {
        const long number = ++allocations;
        if (failing_allocation == number || failing_allocation < 0) {
            if (failing_as_malloc) errno = ENOMEM;
            throw std::bad_alloc();
        }
        in_use.block(size);
    }
    void* const memory = std::malloc(sizeof(Header) + size);
    if (memory == nullptr) throw std::bad_alloc();
    return new (memory) Header{size, counting} + 1;
}

void release(void* block) {
    if (block == nullptr) return;
    Header* const header = static_cast<Header*>(block) - 1;
    if (header->is_counted) in_use = in_use - Memory().block(header->size);
    std::free(header);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

namespace {

/** What a piece of code leaves behind. */
Memory left_by(const std::function<void()>& code) {
    const Memory before = in_use;
    counting = true;
    code();
    counting = false;
    return in_use - before;
}

void start_board() {
    bool present = false;
    es_present(&present);
}

constexpr char backlight[] = "/sys/class/backlight/pwm-backlight.0";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";

struct Failure {
    std::string name;
    void (*break_device)();
    Memory lost;
};

class FailedStart : public testing::TestWithParam<Failure> {};

TEST_P(FailedStart, LosesTheObjectsOfTheRowsBeforeAndNothingElse) {
    reset_device();
    GetParam().break_device();
    const ChildResult child = run_in_child([] {
        return joined({left_by(start_board).output(), left_by(start_board).output()});
    });
    EXPECT_EQ(child.output, joined({GetParam().lost.output(), GetParam().lost.output()}));
}

Memory platform() {
    return Memory().object<Velmor::Platform>().block(64);  // the bytes of its table
}

Memory platform_and_backlight() {
    return platform().object<Velmor::BacklightSysFS>().text(backlight);
}

INSTANTIATE_TEST_SUITE_P(
    Board, FailedStart,
    testing::Values(
        Failure{"AtThePlatformsVersion", [] { testing_support::remove("/proc/platform/pht_version"); }, Memory()},
        Failure{"AtThePlatformsUnknownVersion", [] { put("/proc/platform/pht_version", "4\n"); }, Memory()},
        Failure{"AtThePlatformsTable", [] { testing_support::remove("/proc/platform/pht"); }, Memory()},
        Failure{"AtThePlatformsTableWithoutX", [] { put("/proc/platform/pht", "002912\n"); }, Memory()},
        Failure{"AtTheBacklight", [] { testing_support::remove(std::string(backlight) + "/max_brightness"); },
                platform()},
        Failure{"AtThePwm", [] { testing_support::remove(std::string(pwm) + "/period"); }, platform_and_backlight()},
        Failure{"AtThePwmsDuty", [] { testing_support::remove(std::string(pwm) + "/duty"); },
                platform_and_backlight()}),
    [](const auto& instance) { return instance.param.name; });

/** The size of a registry entry: the colour and three pointers of a red-black tree, the key and the resource. */
constexpr std::size_t node_size =
    4 * sizeof(void*) + sizeof(std::pair<const Velmor::Resource::type, Velmor::Resource*>);

struct Unfitted {
    std::string name;
    std::size_t byte;
    const char* digits;
    long resources;
};

class UnfittedResources : public testing::TestWithParam<Unfitted> {};

// They are constructed all the same. All that is saved is their entries in the registry.
TEST_P(UnfittedResources, StayAllocatedOutsideTheRegistry) {
    const auto left_by_start = [] {
        const ChildResult child = run_in_child([] { return left_by(start_board).output(); });
        Memory memory;
        EXPECT_EQ(std::sscanf(child.output.c_str(), "%ld blocks, %ld bytes", &memory.blocks, &memory.bytes), 2);
        return memory;
    };
    reset_device();
    const Memory all = left_by_start();
    reset_device();
    put_hardware_table_byte(GetParam().byte, GetParam().digits);
    const Memory fewer = left_by_start();
    EXPECT_EQ(all.blocks - fewer.blocks, GetParam().resources);
    EXPECT_EQ(all.bytes - fewer.bytes, GetParam().resources * static_cast<long>(node_size));
}

INSTANTIATE_TEST_SUITE_P(Board, UnfittedResources,
                         testing::Values(Unfitted{"Echosounder", 19, "2f", 3}, Unfitted{"Bluetooth", 18, "04", 1},
                                         Unfitted{"Wifi", 4, "00", 1}),
                         [](const auto& instance) { return instance.param.name; });

TEST(StartedBoard, CallsLeaveNothingBehind) {
    reset_device();
    const ChildResult child = run_in_child([] {
        start_board();
        return left_by([] {
                   uint32_t level = 0;
                   thermal_state_t state = {};
                   platform_info_t info = {};
                   io_config_t config = {};
                   led_color_t color = {};
                   for (int i = 0; i < 3; ++i) {
                       backlight_set(0, 256);
                       backlight_get(0, &level);
                       thermal_state_get(0, &state);
                       platform_info_get(&info, sizeof info);
                       io_config_get(0, &config);
                       led_color_get(0, &color);
                   }
               })
            .output();
    });
    EXPECT_EQ(child.output, "0 blocks, 0 bytes");
}

// ---- Without memory: on ARM too, where tests/memory does not run ---------------------------------------------------

/** In every answer() from now on, let this allocation fail: 1 is the first, -1 is every one, 0 is none. */
void fail_allocation(long number) {
    failing_allocation = number;
    allocations = 0;
    around_call = {.before = [] { counting = true; }, .after = [] { counting = false; }};
}

TEST(NoMemory, CallWithoutAnyFailsWithoutALine) {
    reset_device();
    const auto calls = [] {
        start_board();
        fail_allocation(-1);
        return joined({call(led_color_get, 0)(), call(mrfi_connection_list_open, 0)()});
    };
    EXPECT_THAT(run_in_child(calls), returns({refuses(untouched), refuses(untouched)}));
}

TEST(NoMemory, StartWithoutAnyFailsWithoutALine) {
    reset_device();
    const auto calls = [] {
        fail_allocation(-1);
        const std::string failed = call(es_present)();
        fail_allocation(0);
        return joined({failed, call(es_present)()});
    };
    EXPECT_THAT(run_in_child(calls), returns({refuses(untouched), succeeds("true")}));
}

// Without memory the stream failure, which is not reported, cannot be made: std::bad_alloc, which is, takes its place.
TEST(NoMemory, SuspendReportsItAndNotTheRefusedWrite) {
    reset_device();
    put_directory("/sys/power/state");
    const auto calls = [] {
        start_board();
        const std::string refused = call(power_suspend)();
        fail_allocation(-1);
        return joined({refused, call(power_suspend)()});
    };
    EXPECT_THAT(run_in_child(calls), returns({success_that_leaves(EISDIR), file_fails_with(EISDIR)}));
}

// The first allocation is the function's name, the second the line.
TEST(NoMemory, LineThatCannotBeComposedChangesNoErrno) {
    for (const long number : {1, 2}) {
        const auto translate = [number] {
            try {
                throw std::logic_error("");
            } catch (...) {
                fail_allocation(number);
                failing_as_malloc = true;
                const std::string result =
                    answer([] { return Velmor::translate_exception("name_of_more_than_15_characters"); });
                return joined({result, std::to_string(allocations)});
            }
        };
        EXPECT_THAT(run_in_child(translate), returns(joined({refuses(), std::to_string(number)})));
    }
}

TEST(ReplacedEntry, LosesItsOldObjectAndNothingElse) {
    Velmor::Board board;
    board.add(Velmor::Resource::type::gps, new Velmor::Resource);
    const Memory left = left_by([&board] { board.add(Velmor::Resource::type::gps, new Velmor::Resource); });
    // The board has the new object. The registry has not grown, and the old object is not freed.
    EXPECT_EQ(left.output(), Memory().object<Velmor::Resource>().output());
}

}  // namespace
