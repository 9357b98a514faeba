// SPDX-License-Identifier: MIT
#include "platform/watchdog.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "support/files_test.h"
#include "support/ioctl_stand_in.h"

using testing::ElementsAre;
using testing::IsEmpty;
using Velmor::Watchdog;
using namespace testing_support;

namespace {

/** Notes the requests, "set timeout 30", and accepts them unless it is given an error. */
class Driver : public IoctlStandIn {
public:
    int ioctl(int fd, unsigned long request, void* argument) override {
        int& number = *static_cast<int*>(argument);
        const std::string name = request == 0xC0045706 ? "set timeout" : request == 0x80045705 ? "keepalive" : "other";
        requests.push_back(name + " " + std::to_string(number));
        last_fd = fd;
        if (error == 0) number = 127;  // the kernel's drivers report the timeout that they have set
        return error;
    }

    std::vector<std::string> requests;
    int error = 0;
    int last_fd = -1;
};

class WatchdogTest : public OneFileTest {
protected:
    WatchdogTest() { put(path_, ""); }

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

    Driver driver_;
    std::unique_ptr<Watchdog> watchdog_ = std::make_unique<Watchdog>(path_);
};

const std::string invalid = system_error(EINVAL);

TEST_F(WatchdogTest, ConstructionOpensAndCreatesNothing) {
    const Watchdog watchdog(directory_ / "none");
    EXPECT_FALSE(exists(directory_ / "none"));
    EXPECT_THAT(driver_.requests, IsEmpty());
}

TEST_F(WatchdogTest, EnableOpensForWritingAndSetsTheTimeout) {
    put(path_, "kept");
    watchdog_->enable(30);
    EXPECT_THAT(driver_.requests, ElementsAre("set timeout 30"));
    EXPECT_EQ(fcntl(driver_.last_fd, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK | O_SYNC), O_WRONLY);
    EXPECT_EQ(fcntl(driver_.last_fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(content(path_), "kept");
}

TEST_F(WatchdogTest, TimeoutsArePassedOnAndRefreshIsAKeepaliveWithZero) {
    watchdog_->enable(0);
    watchdog_->enable(INT_MAX);
    watchdog_->refresh();
    watchdog_->refresh();
    EXPECT_THAT(driver_.requests, ElementsAre("set timeout 0", "set timeout 2147483647", "keepalive 0", "keepalive 0"));
}

TEST_F(WatchdogTest, NegativeTimeoutNeitherOpensTheNodeNorDisarmsAnArmedWatchdog) {
    for (const int timeout_s : {-1, INT_MIN}) EXPECT_EQ(enable(timeout_s), invalid);
    EXPECT_THAT(driver_.requests, IsEmpty());
    EXPECT_EQ(refresh(), invalid) << "it is open";
    watchdog_->enable(30);
    EXPECT_EQ(enable(-1), invalid);
    EXPECT_EQ(content(path_), "");
    watchdog_->refresh();
    EXPECT_EQ(driver_.requests.size(), 2U);
}

TEST_F(WatchdogTest, DisableWritesTheMagicAndClosesAndIsInvalidUnlessEnabled) {
    EXPECT_EQ(refresh(), invalid);
    EXPECT_EQ(disable(), invalid);
    EXPECT_THAT(driver_.requests, IsEmpty());
    EXPECT_EQ(content(path_), "");
    watchdog_->enable(30);
    watchdog_->disable();
    EXPECT_EQ(content(path_), "V");
    EXPECT_FALSE(is_open(driver_.last_fd));
    EXPECT_EQ(refresh(), invalid);
    EXPECT_EQ(disable(), invalid);
    EXPECT_EQ(content(path_), "V");
}

TEST_F(WatchdogTest, SecondEnableFirstDisarmsAndThenSetsTheNewTimeout) {
    watchdog_->enable(30);
    const int first = driver_.last_fd;
    watchdog_->enable(60);
    EXPECT_EQ(driver_.last_fd, first) << "the first descriptor was still open when the node was opened again";
    EXPECT_EQ(content(path_), "V");
    EXPECT_THAT(driver_.requests, ElementsAre("set timeout 30", "set timeout 60"));
    EXPECT_EQ(fcntl(driver_.last_fd, F_GETFL) & O_ACCMODE, O_WRONLY) << "it is not armed again";
    put(path_, "");
    watchdog_->disable();
    EXPECT_EQ(content(path_), "V");
    EXPECT_FALSE(is_open(driver_.last_fd));
}

TEST_F(WatchdogTest, SecondEnableCallsAnOverriddenDisable) {
    struct Counting : Watchdog {
        using Watchdog::Watchdog;
        void disable() override { ++disabled; }
        int disabled = 0;
    };
    Counting watchdog(path_);
    watchdog.enable(30);
    EXPECT_EQ(watchdog.disabled, 0);
    watchdog.enable(30);
    EXPECT_EQ(watchdog.disabled, 1);
}

TEST_F(WatchdogTest, MissingNodeIsENOENTAndNotCreated) {
    remove(path_);
    EXPECT_EQ(enable(30), system_error(ENOENT));
    EXPECT_FALSE(exists(path_));
    EXPECT_THAT(driver_.requests, IsEmpty());
    EXPECT_EQ(refresh(), invalid);
}

TEST_F(WatchdogTest, FailedSecondOpenLeavesItDisarmedAndClosed) {
    watchdog_->enable(30);
    const std::string moved = directory_ / "moved";
    ASSERT_EQ(rename(path_.c_str(), moved.c_str()), 0);
    EXPECT_EQ(enable(30), system_error(ENOENT));
    EXPECT_EQ(content(moved), "V");
    EXPECT_EQ(refresh(), invalid);
}

// Opening has armed the hardware, so the application must still be able to feed and to disarm it.
TEST_F(WatchdogTest, FailedTimeoutOrRefreshLeavesItOpen) {
    driver_.error = EINVAL;
    EXPECT_EQ(enable(100000), invalid);
    driver_.error = 0;
    EXPECT_EQ(refresh(), "nothing");
    driver_.error = EIO;
    EXPECT_EQ(refresh(), system_error(EIO));
    driver_.error = 0;
    EXPECT_EQ(refresh(), "nothing");
    EXPECT_EQ(disable(), "nothing");
    EXPECT_EQ(content(path_), "V");
}

TEST_F(WatchdogTest, StaysOpenWithItsTimeoutIfTheNodeRefusesTheMagic) {
    watchdog_ = std::make_unique<Watchdog>("/dev/full");
    watchdog_->enable(30);
    EXPECT_EQ(disable(), system_error(ENOSPC));
    EXPECT_EQ(refresh(), "nothing");
    EXPECT_EQ(enable(60), system_error(ENOSPC));
    EXPECT_EQ(refresh(), "nothing");
    EXPECT_THAT(driver_.requests, ElementsAre("set timeout 30", "keepalive 0", "keepalive 0"));
}

TEST_F(WatchdogTest, DestructionClosesWithoutTheMagic) {
    watchdog_->enable(30);
    watchdog_.reset();
    EXPECT_FALSE(is_open(driver_.last_fd));
    EXPECT_EQ(content(path_), "");
}

// ---- The system calls, without a stand-in --------------------------------------------------------------------------

class WatchdogFile : public OneFileTest {
protected:
    WatchdogFile() { put(path_, ""); }

    /** A driver that accepts every timeout and every refresh. */
    Recorder any_driver() const { return recorder().answer(set_timeout_, 0).answer(keepalive_, 0); }

    const std::string set_timeout_ = "ioctl " + path_ + " 0xc0045706";
    const std::string keepalive_ = "ioctl " + path_ + " 0x80045705";
    const std::string magic_ = write_ + " V";
};

using WatchdogActs = Recorded<WatchdogFile>;

TEST_F(WatchdogActs, MagicAndCloseComeBeforeTheSecondOpen) {
    const auto code = [this] {
        Watchdog watchdog(path_);
        watchdog.enable(30);
        watchdog.refresh();
        watchdog.enable(60);
        watchdog.disable();
    };
    expect_acts(
        any_driver(), code,
        {open_to_write_, set_timeout_, keepalive_, magic_, close_, open_to_write_, set_timeout_, magic_, close_});
}

TEST_F(WatchdogActs, NoSystemCallIsMadeBeforeEnableNorAfterAFailedOpen) {
    Watchdog watchdog(path_);
    expect_acts([&] { watchdog.refresh(); }, {}, invalid);
    expect_acts([&] { watchdog.disable(); }, {}, invalid);
    expect_acts([&] { watchdog.enable(-1); }, {}, invalid);
    expect_acts(
        any_driver().fail(open_to_write_, EBUSY), [this] { Watchdog(path_).enable(30); }, {open_to_write_ + " = EBUSY"},
        system_error(EBUSY));
}

TEST_F(WatchdogActs, MagicThatIsNotWrittenLeavesItOpen) {
    const auto code = [this] {
        Watchdog watchdog(path_);
        watchdog.enable(30);
        std::string failure = thrown([&] { watchdog.disable(); });
        watchdog.refresh();
        return failure;
    };
    expect_acts(any_driver().answer(write_, 0, 1), code, {open_to_write_, set_timeout_, magic_, keepalive_, close_},
                system_error(EIO));
}

TEST_F(WatchdogActs, FailedCloseIsIgnored) {
    const auto code = [this] {
        Watchdog watchdog(path_);
        watchdog.enable(30);
        watchdog.disable();
        watchdog.refresh();
    };
    expect_acts(any_driver().fail(close_, EIO), code, {open_to_write_, set_timeout_, magic_, close_ + " = EIO"},
                invalid);
}

}  // namespace
