// SPDX-License-Identifier: MIT
#include "access/device_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/files_test.h"

using Velmor::DeviceFile;
using namespace testing_support;

namespace {

class DeviceFileTest : public OneFileTest {
protected:
    DeviceFileTest() { put(path_, "text"); }

    /** Reading, writing and ioctl() fail with EINVAL. */
    static void expect_unusable(DeviceFile& file) {
        std::array<char, 8> buffer = {};
        EXPECT_EQ(thrown([&] { file.read(buffer.data(), 1); }), system_error(EINVAL));
        EXPECT_EQ(thrown([&] { file.write(buffer.data(), 1); }), system_error(EINVAL));
        EXPECT_EQ(thrown([&] { file.ioctl(FIONREAD, nullptr); }), system_error(EINVAL));
    }

    DeviceFile file_ = DeviceFile(path_);
    std::array<char, 8> buffer_ = {};
};

using DeviceFileActs = Recorded<DeviceFileTest>;

/** A FIFO stands in for a device: it has an ioctl(), and transfers only the bytes that it holds or has room for. */
class DeviceFileOnFifo : public DeviceFileTest {
protected:
    DeviceFileOnFifo() {
        remove(path_);
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        file_.open(O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
};

// ---- Opening and closing -------------------------------------------------------------------------------------------

TEST_F(DeviceFileTest, ConstructionOpensAndCreatesNothing) {
    const DeviceFile file(directory_ / "absent");
    EXPECT_FALSE(file.is_open());
    EXPECT_FALSE(exists(directory_ / "absent"));
}

TEST_F(DeviceFileTest, OpenReturnsADescriptorWithTheGivenFlags) {
    const int fd = file_.open(O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(file_.is_open());
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    const int other = file_.open(O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFL) & (O_ACCMODE | O_APPEND), O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
}

TEST_F(DeviceFileTest, SecondOpenLeaksNothing) {
    const int first = file_.open(O_RDONLY);
    EXPECT_EQ(file_.open(O_RDONLY), first);  // the lowest free number: the first has been closed
    EXPECT_EQ(file_.close(), 0);
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(is_open(first));
}

TEST_F(DeviceFileTest, MissingNodeIsENOENTAndLeavesTheFileClosed) {
    const int first = file_.open(O_RDONLY);
    remove(path_);
    for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
        EXPECT_EQ(thrown([&] { file_.open(flags); }), system_error(ENOENT));
        EXPECT_FALSE(file_.is_open());
        EXPECT_FALSE(is_open(first));
        EXPECT_FALSE(exists(path_));
    }
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileActs, SecondOpenClosesTheFirst) {
    const auto opening_twice = [this] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        file.open(O_RDWR);
    };
    expect_acts(opening_twice, {open_to_read_, close_, "open " + path_ + " rw", close_});
}

TEST_F(DeviceFileActs, ErrorOfOpeningIsThrown) {
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

TEST_F(DeviceFileTest, FailedCloseReturnsTheSystemsResultAndLeavesTheFileClosed) {
    ::close(file_.open(O_RDONLY));
    EXPECT_EQ(file_.close(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(file_.is_open());
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileActs, FailedCloseIsNotRepeatedAndIgnoredByDestruction) {
    const auto closing = [this] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return answer([&] { return file.close(); });
    };
    expect_acts(recorder().fail(close_, EINTR), closing, {open_to_read_, close_ + " = EINTR"}, file_fails_with(EINTR));
    const auto destruction = [this] { DeviceFile(path_).open(O_RDONLY); };
    expect_acts(recorder().fail(close_, EIO), destruction, {open_to_read_, close_ + " = EIO"});
}

TEST_F(DeviceFileTest, DestructionClosesAnOpenFileOnly) {
    std::optional<DeviceFile> file(std::in_place, path_);
    const int fd = file->open(O_RDONLY);
    EXPECT_TRUE(is_open(fd));
    file.reset();
    EXPECT_FALSE(is_open(fd));

    file.emplace(path_).open(O_RDONLY);
    file->close();
    const int others = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(others, fd);  // the same number, in use by somebody else now
    file.reset();
    EXPECT_TRUE(is_open(others));
    ::close(others);
}

// ---- Transfers -----------------------------------------------------------------------------------------------------

TEST_F(DeviceFileTest, UseBeforeOpeningOrAfterClosingIsEINVAL) {
    expect_unusable(file_);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 0); }), system_error(EINVAL));
    file_.open(O_RDWR);
    file_.close();
    expect_unusable(file_);
    EXPECT_EQ(content(path_), "text");
}

TEST_F(DeviceFileActs, UseBeforeOpeningMakesNoSystemCall) {
    expect_acts([&] { file_.read(buffer_.data(), 1); }, {}, system_error(EINVAL));
    expect_acts([&] { file_.write(buffer_.data(), 1); }, {}, system_error(EINVAL));
    expect_acts([&] { file_.ioctl(FIONREAD, nullptr); }, {}, system_error(EINVAL));
    expect_acts([&] { file_.close(); }, {});
}

TEST_F(DeviceFileTest, ReadReturnsExactlyTheRequestedBytes) {
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
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EIO));  // at the end: no byte at all
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileTest, WriteSendsExactlyTheseBytes) {
    put(path_, "");
    file_.open(O_WRONLY);
    EXPECT_EQ(file_.write("V\0x", 3), 3U);
    EXPECT_EQ(file_.write("yz", 1), 1U);
    EXPECT_EQ(file_.write("", 0), 0U);
    EXPECT_EQ(content(path_), std::string("V\0xy", 4));
}

TEST_F(DeviceFileTest, ErrorOfReadingOrWritingIsThrown) {
    file_.open(O_WRONLY);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 1); }), system_error(EBADF));
    file_.open(O_RDONLY);
    EXPECT_EQ(thrown([&] { file_.write("x", 1); }), system_error(EBADF));
    EXPECT_EQ(content(path_), "text");
    DeviceFile directory(directory_.path());
    directory.open(O_RDONLY);
    EXPECT_EQ(thrown([&] { directory.read(buffer_.data(), 1); }), system_error(EISDIR));
    EXPECT_TRUE(directory.is_open());
    DeviceFile full("/dev/full");
    full.open(O_WRONLY);
    EXPECT_EQ(thrown([&] { full.write("x", 1); }), system_error(ENOSPC));
}

TEST_F(DeviceFileOnFifo, ShortTransferIsEIO) {
    file_.write("abc", 3);
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EIO));
    EXPECT_EQ(thrown([&] { file_.read(buffer_.data(), 4); }), system_error(EAGAIN));
    const std::vector<char> more_than_it_holds(1U << 21U);
    EXPECT_EQ(thrown([&] { file_.write(more_than_it_holds.data(), more_than_it_holds.size()); }), system_error(EIO));
    EXPECT_EQ(thrown([&] { file_.write("x", 1); }), system_error(EAGAIN));
}

TEST_F(DeviceFileOnFifo, IoctlFillsItsArgumentOrThrowsItsError) {
    file_.write("abc", 3);
    int available = -1;
    EXPECT_EQ(file_.ioctl(FIONREAD, &available), 0);
    EXPECT_EQ(available, 3);
    winsize size = {};
    EXPECT_EQ(thrown([&] { file_.ioctl(TIOCGWINSZ, &size); }), system_error(ENOTTY));
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileActs, IoctlReturnsThePositiveResult) {
    const std::string ioctl = "ioctl " + path_ + " 0xc0044507";
    const auto opening_and_ioctl = [this] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return file.ioctl(0xc0044507, nullptr);
    };
    expect_acts(recorder().answer(ioctl, 24), opening_and_ioctl, {open_to_read_, ioctl, close_}, "24");
}

TEST_F(DeviceFileActs, TransferIsNotRepeated) {
    const auto expect_once = [&](const std::string& act, auto transfer, long answer, int error) {
        const ChildResult child = run_in_child(recorder().answer(act, answer, 1), [&] {
            DeviceFile file(path_);
            file.open(O_RDWR);
            return thrown([&] { transfer(file); });
        });
        EXPECT_EQ(child.output, system_error(error)) << act;
        EXPECT_EQ(child.acts.size(), 3U) << act;  // open, the act itself, close
    };
    const auto read = [&](DeviceFile& file) { file.read(buffer_.data(), 3); };
    const auto write = [](DeviceFile& file) { file.write("abc", 3); };
    const auto ioctl = [&](DeviceFile& file) { file.ioctl(FIONREAD, buffer_.data()); };
    for (const auto& [answer, error] : {std::pair(-EINTR, EINTR), {1, EIO}, {0, EIO}}) {
        expect_once(read_, read, answer, error);
        expect_once(write_, write, answer, error);
    }
    expect_once("ioctl " + path_ + " 0x541b", ioctl, -EINTR, EINTR);
}

// ---- A derived class may override single operations; the others go through them ------------------------------------

class OverridingFile : public DeviceFile {
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

TEST_F(DeviceFileTest, OpenCallsAnOverriddenClose) {
    OverridingFile file(path_);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 1);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 2);
}

TEST_F(DeviceFileTest, OperationsCallAnOverriddenIsOpenButDestructionDoesNot) {
    int fd = -1;
    {
        OverridingFile file(path_);
        fd = file.open(O_RDWR);
        file.claims_open = false;
        expect_unusable(file);
        EXPECT_EQ(file.close(), 0);
        EXPECT_TRUE(is_open(fd));
    }
    EXPECT_FALSE(is_open(fd));
}

}  // namespace
