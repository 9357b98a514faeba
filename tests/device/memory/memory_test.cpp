// SPDX-License-Identifier: MIT
// What a start of the board leaves behind in memory, and what happens where there is none. This program has an operator
// new of its own, so it is not built with sanitizers.

#include <gmock/gmock.h>
#include <atomic>
#include <cerrno>
#include <cstddef>
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
#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

using testing_support::answer;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::joined;
using testing_support::Out;
using testing_support::put;
using testing_support::reset_device;
using testing_support::run_in_child;

namespace {

/** Stands before each block that operator new has handed out. */
struct alignas(std::max_align_t) Header {
    std::size_t size;
    bool counted;
};

std::atomic<bool> counting = false;
std::atomic<long> live_blocks = 0;
std::atomic<long> live_bytes = 0;
std::atomic<long> allocations = 0;
std::atomic<long> failing_allocation = 0;  // 1 is the first that is counted, -1 is every one
std::atomic<bool> failing_as_malloc = false;

void* allocate(std::size_t size) {
    const bool counted = counting;
    if (counted) {
        const long number = ++allocations;
        if (failing_allocation == number || failing_allocation < 0) {
            if (failing_as_malloc) errno = ENOMEM;
            throw std::bad_alloc();
        }
    }
    void* const memory = std::malloc(sizeof(Header) + size);
    if (memory == nullptr) throw std::bad_alloc();
    auto* const header = new (memory) Header{size, counted};
    if (counted) {
        ++live_blocks;
        live_bytes += static_cast<long>(size);
    }
    return header + 1;
}

void release(void* block) {
    if (block == nullptr) return;
    Header* const header = static_cast<Header*>(block) - 1;
    if (header->counted) {
        --live_blocks;
        live_bytes -= static_cast<long>(header->size);
    }
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

/** Memory that is still in use, as blocks and bytes. */
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

    std::string output() const { return std::to_string(blocks) + " blocks, " + std::to_string(bytes) + " bytes"; }
};

/** What a piece of code leaves behind. */
Memory left_by(const std::function<void()>& code) {
    const long blocks = live_blocks;
    const long bytes = live_bytes;
    counting = true;
    code();
    counting = false;
    return {live_blocks - blocks, live_bytes - bytes};
}

void call() {
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
        const std::string first = left_by(call).output();
        return joined({first, left_by(call).output()});
    });
    EXPECT_EQ(child.output, joined({GetParam().lost.output(), GetParam().lost.output()}));
}

Memory platform() {
    return Memory().object<Velmor::Platform>().block(64);  // and the table's bytes
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

/** One entry of the registry: a red-black tree's colour and three pointers, the key and the pointer. */
constexpr std::size_t node_size =
    4 * sizeof(void*) + sizeof(std::pair<const Velmor::Resource::type, Velmor::Resource*>);

struct Unfitted {
    std::string name;
    std::size_t byte;
    const char* digits;
    long resources;
};

class UnfittedResources : public testing::TestWithParam<Unfitted> {};

// They are constructed all the same: only their places in the registry are saved.
TEST_P(UnfittedResources, StayAllocatedOutsideTheRegistry) {
    reset_device();
    const auto start = [] {
        const Memory memory = left_by(call);
        return std::to_string(memory.blocks) + " " + std::to_string(memory.bytes);
    };
    const ChildResult all = run_in_child(start);
    reset_device();
    std::string table = content("/proc/platform/pht");
    table.replace(2 + 2 * GetParam().byte, 2, GetParam().digits);
    put("/proc/platform/pht", table);
    const ChildResult fewer = run_in_child(start);

    const auto numbers = [](const std::string& output) {
        std::size_t end = 0;
        const long blocks = std::stol(output, &end);
        return std::pair(blocks, std::stol(output.substr(end)));
    };
    EXPECT_EQ(numbers(all.output).first - numbers(fewer.output).first, GetParam().resources);
    EXPECT_EQ(numbers(all.output).second - numbers(fewer.output).second,
              GetParam().resources * static_cast<long>(node_size));
}

INSTANTIATE_TEST_SUITE_P(Board, UnfittedResources,
                         testing::Values(Unfitted{"Echosounder", 19, "2f", 3}, Unfitted{"Bluetooth", 18, "04", 1},
                                         Unfitted{"Wifi", 4, "00", 1}),
                         [](const auto& instance) { return instance.param.name; });

TEST(StartedBoard, CallsLeaveNothingBehind) {
    reset_device();
    const ChildResult child = run_in_child([] {
        call();
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

TEST(NoMemory, CallWithoutAnyIsAFailureWithoutALine) {
    reset_device();
    const ChildResult child = run_in_child([] {
        call();
        Out<led_color_t> color;
        failing_allocation = -1;
        counting = true;
        errno = 4711;
        const int missing = led_color_get(0, color);
        const bool kept = errno == 4711;
        mrfi_enum_ctx* context = nullptr;
        const int open = mrfi_connection_list_open(0, &context);
        counting = false;
        return joined({std::to_string(missing), kept ? "errno kept" : "errno changed", std::to_string(open),
                       color.text(), context == nullptr ? "untouched" : "touched"});
    });
    EXPECT_EQ(child.wait_status, 0);
    EXPECT_EQ(child.output, "-1, errno kept, -1, untouched, untouched");
    EXPECT_EQ(child.error_text, "");
}

TEST(NoMemory, StartWithoutAnyIsAFailureWithoutALine) {
    reset_device();
    const ChildResult child = run_in_child([] {
        Out<bool> present;
        failing_allocation = -1;
        counting = true;
        errno = 4711;
        const int result = es_present(present);
        const bool kept = errno == 4711;
        counting = false;
        Out<bool> present_next;
        return joined({std::to_string(result), kept ? "errno kept" : "errno changed", present.text(),
                       answer([&] { return es_present(present_next); }, present_next)});
    });
    EXPECT_EQ(child.wait_status, 0);
    EXPECT_EQ(child.output, "-1, errno kept, untouched, 0: true");
    EXPECT_EQ(child.error_text, "");
}

// What writing fails with cannot be made then, and std::bad_alloc comes in its place.
TEST(NoMemory, SuspendKeepsQuietAboutTheStreamFailureAlone) {
    reset_device();
    testing_support::remove("/sys/power/state");
    testing_support::put("/sys/power/state/is/a/directory", "");
    const ChildResult child = run_in_child([] {
        call();
        const std::string refused = answer([] { return power_suspend(); });
        failing_allocation = -1;
        counting = true;
        const int without_memory = power_suspend();
        counting = false;
        return joined({refused, std::to_string(without_memory)});
    });
    EXPECT_EQ(child.output, "0 errno 21, -1");
}

// The function's name is the first allocation, the line the second.
TEST(NoMemory, LineThatCannotBeComposedChangesNoErrno) {
    for (const long number : {1, 2}) {
        const ChildResult child = run_in_child([number] {
            failing_allocation = number;
            failing_as_malloc = true;
            try {
                throw std::logic_error("");
            } catch (...) {
                allocations = 0;
                counting = true;
                errno = 4711;
                const int result = Velmor::translate_exception("name_of_more_than_15_characters");
                const int error = errno;
                counting = false;
                return joined({std::to_string(allocations), std::to_string(result), std::to_string(error)});
            }
        });
        EXPECT_EQ(child.output, joined({std::to_string(number), "-1", "4711"}));
        EXPECT_EQ(child.error_text, "");
    }
}

TEST(ReplacedEntry, LosesTheObjectItNamedBeforeAndNothingElse) {
    Velmor::Board board;
    board.add(Velmor::Resource::type::gps, new Velmor::Resource);
    const Memory left = left_by([&board] { board.add(Velmor::Resource::type::gps, new Velmor::Resource); });
    // The new object is the board's; the registry has not grown, and the old object is still there.
    EXPECT_EQ(left.output(), Memory().object<Velmor::Resource>().output());
}

}  // namespace
