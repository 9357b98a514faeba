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
#include <system_error>
#include <vector>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::content;
using testing_support::exists;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::DeviceFile;

namespace {

/** The error number that this code throws; 0 where it throws nothing, -1 where it is not what the system says. */
template <typename Code>
int error_of(Code code) {
    try {
        code();
        return 0;
    } catch (const std::system_error& error) {
        const bool plain = error.code().category() == std::system_category() && error.what() == error.code().message();
        return plain ? error.code().value() : -1;
    }
}

bool is_open_in_kernel(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

class DeviceFileTest : public testing::Test {
protected:
    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "node";
    DeviceFile file_ = DeviceFile(path_);
    std::array<char, 8> buffer_ = {};
};

/** A pipe with a name stands in for a device: it answers ioctl, and transfers only what it holds or has room for. */
class DeviceFileOnPipe : public DeviceFileTest {
protected:
    DeviceFileOnPipe() {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        file_.open(O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
};

TEST_F(DeviceFileTest, IsConstructedClosedAndTouchesNothing) {
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(exists(path_));
}

TEST_F(DeviceFileTest, OpenReturnsTheDescriptorWithTheFlagsGiven) {
    put(path_, "");
    const int fd = file_.open(O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(file_.is_open());
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    const int other = file_.open(O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFL) & (O_ACCMODE | O_APPEND), O_RDWR | O_APPEND);
    EXPECT_EQ(fcntl(other, F_GETFD), 0);
}

TEST_F(DeviceFileTest, MissingNodeIsENOENTAndStaysClosed) {
    for (const int flags : {O_RDONLY, O_WRONLY, O_RDWR}) {
        EXPECT_EQ(error_of([&] { file_.open(flags); }), ENOENT);
        EXPECT_FALSE(file_.is_open());
        EXPECT_FALSE(exists(path_));
    }
}

TEST_F(DeviceFileTest, FailedSecondOpenLeavesItClosed) {
    put(path_, "");
    const int first = file_.open(O_RDONLY);
    testing_support::remove(path_);
    EXPECT_EQ(error_of([&] { file_.open(O_RDONLY); }), ENOENT);
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(is_open_in_kernel(first));
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, SecondOpenLeaksNothing) {
    put(path_, "");
    const int first = file_.open(O_RDONLY);
    EXPECT_EQ(file_.open(O_RDONLY), first);  // the lowest free number: the first was free again
    EXPECT_EQ(file_.close(), 0);
    EXPECT_FALSE(is_open_in_kernel(first));
}

TEST_F(DeviceFileTest, SecondOpenClosesFirst) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = recorder().run([&] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        file.open(O_RDWR);
        return 0;
    });
    EXPECT_THAT(outcome.acts,
                ElementsAre("open " + path_ + " r", "close " + path_, "open " + path_ + " rw", "close " + path_));
}

TEST_F(DeviceFileTest, OpenErrorOfTheKernelIsThrown) {
    VELMOR_NEEDS_RECORDER();
    for (const int error : {EACCES, EBUSY, EMFILE, EINTR}) {
        const auto outcome =
            recorder().fail("open " + path_ + " rw", error).run([&] { return error_of([&] { file_.open(O_RDWR); }); });
        EXPECT_EQ(outcome.result, error);
        EXPECT_EQ(outcome.acts.size(), 1U);
    }
}

TEST_F(DeviceFileTest, CloseReleasesTheDescriptor) {
    put(path_, "");
    const int fd = file_.open(O_RDONLY);
    EXPECT_TRUE(is_open_in_kernel(fd));
    EXPECT_EQ(file_.close(), 0);
    EXPECT_FALSE(file_.is_open());
    EXPECT_FALSE(is_open_in_kernel(fd));
}

TEST_F(DeviceFileTest, CloseOfAClosedFileIsZero) {
    EXPECT_EQ(file_.close(), 0);
    put(path_, "");
    file_.open(O_RDONLY);
    EXPECT_EQ(file_.close(), 0);
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, CloseReturnsTheSystemsResultAndIsClosedAfterwards) {
    put(path_, "");
    ::close(file_.open(O_RDONLY));
    EXPECT_EQ(file_.close(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(file_.is_open());
    EXPECT_EQ(file_.close(), 0);
}

TEST_F(DeviceFileTest, FailingCloseIsNotRepeated) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = recorder().fail("close " + path_, EINTR).run([&] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return file.close();
    });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, EINTR);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "close " + path_ + " = EINTR"));
}

TEST_F(DeviceFileTest, DestructionCloses) {
    put(path_, "");
    std::optional<DeviceFile> file(std::in_place, path_);
    const int fd = file->open(O_RDONLY);
    EXPECT_TRUE(is_open_in_kernel(fd));
    file.reset();
    EXPECT_FALSE(is_open_in_kernel(fd));
}

TEST_F(DeviceFileTest, DestructionOfAClosedFileClosesNothing) {
    put(path_, "");
    int other = -1;
    {
        DeviceFile file(path_);
        const int fd = file.open(O_RDONLY);
        file.close();
        other = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(other, fd);  // somebody else's now
    }
    EXPECT_TRUE(is_open_in_kernel(other));
    ::close(other);
}

TEST_F(DeviceFileTest, DestructionIgnoresTheErrorOfClosing) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = recorder().fail("close " + path_, EIO).run([&] {
        DeviceFile(path_).open(O_RDONLY);
        return 7;
    });
    EXPECT_EQ(outcome.result, 7);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "close " + path_ + " = EIO"));
}

TEST_F(DeviceFileTest, UseWithoutOpeningIsEINVAL) {
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file_.write(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file_.ioctl(FIONREAD, nullptr); }), EINVAL);
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 0); }), EINVAL);
}

TEST_F(DeviceFileTest, UseAfterClosingIsEINVAL) {
    put(path_, "text");
    file_.open(O_RDWR);
    file_.close();
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file_.write(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file_.ioctl(FIONREAD, nullptr); }), EINVAL);
    EXPECT_EQ(content(path_), "text");
}

TEST_F(DeviceFileTest, UseWithoutOpeningAsksNothingOfTheKernel) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "text");
    const auto outcome = recorder().run([&] {
        DeviceFile file(path_);
        std::array<char, 1> byte = {};
        return error_of([&] { file.read(byte.data(), 1); }) + error_of([&] { file.write(byte.data(), 1); }) +
               error_of([&] { file.ioctl(FIONREAD, nullptr); }) + file.close();
    });
    EXPECT_EQ(outcome.result, 3 * EINVAL);
    EXPECT_THAT(outcome.acts, IsEmpty());
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
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 4); }), EIO);
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 4); }), EIO);  // the end: no byte at all
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileTest, ErrorOfReadingIsThrown) {
    put(path_, "abc");
    file_.open(O_WRONLY);
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 1); }), EBADF);
    DeviceFile directory(directory_.path());
    directory.open(O_RDONLY);
    EXPECT_EQ(error_of([&] { directory.read(buffer_.data(), 1); }), EISDIR);
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
    put(path_, "abc");
    file_.open(O_RDONLY);
    EXPECT_EQ(error_of([&] { file_.write("x", 1); }), EBADF);
    EXPECT_EQ(content(path_), "abc");
    DeviceFile full("/dev/full");
    full.open(O_WRONLY);
    EXPECT_EQ(error_of([&] { full.write("x", 1); }), ENOSPC);
}

TEST_F(DeviceFileOnPipe, ShortReadIsEIO) {
    file_.write("abc", 3);
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 4); }), EIO);
    EXPECT_EQ(error_of([&] { file_.read(buffer_.data(), 4); }), EAGAIN);
}

TEST_F(DeviceFileOnPipe, ShortWriteIsEIO) {
    const std::vector<char> more_than_it_holds(1U << 21U);
    EXPECT_EQ(error_of([&] { file_.write(more_than_it_holds.data(), more_than_it_holds.size()); }), EIO);
    EXPECT_EQ(error_of([&] { file_.write("x", 1); }), EAGAIN);
}

TEST_F(DeviceFileOnPipe, IoctlFillsItsArgument) {
    file_.write("abc", 3);
    int available = -1;
    EXPECT_EQ(file_.ioctl(FIONREAD, &available), 0);
    EXPECT_EQ(available, 3);
}

TEST_F(DeviceFileOnPipe, ErrorOfIoctlIsThrown) {
    winsize size = {};
    EXPECT_EQ(error_of([&] { file_.ioctl(TIOCGWINSZ, &size); }), ENOTTY);
    EXPECT_TRUE(file_.is_open());
}

TEST_F(DeviceFileTest, IoctlReturnsThePositiveResult) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = recorder().answer("ioctl " + path_ + " 0xc0044507", 24).run([&] {
        DeviceFile file(path_);
        file.open(O_RDONLY);
        return file.ioctl(0xc0044507, nullptr);
    });
    EXPECT_EQ(outcome.result, 24);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "ioctl " + path_ + " 0xc0044507", "close " + path_));
}

TEST_F(DeviceFileTest, TransfersAreNotRepeated) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "text");
    std::vector<std::string> acts = {"read " + path_, "write " + path_, "ioctl " + path_ + " 0x541b"};
    struct Answer {
        long result;
        int error;
    };
    // Interrupted; and of three bytes one, or none. An ioctl cannot be short.
    for (const Answer answer : {Answer{-EINTR, EINTR}, Answer{1, EIO}, Answer{0, EIO}}) {
        for (const std::string& act : acts) {
            const bool is_ioctl = act == acts.back();
            if (is_ioctl && answer.error != EINTR) continue;
            const auto outcome = recorder().answer(act, answer.result, 1).run([&] {
                DeviceFile file(path_);
                file.open(O_RDWR);
                std::array<char, 3> bytes = {};
                if (is_ioctl) return error_of([&] { file.ioctl(FIONREAD, bytes.data()); });
                if (act == acts.front()) return error_of([&] { file.read(bytes.data(), bytes.size()); });
                return error_of([&] { file.write("abc", 3); });
            });
            EXPECT_EQ(outcome.result, answer.error) << act;
            EXPECT_EQ(outcome.acts.size(), 3U) << act;  // open, the act itself, close
        }
    }
}

// A stand-in may take the place of single operations; the others go through it.

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
    put(path_, "");
    Standin file(path_);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 1);
    file.open(O_RDONLY);
    EXPECT_EQ(file.closed, 2);
}

TEST_F(DeviceFileTest, OperationsAskTheStandinWhetherItIsOpen) {
    put(path_, "text");
    Standin file(path_);
    const int fd = file.open(O_RDWR);
    file.claims_open = false;
    EXPECT_EQ(error_of([&] { file.read(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file.write(buffer_.data(), 1); }), EINVAL);
    EXPECT_EQ(error_of([&] { file.ioctl(FIONREAD, nullptr); }), EINVAL);
    EXPECT_EQ(file.close(), 0);
    EXPECT_TRUE(is_open_in_kernel(fd));
}

TEST_F(DeviceFileTest, DestructionAsksOnlyItself) {
    put(path_, "");
    int fd = -1;
    {
        Standin file(path_);
        fd = file.open(O_RDONLY);
        file.claims_open = false;
    }
    EXPECT_FALSE(is_open_in_kernel(fd));
}

}  // namespace
