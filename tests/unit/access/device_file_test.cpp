// SPDX-License-Identifier: MIT
#include "access/device_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/files_test.h"

using Velmor::DeviceFile;
using namespace testing_support;

namespace {

class DeviceFileTest : public FilesTest {
protected:
    DeviceFileTest() { put(path_, "text"); }

    /** One byte read, one written, one question asked: all fail with EINVAL. */
    static void expect_unusable(DeviceFile& file) {
        std::array<char, 8> buffer = {};
        EXPECT_EQ(thrown([&] { file.read(buffer.data(), 1); }), system_error(EINVAL));
        EXPECT_EQ(thrown([&] { file.write(buffer.data(), 1); }), system_error(EINVAL));
        EXPECT_EQ(thrown([&] { file.ioctl(FIONREAD, nullptr); }), system_error(EINVAL));
    }

    const std::string path_ = directory_ / "node";
    const std::string open_to_read_ = "open " + path_ + " r";
    const std::string close_ = "close " + path_;
    DeviceFile file_ = DeviceFile(path_);
    std::array<char, 8> buffer_ = {};
};

/** A pipe with a name stands in for a device: it answers ioctl, and transfers only what it holds or has room for. */
class DeviceFileOnPipe : public DeviceFileTest {
protected:
    DeviceFileOnPipe() {
        remove(path_);
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        file_.open(O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
};

// ---- Opening and closing -------------------------------------------------------------------------------------------

TEST_F(DeviceFileTest, IsConstructedClosedAndTouchesNothing) {
    const DeviceFile file(directory_ / "absent");
    EXPECT_FALSE(file.is_open());
    EXPECT_FALSE(exists(directory_ / "absent"));
}

TEST_F(DeviceFileTest, OpenReturnsTheDescriptorWithTheFlagsGiven) {
    const int fd = file_.open(O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(file_.is_open());
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    const int other = file_.open(O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFL) & (O_ACCMODE | O_APPEND), O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
}

TEST_F(DeviceFileTest, MissingNodeIsENOENTAndStaysClosed) {
    remove(path_);
    for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
        EXPECT_EQ(thrown([&] { file_.open(flags); }), system_error(ENOENT));
        EXPECT_FALSE(file_.is_open());
        EXPECT_FALSE(exists(path_));
    }
}

TEST_F(DeviceFileTest, FailedSecondOpenLeavesItClosed) {
    const int first = file_.open(O_RDONLY);
    remove(path_);
    EXPECT_EQ(thrown([&] { file_.open(O_RDONLY); }), system_error(ENOENT));
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(is_open(first));
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, SecondOpenLeaksNothing) {
    const int first = file_.open(O_RDONLY);
    EXPECT_EQ(file_.open(O_RDONLY), first);  // the lowest free number: the first was free again
    EXPECT_EQ(file_.close(), 0);
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(is_open(first));
}

TEST_F(DeviceFileTest, SecondOpenClosesFirst) {
    VELMOR_NEEDS_RECORDER();
    const auto opening_twice = [this] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        file.open(O_RDWR);
    };
    expect_acts(opening_twice, {open_to_read_, close_, "open " + path_ + " rw", close_});
}

TEST_F(DeviceFileTest, OpenErrorOfTheKernelIsThrown) {
    VELMOR_NEEDS_RECORDER();
    const std::string open = "open " + path_ + " rw";
    for (const auto& [error, name] :
         {std::pair(EACCES, "EACCES"), {EBUSY, "EBUSY"}, {EMFILE, "EMFILE"}, {EINTR, "EINTR"}})
        expect_acts(
            recorder().fail(open, error), [&] { file_.open(O_RDWR); }, {open + " = " + name}, system_error(error));
}

TEST_F(DeviceFileTest, CloseOfAClosedFileIsZero) {
    EXPECT_EQ(file_.close(), 0);
    file_.open(O_RDONLY);
    EXPECT_EQ(file_.close(), 0);
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, CloseReturnsTheSystemsResultAndIsClosedAfterwards) {
    ::close(file_.open(O_RDONLY));
    EXPECT_EQ(file_.close(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(file_.is_open());
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, FailingCloseIsNotRepeated) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = recorder().fail(close_, EINTR).run([&] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return file.close();
    });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, EINTR);
    EXPECT_THAT(outcome.acts, testing::ElementsAre(open_to_read_, close_ + " = EINTR"));
}

TEST_F(DeviceFileTest, DestructionCloses) {
    std::optional<DeviceFile> file(std::in_place, path_);
    const int fd = file->open(O_RDONLY);
    EXPECT_TRUE(is_open(fd));
    file.reset();
    EXPECT_FALSE(is_open(fd));
}

TEST_F(DeviceFileTest, DestructionOfAClosedFileClosesNothing) {
    int other = -1;
    {
        DeviceFile file(path_);
        const int fd = file.open(O_RDONLY);
        file.close();
        other = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(other, fd);  // somebody else's now
    }
    EXPECT_TRUE(is_open(other));
    ::close(other);
}

TEST_F(DeviceFileTest, DestructionIgnoresTheErrorOfClosing) {
    VELMOR_NEEDS_RECORDER();
    expect_acts(
        recorder().fail(close_, EIO), [&] { DeviceFile(path_).open(O_RDONLY); }, {open_to_read_, close_ + " = EIO"},
        "nothing");
}

// ---- Transfers -----------------------------------------------------------------------------------------------------

TEST_F(DeviceFileTest, UseWithoutOpeningIsEINVAL) {
    expect_unusable(file_);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 0); }), system_error(EINVAL));
}

TEST_F(DeviceFileTest, UseAfterClosingIsEINVAL) {
    file_.open(O_RDWR);
    file_.close();
    expect_unusable(file_);
    EXPECT_EQ(content(path_), "text");
}

TEST_F(DeviceFileTest, UseWithoutOpeningAsksNothingOfTheKernel) {
    VELMOR_NEEDS_RECORDER();
    const std::function<void()> uses[] = {[&] { file_.read(buffer_.data(), 1); },
                                          [&] { file_.write(buffer_.data(), 1); },
                                          [&] { file_.ioctl(FIONREAD, nullptr); }};
    for (const auto& use : uses) expect_acts(use, {}, system_error(EINVAL));
    expect_acts([&] { file_.close(); }, {});
}

TEST_F(DeviceFileTest, ReadReturnsExactlyWhatWasAskedFor) {
    put(path_, "abcdef");
    file_.open(O_RDONLY);
    EXPECT_EQ(file_.read(buffer_.data(), 4), 4U);
    EXPECT_EQ(std::string(buffer_.data()), "abcd");
    EXPECT_EQ(file_.read(buffer_.data(), 2), 2U);
    EXPECT_EQ(std::string(buffer_.data()), "efcd");
    EXPECT_EQ(file_.read(buffer_.data(), 0), 0U);
}

TEST_F(DeviceFileTest, ShortReadIsEIO) {
    put(path_, "abc");
    file_.open(O_RDONLY);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EIO));
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EIO));  // the end: no byte at all
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileTest, ErrorOfReadingIsThrown) {
    file_.open(O_WRONLY);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 1); }), system_error(EBADF));
    DeviceFile directory(directory_.path());
    directory.open(O_RDONLY);
    EXPECT_EQ(thrown([&] { directory.read(buffer_.data(), 1); }), system_error(EISDIR));
    EXPECT_TRUE(directory.is_open());
}

TEST_F(DeviceFileTest, WriteSendsExactlyTheseBytes) {
    put(path_, "");
    file_.open(O_WRONLY);
    EXPECT_EQ(file_.write("V\0x", 3), 3U);
    EXPECT_EQ(file_.write("yz", 1), 1U);
    EXPECT_EQ(file_.write("", 0), 0U);
    EXPECT_EQ(content(path_), std::string("V\0xy", 4));
}

TEST_F(DeviceFileTest, ErrorOfWritingIsThrown) {
    file_.open(O_RDONLY);
    EXPECT_EQ(thrown([&] { file_.write("x", 1); }), system_error(EBADF));
    EXPECT_EQ(content(path_), "text");
    DeviceFile full("/dev/full");
    full.open(O_WRONLY);
    EXPECT_EQ(thrown([&] { full.write("x", 1); }), system_error(ENOSPC));
}

TEST_F(DeviceFileOnPipe, ShortReadIsEIO) {
    file_.write("abc", 3);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EIO));
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EAGAIN));
}

TEST_F(DeviceFileOnPipe, ShortWriteIsEIO) {
    const std::vector<char> more_than_it_holds(1U << 21U);
    EXPECT_EQ(thrown([&] { file_.write(more_than_it_holds.data(), more_than_it_holds.size()); }), system_error(EIO));
    EXPECT_EQ(thrown([&] { file_.write("x", 1); }), system_error(EAGAIN));
}

TEST_F(DeviceFileOnPipe, IoctlFillsItsArgument) {
    file_.write("abc", 3);
    int available = -1;
    EXPECT_EQ(file_.ioctl(FIONREAD, &available), 0);
    EXPECT_EQ(available, 3);
}

TEST_F(DeviceFileOnPipe, ErrorOfIoctlIsThrown) {
    winsize size = {};
    EXPECT_EQ(thrown([&] { file_.ioctl(TIOCGWINSZ, &size); }), system_error(ENOTTY));
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileTest, IoctlReturnsThePositiveResult) {
    VELMOR_NEEDS_RECORDER();
    const std::string ioctl = "ioctl " + path_ + " 0xc0044507";
    const Outcome outcome = recorder().answer(ioctl, 24).run([&] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return file.ioctl(0xc0044507, nullptr);
    });
    EXPECT_EQ(outcome.result, 24);
    EXPECT_THAT(outcome.acts, testing::ElementsAre(open_to_read_, ioctl, close_));
}

struct Transfer {
    std::string act;
    std::function<void(DeviceFile&)> run;
    bool can_be_short;
};

TEST_F(DeviceFileTest, TransfersAreNotRepeated) {
    VELMOR_NEEDS_RECORDER();
    const Transfer transfers[] = {
        {.act = "read " + path_, .run = [&](auto& file) { file.read(buffer_.data(), 3); }, .can_be_short = true},
        {.act = "write " + path_, .run = [](auto& file) { file.write("abc", 3); }, .can_be_short = true},
        {.act = "ioctl " + path_ + " 0x541b",
         .run = [&](auto& file) { file.ioctl(FIONREAD, buffer_.data()); },
         .can_be_short = false}};
    for (const Transfer& transfer : transfers) {
        const auto expect_once = [&](long answer, int error) {
            const ChildResult child = run_in_child(recorder().answer(transfer.act, answer, 1), [&] {
                DeviceFile file(path_);
                file.open(O_RDWR);
                return thrown([&] { transfer.run(file); });
            });
            EXPECT_EQ(child.output, system_error(error)) << transfer.act;
            EXPECT_EQ(child.acts.size(), 3U) << transfer.act;  // open, the act itself, close
        };
        expect_once(-EINTR, EINTR);
        if (!transfer.can_be_short) continue;
        expect_once(1, EIO);
        expect_once(0, EIO);
    }
}

// ---- A stand-in may take the place of single operations; the others go through it ----------------------------------

class Standin : public DeviceFile {
public:
    using DeviceFile::DeviceFile;

    int close() override {
        ++closed;
        return DeviceFile::close();
    }
    bool is_open() const override { return claims_open.value_or(DeviceFile::is_open()); }

    int closed = 0;
    std::optional<bool> claims_open;
};

TEST_F(DeviceFileTest, OpenClosesThroughTheStandin) {
    Standin file(path_);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 1);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 2);
}

TEST_F(DeviceFileTest, OperationsAskTheStandinWhetherItIsOpen) {
    Standin file(path_);
    const int fd = file.open(O_RDWR);
    file.claims_open = false;
    expect_unusable(file);
    EXPECT_EQ(file.close(), 0);
    EXPECT_TRUE(is_open(fd));
}

TEST_F(DeviceFileTest, DestructionAsksOnlyItself) {
    int fd = -1;
    {
        Standin file(path_);
        fd = file.open(O_RDONLY);
        file.claims_open = false;
    }
    EXPECT_FALSE(is_open(fd));
}

}  // namespace
