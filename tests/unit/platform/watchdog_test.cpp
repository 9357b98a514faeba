// SPDX-License-Identifier: MIT
#include "platform/watchdog.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::content;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::Watchdog;

namespace {

constexpr unsigned long set_timeout = 0xC0045706;
constexpr unsigned long keepalive = 0x80045705;

/** Stands for the watchdog's driver, which the temporary file has not. */
struct Driver {
    struct Call {
        unsigned long request;
        int argument;
        bool operator==(const Call&) const = default;
    };

    std::vector<Call> calls;
    int error = 0;  // of the next calls
    int fd = -1;    // the last one that was used
};

Driver* driver = nullptr;

void PrintTo(const Driver::Call& call, std::ostream* text) {
    *text << std::hex << call.request << " " << std::dec << call.argument;
}

}  // namespace

// With a Driver it answers as the kernel's would; else (where a Recorder answers) it is the C library's.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    int* const argument = va_arg(arguments, int*);
    va_end(arguments);
    if (driver == nullptr) {
        static const auto real = reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl"));
        return real(fd, request, argument);
    }
    driver->calls.push_back({request, *argument});
    driver->fd = fd;
    if (driver->error != 0) {
        errno = driver->error;
        return -1;
    }
    *argument = 127;  // a driver tells what it has made of the value
    return 0;
}

namespace {

class WatchdogTest : public testing::Test {
protected:
    WatchdogTest() {
        put(node_, "");
        driver = &driver_;
    }
    ~WatchdogTest() override { driver = nullptr; }
    WatchdogTest(const WatchdogTest&) = delete;
    WatchdogTest& operator=(const WatchdogTest&) = delete;

    testing_support::TemporaryDirectory directory_;
    std::string node_ = directory_ / "watchdog";
    Driver driver_;
    std::unique_ptr<Watchdog> watchdog_ = std::make_unique<Watchdog>(node_);
};

bool is_closed(int fd) {
    errno = 0;
    return fcntl(fd, F_GETFD) == -1 && errno == EBADF;
}

constexpr char invalid[] = "system_error 22 Invalid argument";
constexpr char full[] = "system_error 28 No space left on device";

TEST_F(WatchdogTest, ConstructionTouchesNothing) {
    const Watchdog watchdog(directory_ / "none");
    EXPECT_FALSE(testing_support::exists(directory_ / "none"));
    EXPECT_THAT(driver_.calls, IsEmpty());
}

TEST_F(WatchdogTest, EnableOpensForWritingAndSetsTheTimeout) {
    put(node_, "kept");
    watchdog_->enable(30);
    EXPECT_THAT(driver_.calls, ElementsAre(Driver::Call{set_timeout, 30}));
    EXPECT_EQ(fcntl(driver_.fd, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK | O_SYNC), O_WRONLY);
    EXPECT_EQ(fcntl(driver_.fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(content(node_), "kept");
}

TEST_F(WatchdogTest, TimeoutsFromZeroOnArePassedAsTheyAre) {
    watchdog_->enable(0);
    watchdog_->enable(INT_MAX);
    EXPECT_THAT(driver_.calls, ElementsAre(Driver::Call{set_timeout, 0}, Driver::Call{set_timeout, INT_MAX}));
}

TEST_F(WatchdogTest, NegativeTimeoutOpensNothing) {
    for (const int timeout : {-1, INT_MIN}) {
        EXPECT_EQ(thrown([&] { watchdog_->enable(timeout); }), invalid);
    }
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), invalid) << "it is open";
}

TEST_F(WatchdogTest, NegativeTimeoutLeavesAnArmedWatchdogArmed) {
    watchdog_->enable(30);
    EXPECT_EQ(thrown([&] { watchdog_->enable(-1); }), invalid);
    EXPECT_EQ(content(node_), "");
    watchdog_->refresh();
    EXPECT_EQ(driver_.calls.size(), 2U);
}

TEST_F(WatchdogTest, RefreshPassesZero) {
    watchdog_->enable(30);
    watchdog_->refresh();
    watchdog_->refresh();
    EXPECT_THAT(driver_.calls,
                ElementsAre(Driver::Call{set_timeout, 30}, Driver::Call{keepalive, 0}, Driver::Call{keepalive, 0}));
}

TEST_F(WatchdogTest, RefreshAndDisableBeforeEnableAreInvalid) {
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), invalid);
    EXPECT_EQ(thrown([&] { watchdog_->disable(); }), invalid);
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(content(node_), "");
}

TEST_F(WatchdogTest, DisableWritesTheMagicAndCloses) {
    watchdog_->enable(30);
    watchdog_->disable();
    EXPECT_EQ(content(node_), "V");
    EXPECT_TRUE(is_closed(driver_.fd));
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), invalid);
}

TEST_F(WatchdogTest, SecondDisableIsInvalid) {
    watchdog_->enable(30);
    watchdog_->disable();
    EXPECT_EQ(thrown([&] { watchdog_->disable(); }), invalid);
    EXPECT_EQ(content(node_), "V");
}

TEST_F(WatchdogTest, SecondEnableDisarmsFirstAndSetsTheNewTimeout) {
    watchdog_->enable(30);
    const int first = driver_.fd;
    watchdog_->enable(60);
    EXPECT_EQ(driver_.fd, first) << "the first descriptor was still open when the node was opened again";
    EXPECT_EQ(content(node_), "V");
    EXPECT_THAT(driver_.calls, ElementsAre(Driver::Call{set_timeout, 30}, Driver::Call{set_timeout, 60}));
    EXPECT_EQ(fcntl(driver_.fd, F_GETFL) & O_ACCMODE, O_WRONLY) << "it is not armed again";
    put(node_, "");
    watchdog_->disable();
    EXPECT_EQ(content(node_), "V");
    EXPECT_TRUE(is_closed(driver_.fd));
}

TEST_F(WatchdogTest, SecondEnableGoesThroughAnOverriddenDisable) {
    struct Counting : Watchdog {
        using Watchdog::Watchdog;
        void disable() override { ++disabled; }
        int disabled = 0;
    };
    Counting watchdog(node_);
    watchdog.enable(30);
    EXPECT_EQ(watchdog.disabled, 0);
    watchdog.enable(30);
    EXPECT_EQ(watchdog.disabled, 1);
}

TEST_F(WatchdogTest, MissingNodeIsNoEntryAndIsNotCreated) {
    testing_support::remove(node_);
    EXPECT_EQ(thrown([&] { watchdog_->enable(30); }), "system_error 2 No such file or directory");
    EXPECT_FALSE(testing_support::exists(node_));
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), invalid);
}

TEST_F(WatchdogTest, FailedSecondOpenLeavesItDisarmedAndClosed) {
    watchdog_->enable(30);
    const std::string moved = directory_ / "moved";
    ASSERT_EQ(rename(node_.c_str(), moved.c_str()), 0);
    EXPECT_EQ(thrown([&] { watchdog_->enable(30); }), "system_error 2 No such file or directory");
    EXPECT_EQ(content(moved), "V");
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), invalid);
}

// Opening has armed the hardware, so the application must still be able to feed and to disarm it.
TEST_F(WatchdogTest, FailedTimeoutLeavesItOpen) {
    driver_.error = EINVAL;
    EXPECT_EQ(thrown([&] { watchdog_->enable(100000); }), invalid);
    driver_.error = 0;
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), "nothing");
    EXPECT_EQ(thrown([&] { watchdog_->disable(); }), "nothing");
    EXPECT_EQ(content(node_), "V");
}

TEST_F(WatchdogTest, FailedRefreshIsItsErrorAndLeavesItOpen) {
    watchdog_->enable(30);
    driver_.error = EIO;
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), "system_error 5 Input/output error");
    driver_.error = 0;
    EXPECT_EQ(thrown([&] { watchdog_->refresh(); }), "nothing");
}

TEST_F(WatchdogTest, FailedMagicLeavesItOpen) {
    Watchdog watchdog("/dev/full");
    watchdog.enable(30);
    EXPECT_EQ(thrown([&] { watchdog.disable(); }), full);
    EXPECT_EQ(thrown([&] { watchdog.refresh(); }), "nothing");
}

TEST_F(WatchdogTest, FailedMagicStopsTheSecondEnable) {
    Watchdog watchdog("/dev/full");
    watchdog.enable(30);
    EXPECT_EQ(thrown([&] { watchdog.enable(60); }), full);
    EXPECT_THAT(driver_.calls, ElementsAre(Driver::Call{set_timeout, 30}));
    EXPECT_EQ(thrown([&] { watchdog.refresh(); }), "nothing");
}

TEST_F(WatchdogTest, DestructionClosesWithoutTheMagic) {
    watchdog_->enable(30);
    watchdog_.reset();
    EXPECT_TRUE(is_closed(driver_.fd));
    EXPECT_EQ(content(node_), "");
}

class WatchdogActs : public testing::Test {
protected:
    void SetUp() override {
        VELMOR_NEEDS_RECORDER();
        put(node_, "");
        recorder_.watch({node_})
            .answer("ioctl " + node_ + " 0xc0045706", 0)
            .answer("ioctl " + node_ + " 0x80045705", 0);
    }

    testing_support::TemporaryDirectory directory_;
    std::string node_ = directory_ / "watchdog";
    Recorder recorder_;
};

TEST_F(WatchdogActs, MagicAndCloseComeBeforeTheSecondOpen) {
    const Outcome outcome = recorder_.run([this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        watchdog.refresh();
        watchdog.enable(60);
        watchdog.disable();
        return 0;
    });
    EXPECT_THAT(outcome.acts,
                ElementsAre("open " + node_ + " w", "ioctl " + node_ + " 0xc0045706", "ioctl " + node_ + " 0x80045705",
                            "write " + node_ + " V", "close " + node_, "open " + node_ + " w",
                            "ioctl " + node_ + " 0xc0045706", "write " + node_ + " V", "close " + node_));
}

TEST_F(WatchdogActs, NothingIsAskedWithoutEnable) {
    const Outcome outcome = recorder_.run([this] {
        Watchdog watchdog(node_);
        const bool all = thrown([&] { watchdog.refresh(); }) == invalid &&
                         thrown([&] { watchdog.disable(); }) == invalid &&
                         thrown([&] { watchdog.enable(-1); }) == invalid;
        return all ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, IsEmpty());
}

TEST_F(WatchdogActs, RefusedOpenIsItsError) {
    recorder_.fail("open " + node_ + " w", EBUSY);
    const Outcome outcome = recorder_.run([this] {
        return thrown([&] { Watchdog(node_).enable(30); }) == "system_error 16 Device or resource busy" ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + node_ + " w = EBUSY"));
}

TEST_F(WatchdogActs, MagicThatIsNotTakenLeavesItOpen) {
    recorder_.answer("write " + node_, 0, 1);
    const Outcome outcome = recorder_.run([this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        const bool failed = thrown([&] { watchdog.disable(); }) == "system_error 5 Input/output error";
        watchdog.refresh();
        return failed ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + node_ + " w", "ioctl " + node_ + " 0xc0045706",
                                          "write " + node_ + " V", "ioctl " + node_ + " 0x80045705", "close " + node_));
}

TEST_F(WatchdogActs, FailedCloseIsNotReported) {
    recorder_.fail("close " + node_, EIO);
    const Outcome outcome = recorder_.run([this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        watchdog.disable();
        return thrown([&] { watchdog.refresh(); }) == invalid ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
}

}  // namespace
