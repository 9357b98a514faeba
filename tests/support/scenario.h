// SPDX-License-Identifier: MIT
#pragma once

#include <sys/mman.h>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>

#include "support/recorder.h"
#include "velmor.h"

namespace testing_support {

/** What came of a scenario in a process of its own, with the text that it returned. */
struct ChildResult : Outcome {
    std::string output;
};

using Scenario = std::function<std::string()>;

namespace detail {

constexpr std::size_t output_size = 65536;

template <typename Run>
ChildResult run_in_child(const Scenario& scenario, Run run) {
    auto* const shared =
        static_cast<char*>(mmap(nullptr, output_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (shared == MAP_FAILED) throw std::runtime_error("mmap");
    const Outcome outcome = run([&] {
        // HAZARD: an exception would let the child go on with its parent's tests.
        try {
            scenario().copy(shared, output_size - 1);
        } catch (const std::exception& error) {
            std::snprintf(shared, output_size, "the scenario threw: %s", error.what());
        }
        return 0;
    });
    ChildResult child = {outcome, shared};
    munmap(shared, output_size);
    return child;
}

}  // namespace detail

/** Runs this in a child process, whose board has not started unless this process's has. */
inline ChildResult run_in_child(const Scenario& scenario) {
    return detail::run_in_child(scenario, [](const auto& code) { return run_unrecorded(code); });
}

inline ChildResult run_in_child(const Recorder& recorder, const Scenario& scenario) {
    return detail::run_in_child(scenario, [&recorder](const auto& code) { return recorder.run(code); });
}

/** The errno before every call. The system has no such error. */
constexpr int untouched_errno = 4711;

/** The value of a call that has not written to its output argument. */
inline constexpr char untouched[] = "untouched";

/** An output argument and the bytes around it, filled with 0x5A: shows what a function has written there. */
template <typename T>
class Out {
public:
    Out() { std::memset(static_cast<void*>(&fenced_), 0x5A, sizeof fenced_); }

    operator T*() { return &fenced_.value; }  // NOLINT(google-explicit-constructor)

    std::string text() const {
        if (!filled(fenced_.before, sizeof fenced_.before) || !filled(fenced_.after, sizeof fenced_.after))
            return "written beyond the end";
        if (filled(&fenced_.value, sizeof(T))) return untouched;
        std::ostringstream text;
        describe(text, fenced_.value);
        return text.str();
    }

private:
    static bool filled(const void* memory, std::size_t size) {
        const std::string bytes(static_cast<const char*>(memory), size);
        return bytes == std::string(size, '\x5A');
    }

    /** A name, whose field is filled up with NUL. */
    static std::string name(const char (&field)[16]) {
        const std::string bytes(field, sizeof field);
        const std::string text = bytes.substr(0, bytes.find('\0'));
        if (text.size() == bytes.size()) return text + " (without an end)";
        return bytes.find_first_not_of('\0', text.size()) == std::string::npos ? text : text + " (and more behind)";
    }

    static void describe(std::ostream& out, const thermal_state_t& state) {
        out << state.temp << ' ' << state.active << ' ' << state.hot << ' ' << state.very_hot << ' ' << state.critical;
    }
    static void describe(std::ostream& out, const io_config_t& config) {
        out << config.frequency << " Hz " << config.duty << " %";
    }
    static void describe(std::ostream& out, const led_color_t& color) {
        out << color.red << ' ' << color.green << ' ' << color.blue;
    }
    static void describe(std::ostream& out, const wifi_info_t& info) { out << name(info.name) << ' ' << info.value; }
    static void describe(std::ostream& out, const bluetooth_info_t& info) {
        out << name(info.name) << ' ' << info.value;
    }
    static void describe(std::ostream& out, const gps_info_t& info) { out << info.value1 << ' ' << info.value2; }
    static void describe(std::ostream& out, const serial_device_info_t& info) {
        out << name(info.name) << ' ' << info.baud_rate << ' ' << info.options;
    }
    static void describe(std::ostream& out, const attitude_t& attitude) {
        out << attitude.x << ' ' << attitude.y << ' ' << attitude.z;
    }
    static void describe(std::ostream& out, const car_motion_t& motion) {
        out << motion.speed << (motion.reverse ? " backwards" : " forwards");
    }
    static void describe(std::ostream& out, const mrfi_addr_t& address) {
        for (const unsigned byte : address.byte) out << std::hex << byte << ' ';
    }
    static void describe(std::ostream& out, const mrfi_connection_t& connection) {
        out << +connection.value1 << ' ' << +connection.value2 << ' ' << +connection.value3 << ' ' << +connection.flag1
            << +connection.flag2 << ' ' << +connection.reserved << ' ';
        describe(out, connection.address);
    }
    static void describe(std::ostream& out, const mrfi_device_t& device) {
        out << device.value1 << ' ' << device.value2 << ' ' << name(device.name) << ' ';
        describe(out, device.address);
    }
    static void describe(std::ostream& out, bool flag) { out << (flag ? "true" : "false"); }
    template <typename Other>
    static void describe(std::ostream& out, const Other& value) {
        out << value;
    }

    struct {
        unsigned char before[16];
        T value;
        unsigned char after[16];
    } fenced_;
};

/** What answer() does right before and right after each call. A test may set it. */
struct AroundCall {
    void (*before)() = [] {};
    void (*after)() = [] {};
};
inline AroundCall around_call;

/** The result of a call. Its text is that of answer(): "0: 128", "-95 errno 95: untouched". */
struct CallResult {
    int result = 0;
    int error = untouched_errno;
    std::string value = {};  // of the output argument; empty if there is none

    operator std::string() const {  // NOLINT(google-explicit-constructor): joined() takes texts and results
        return std::to_string(result) + (error == untouched_errno ? "" : " errno " + std::to_string(error)) +
               (value.empty() ? "" : ": " + value);
    }
    friend bool operator==(const std::string& answer, const CallResult& expected) {
        return answer == std::string(expected);
    }
    friend std::ostream& operator<<(std::ostream& out, const CallResult& call) { return out << std::string(call); }

    bool has_output() const { return !value.empty(); }
    /** The result of the same call when it fails and leaves its output argument alone. */
    CallResult failing(int result_then, int error_then) const {
        return {result_then, error_then, has_output() ? untouched : ""};
    }
};

inline CallResult succeeds(const std::string& value = "") {
    return {0, untouched_errno, value};
}

/** A failure is not reported, but its errno stays. */
inline CallResult success_that_leaves(int error, const std::string& value = "") {
    return {0, error, value};
}

/** The call returns the negative errno. */
inline CallResult fails_with(int error, const std::string& value = "") {
    return {-error, error, value};
}

/** A file fails: the call returns -1 and leaves the kernel's errno in place. */
inline CallResult file_fails_with(int error, const std::string& value = "") {
    return {-1, error, value};
}

/** The library itself refuses the call: errno stays as it was. */
inline CallResult refuses(const std::string& value = "") {
    return {-1, untouched_errno, value};
}

/** Calls an exported function and returns the text of its CallResult, whose value is that of these outputs. */
template <typename Function, typename... Outs>
std::string answer(Function function, const Outs&... outs) {
    around_call.before();
    errno = untouched_errno;
    const int result = function();
    const int error = errno;
    around_call.after();
    CallResult call = {result, error, {}};
    (..., (call.value += (call.value.empty() ? "" : " ") + outs.text()));
    return call;
}

namespace detail {

/** Records are passed by their address. */
template <typename T>
auto as_argument(const T& argument) {
    if constexpr (std::is_class_v<T>)
        return &argument;
    else
        return argument;
}

}  // namespace detail

/** A call with these arguments. If the last one is missing, an Out takes its place. */
template <typename... Parameters, typename... Arguments>
Scenario call(int (*function)(Parameters...), const Arguments&... arguments) {
    return [=] {
        if constexpr (sizeof...(Arguments) == sizeof...(Parameters)) {
            return answer([&] { return function(detail::as_argument(arguments)...); });
        } else {
            using Last = std::tuple_element_t<sizeof...(Arguments), std::tuple<Parameters...>>;
            Out<std::remove_pointer_t<Last>> out;
            return answer([&] { return function(detail::as_argument(arguments)..., out); }, out);
        }
    };
}

/** The line that a failed call prints. */
inline std::string failed(const std::string& function, const std::string& cause) {
    return function + " failed: " + cause + "\n";
}

/** The causes that are printed for a file that fails, a read that fails with EIO, and a missing resource. */
inline constexpr char stream_failure[] = "basic_ios::clear: iostream error";
inline constexpr char read_failure[] = "basic_filebuf::underflow error reading the file: Input/output error";
inline constexpr char not_supported[] = "Operation not supported";

/** The results of several calls, in order: unlike operands, the elements of a braced list are evaluated in order. */
inline std::string joined(std::initializer_list<std::string> results) {
    std::string text;
    for (const std::string& each : results) text += text.empty() ? each : ", " + each;
    return text;
}

}  // namespace testing_support
