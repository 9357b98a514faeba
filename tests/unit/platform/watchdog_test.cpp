// SPDX-License-Identifier: MIT
#include "platform/watchdog.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <memory>
#include <string>
#include <vector>

#include "support/files_test.h"

using testing::ElementsAre;
using testing::IsEmpty;
using Velmor::Watchdog;
using namespace testing_support;

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

class WatchdogTest : public FilesTest {
protected:
    WatchdogTest() {
        put(node_, "");
        driver = &driver_;
    }
    ~WatchdogTest() override { driver = nullptr; }
    WatchdogTest(const WatchdogTest&) = delete;
    WatchdogTest& operator=(const WatchdogTest&) = delete;

    // What these throw.
    std::string enable(int timeout_s) {
        return thrown([&] { watchdog_->enable(timeout_s); });
    }
    std::string refresh() {
        return thrown([&] { watchdog_->refresh(); });
    }
    std::string disable() {
        return thrown([&] { watchdog_->disable(); });
    }

    const std::string node_ = directory_ / "watchdog";
    Driver driver_;
    std::unique_ptr<Watchdog> watchdog_ = std::make_unique<Watchdog>(node_);
};

/** Its node opens but takes no bytes: the magic is refused. */
class WatchdogThatRefusesTheMagic : public WatchdogTest {
protected:
    WatchdogThatRefusesTheMagic() {
        watchdog_ = std::make_unique<Watchdog>("/dev/full");
        watchdog_->enable(30);
    }
};

const std::string invalid = system_error(EINVAL);

TEST_F(WatchdogTest, ConstructionTouchesNothing) {
    const Watchdog watchdog(directory_ / "none");
    EXPECT_FALSE(exists(directory_ / "none"));
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
    for (const int timeout_s : {-1, INT_MIN}) EXPECT_EQ(enable(timeout_s), invalid);
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(refresh(), invalid) << "it is open";
}

TEST_F(WatchdogTest, NegativeTimeoutLeavesAnArmedWatchdogArmed) {
    watchdog_->enable(30);
    EXPECT_EQ(enable(-1), invalid);
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
    EXPECT_EQ(refresh(), invalid);
    EXPECT_EQ(disable(), invalid);
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(content(node_), "");
}

TEST_F(WatchdogTest, DisableWritesTheMagicAndCloses) {
    watchdog_->enable(30);
    watchdog_->disable();
    EXPECT_EQ(content(node_), "V");
    EXPECT_FALSE(is_open(driver_.fd));
    EXPECT_EQ(refresh(), invalid);
    EXPECT_EQ(disable(), invalid);
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
    EXPECT_FALSE(is_open(driver_.fd));
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
    remove(node_);
    EXPECT_EQ(enable(30), system_error(ENOENT));
    EXPECT_FALSE(exists(node_));
    EXPECT_THAT(driver_.calls, IsEmpty());
    EXPECT_EQ(refresh(), invalid);
}

TEST_F(WatchdogTest, FailedSecondOpenLeavesItDisarmedAndClosed) {
    watchdog_->enable(30);
    const std::string moved = directory_ / "moved";
    ASSERT_EQ(rename(node_.c_str(), moved.c_str()), 0);
    EXPECT_EQ(enable(30), system_error(ENOENT));
    EXPECT_EQ(content(moved), "V");
    EXPECT_EQ(refresh(), invalid);
}

// Opening has armed the hardware, so the application must still be able to feed and to disarm it.
TEST_F(WatchdogTest, FailedTimeoutLeavesItOpen) {
    driver_.error = EINVAL;
    EXPECT_EQ(enable(100000), invalid);
    driver_.error = 0;
    EXPECT_EQ(refresh(), "nothing");
    EXPECT_EQ(disable(), "nothing");
    EXPECT_EQ(content(node_), "V");
}

TEST_F(WatchdogTest, FailedRefreshIsItsErrorAndLeavesItOpen) {
    watchdog_->enable(30);
    driver_.error = EIO;
    EXPECT_EQ(refresh(), system_error(EIO));
    driver_.error = 0;
    EXPECT_EQ(refresh(), "nothing");
}

TEST_F(WatchdogThatRefusesTheMagic, StaysOpen) {
    EXPECT_EQ(disable(), system_error(ENOSPC));
    EXPECT_EQ(refresh(), "nothing");
}

TEST_F(WatchdogThatRefusesTheMagic, IsNotEnabledAgain) {
    EXPECT_EQ(enable(60), system_error(ENOSPC));
    EXPECT_THAT(driver_.calls, ElementsAre(Driver::Call{set_timeout, 30}));
    EXPECT_EQ(refresh(), "nothing");
}

TEST_F(WatchdogTest, DestructionClosesWithoutTheMagic) {
    watchdog_->enable(30);
    watchdog_.reset();
    EXPECT_FALSE(is_open(driver_.fd));
    EXPECT_EQ(content(node_), "");
}

class WatchdogActs : public FilesTest {
protected:
    void SetUp() override {
        VELMOR_NEEDS_RECORDER();
        put(node_, "");
    }

    /** A driver that takes every timeout and every refresh. */
    Recorder any_driver() const { return recorder().answer(set_timeout_, 0).answer(keepalive_, 0); }

    const std::string node_ = directory_ / "watchdog";
    const std::string open_ = "open " + node_ + " w";
    const std::string set_timeout_ = "ioctl " + node_ + " 0xc0045706";
    const std::string keepalive_ = "ioctl " + node_ + " 0x80045705";
    const std::string magic_ = "write " + node_ + " V";
    const std::string close_ = "close " + node_;
};

TEST_F(WatchdogActs, MagicAndCloseComeBeforeTheSecondOpen) {
    const auto code = [this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        watchdog.refresh();
        watchdog.enable(60);
        watchdog.disable();
    };
    expect_acts(any_driver(), code,
                {open_, set_timeout_, keepalive_, magic_, close_, open_, set_timeout_, magic_, close_}, "nothing");
}

TEST_F(WatchdogActs, NothingIsAskedWithoutEnable) {
    Watchdog watchdog(node_);
    expect_acts([&] { watchdog.refresh(); }, {}, invalid);
    expect_acts([&] { watchdog.disable(); }, {}, invalid);
    expect_acts([&] { watchdog.enable(-1); }, {}, invalid);
}

TEST_F(WatchdogActs, RefusedOpenIsItsError) {
    expect_acts(
        any_driver().fail(open_, EBUSY), [this] { Watchdog(node_).enable(30); }, {open_ + " = EBUSY"},
        system_error(EBUSY));
}

TEST_F(WatchdogActs, MagicThatIsNotTakenLeavesItOpen) {
    const ChildResult child = run_in_child(any_driver().answer("write " + node_, 0, 1), [this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        std::string failure = thrown([&] { watchdog.disable(); });
        watchdog.refresh();
        return failure;
    });
    EXPECT_EQ(child.output, system_error(EIO));
    EXPECT_THAT(child.acts, ElementsAre(open_, set_timeout_, magic_, keepalive_, close_));
}

TEST_F(WatchdogActs, FailedCloseIsNotReported) {
    const auto code = [this] {
        Watchdog watchdog(node_);
        watchdog.enable(30);
        watchdog.disable();
        watchdog.refresh();
    };
    expect_acts(any_driver().fail(close_, EIO), code, {open_, set_timeout_, magic_, close_ + " = EIO"}, invalid);
}

}  // namespace
