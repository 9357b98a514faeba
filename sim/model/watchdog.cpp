// SPDX-License-Identifier: MIT
#include <linux/major.h>
#include <linux/watchdog.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/computed_attribute.h"
#include "tree/file.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/** An ioctl request's low 16 bits: its group and number, without direction and size. */
constexpr unsigned number_of(unsigned long request) {
    return static_cast<unsigned>(request) & 0xffffU;
}

constexpr std::string_view identity = "imx2+ watchdog";
constexpr std::int64_t watchdog_minor = 130;

// In seconds. The kernel counts in 32 bits of milliseconds; beyond the hardware's own 128 s it feeds the hardware.
constexpr std::int64_t lowest_timeout = 1;
constexpr std::int64_t highest_timeout = 4294967;

/** Opening it starts the countdown, a write or a keep-alive feeds it, closing it after a 'V' stops it. */
class Watchdog : public File {
public:
    Watchdog(Model& model, std::int64_t timeout) : File(S_IFREG | 0600), model_(model), timeout_(timeout) {}

    bool is_stream() const override { return true; }

    int open(OpenFile& /*open*/) override {
        if (held_) return -EBUSY;
        held_ = true;
        magic_ = false;
        running_ = true;
        feed();
        return 0;
    }

    // Called only at the last close: a forked child that closes its copy must not stop the watchdog.
    void release(OpenFile& /*open*/) override {
        held_ = false;
        if (magic_) stop();
    }

    int read(OpenFile& /*open*/, std::size_t /*size*/, std::size_t /*offset*/, std::string& /*out*/) override {
        return -EINVAL;
    }

    int write(OpenFile& /*open*/, std::string_view text) override {
        magic_ = text.find('V') != std::string_view::npos;
        feed();
        return static_cast<int>(text.size());
    }

    int ioctl(OpenFile& /*open*/, unsigned request, std::string_view in, std::size_t room, std::string& out) override {
        switch (number_of(request)) {
            case number_of(WDIOC_GETSUPPORT): return identify(room, out);
            case number_of(WDIOC_GETSTATUS):
            case number_of(WDIOC_GETBOOTSTATUS): return give(0, room, out);
            case number_of(WDIOC_SETOPTIONS): return set_options(in);
            // Declared as reading an int, but callers may pass no buffer for it, so nothing is returned.
            case number_of(WDIOC_KEEPALIVE): feed(); return 0;
            case number_of(WDIOC_SETTIMEOUT): return set_timeout(in, room, out);
            case number_of(WDIOC_GETTIMEOUT): return give(timeout_, room, out);
            case number_of(WDIOC_GETTIMELEFT): return -EOPNOTSUPP;
            default: return -ENOTTY;
        }
    }

    std::string meaning_of(unsigned request, std::string_view in) const override {
        int number = 0;
        switch (number_of(request)) {
            case number_of(WDIOC_KEEPALIVE): return "fed";
            case number_of(WDIOC_SETTIMEOUT):
                return take(in, number) == 0 ? "timeout " + std::to_string(number) + " s" : meaning;
            case number_of(WDIOC_SETOPTIONS):
                if (take(in, number) < 0) return meaning;
                return (number & WDIOS_ENABLECARD) != 0    ? "started"
                       : (number & WDIOS_DISABLECARD) != 0 ? "stopped"
                                                           : meaning;
            default: return meaning;
        }
    }

    std::int64_t timeout() const { return timeout_; }
    bool running() const { return running_; }
    std::uint64_t feedings() const { return feedings_; }
    milliseconds left() const {
        if (!running_) return milliseconds(0);
        const auto left = std::chrono::duration_cast<milliseconds>(bites_->first - Timers::Clock::now());
        return std::max(left, milliseconds(0));
    }

    std::string change_timeout(std::string_view text) {
        const auto number = plain_number(text);
        if (!number || *number < lowest_timeout || *number > highest_timeout)
            return range_text(lowest_timeout, highest_timeout);
        timeout_ = *number;
        if (running_) feed();
        return {};
    }

private:
    static int give(std::int64_t number, std::size_t room, std::string& out) {
        const auto value = static_cast<int>(number);
        if (room < sizeof value) return -EFAULT;
        out.assign(sizeof value, '\0');
        std::memcpy(out.data(), &value, sizeof value);
        return 0;
    }

    static int take(std::string_view in, int& number) {
        if (in.size() < sizeof number) return -EFAULT;
        std::memcpy(&number, in.data(), sizeof number);
        return 0;
    }

    static int identify(std::size_t room, std::string& out) {
        watchdog_info info{};
        info.options = WDIOF_SETTIMEOUT | WDIOF_KEEPALIVEPING | WDIOF_MAGICCLOSE;
        std::copy(identity.begin(), identity.end(), info.identity);
        if (room < sizeof info) return -EFAULT;
        out.assign(sizeof info, '\0');
        std::memcpy(out.data(), &info, sizeof info);
        return 0;
    }

    int set_options(std::string_view in) {
        int options = 0;
        if (const int result = take(in, options); result < 0) return result;
        if ((options & (WDIOS_DISABLECARD | WDIOS_ENABLECARD)) == 0) return -ENOTTY;
        if ((options & WDIOS_DISABLECARD) != 0) stop();
        if ((options & WDIOS_ENABLECARD) != 0 && !running_) {
            running_ = true;
            feed();
        }
        return 0;
    }

    int set_timeout(std::string_view in, std::size_t room, std::string& out) {
        int timeout = 0;
        if (const int result = take(in, timeout); result < 0) return result;
        if (timeout < lowest_timeout || timeout > highest_timeout) return -EINVAL;
        timeout_ = timeout;
        feed();
        return give(timeout_, room, out);
    }

    void feed() {
        if (!running_) return;
        if (bites_) model_.timers.cancel(*bites_);
        feedings_++;
        bites_ = model_.timers.after(seconds(timeout_), [this] { bite(); });
    }

    void stop() {
        if (bites_) model_.timers.cancel(*bites_);
        bites_.reset();
        running_ = false;
    }

    void bite() {
        bites_.reset();
        running_ = false;
        model_.end({Ending::Cause::watchdog, "watchdog", "",
                    "the watchdog bites: not fed for " + std::to_string(timeout_) + " s; the unit restarts"});
    }

    Model& model_;
    std::int64_t timeout_;  // s
    std::optional<Timers::Id> bites_;
    std::uint64_t feedings_ = 0;
    bool held_ = false;
    bool magic_ = false;
    bool running_ = false;
};

/** Adds the watchdog's class device, which is read-only, for shells. */
void show_class_device(Model& model, Watchdog& watchdog, const std::string& path, const std::string& place) {
    Directory& device = model.tree.class_device(path, place);
    const auto add = [&](const char* name, ComputedAttribute::Show show) {
        model.tree.add<ComputedAttribute>(device, name, mode_t{0444}, std::move(show), nullptr);
    };
    model.tree.add<TextAttribute>(device, "identity", mode_t{0444}, std::string(identity));
    model.tree.add<TextAttribute>(device, "bootstatus", mode_t{0444}, "0");
    model.tree.add<TextAttribute>(device, "nowayout", mode_t{0444}, "0");
    add("state", [&] { return std::string(watchdog.running() ? "active\n" : "inactive\n"); });
    add("timeout", [&] { return std::to_string(watchdog.timeout()) + "\n"; });
}

std::string seconds_text(milliseconds time) {
    const auto digits = std::to_string(time.count() % 1000 + 1000).substr(1);
    return std::to_string(time.count() / 1000) + "." + digits;
}

}  // namespace

const Kind watchdog_kind("watchdog", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    auto& watchdog = model.tree.add<Watchdog>(path, model, settings.number("timeout", lowest_timeout, highest_timeout));
    watchdog.meaning = "watchdog";
    std::filesystem::path parent = "/sys/devices/virtual";
    if (settings.has("class")) {
        const auto shown = device_path(settings, "class");
        const auto place = device_place(settings, shown);
        show_class_device(model, watchdog, shown, place);
        parent = std::filesystem::path(place).parent_path().parent_path();
    }
    if (path == "/dev/watchdog") {
        model.tree.class_device("/sys/class/misc/watchdog", parent / "misc/watchdog",
                                {.node = "watchdog", .major = MISC_MAJOR, .minor = watchdog_minor});
    }
    model.name(
        name + ".timeout", [&] { return std::to_string(watchdog.timeout()); },
        [&](std::string_view text) { return watchdog.change_timeout(text); });
    model.name(
        name + ".running", [&] { return std::string(watchdog.running() ? "1" : "0"); }, nullptr);
    model.name(
        name + ".timeleft", [&] { return seconds_text(watchdog.left()); }, nullptr);
    model.name(
        name + ".feedings", [&] { return std::to_string(watchdog.feedings()); }, nullptr);
});

}  // namespace VelmorSim
