// SPDX-License-Identifier: MIT
#include "access/descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "support/files_test.h"
#include "support/instrumented.h"

using Velmor::Descriptor;
using namespace testing_support;

namespace {

class DescriptorTest : public FilesTest {
protected:
    DescriptorTest() { put(path_, "text\n"); }

    /** Opens this many times, each time another Descriptor. */
    void open_again(int times, int flags) const {
        for (int i = 0; i < times; ++i) Descriptor().open(path_.c_str(), flags);
    }

    bool opening_a_missing_file_is_its_errno() const {
        Descriptor file;
        errno = 0;
        return file.open((path_ + ".absent").c_str(), O_RDONLY) == -1 && errno == ENOENT && !file.is_open();
    }

    const std::string path_ = directory_ / "file";
};

TEST_F(DescriptorTest, OpensClosesAndTellsWhichItIs) {
    Descriptor file;
    EXPECT_FALSE(file.is_open());
    EXPECT_EQ(file.close(), 0);
    const int fd = file.open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GT(fd, 2);
    EXPECT_EQ(file.get(), fd);
    EXPECT_TRUE(file.is_open());
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(file.close(), 0);
    EXPECT_FALSE(file.is_open());
    EXPECT_FALSE(is_open(fd));
}

TEST_F(DescriptorTest, DestructionCloses) {
    int fd = -1;
    {
        Descriptor file;
        fd = file.open(path_.c_str(), O_RDONLY);
        EXPECT_EQ(fcntl(fd, F_GETFD), 0) << "close-on-exec is the caller's to ask for";
    }
    EXPECT_FALSE(is_open(fd));
}

TEST_F(DescriptorTest, MissingFileIsNoneAndItsErrno) {
    EXPECT_TRUE(opening_a_missing_file_is_its_errno());
}

// ---- Without standard descriptors ----------------------------------------------------------------------------------

class WithoutStandardDescriptors : public DescriptorTest, public testing::WithParamInterface<std::vector<int>> {};

TEST_P(WithoutStandardDescriptors, NoneOfThemIsEverTakenAndTheyStayClosed) {
    const auto child = run_in_child([this] {
        for (const int fd : GetParam()) close(fd);
        std::string text;
        // The first open meets them free, the others know of it.
        for (int i = 0; i < 3; ++i) {
            Descriptor first;
            Descriptor second;
            for (Descriptor* file : {&first, &second}) {
                text += file->open(path_.c_str(), O_RDONLY | O_CLOEXEC) > 2 ? "above " : "low ";
                text += fcntl(file->get(), F_GETFD) == FD_CLOEXEC ? "close-on-exec " : "inherited ";
            }
            for (const int fd : GetParam()) text += is_open(fd) ? "open " : "closed ";
        }
        return text;
    });
    std::string once = "above close-on-exec above close-on-exec ";
    for (std::size_t i = 0; i < GetParam().size(); ++i) once += "closed ";
    EXPECT_EQ(child.output, once + once + once);
}

INSTANTIATE_TEST_SUITE_P(Closed, WithoutStandardDescriptors,
                         testing::Values(std::vector{0}, std::vector{1}, std::vector{2}, std::vector{0, 2},
                                         std::vector{1, 2}, std::vector{0, 1, 2}),
                         [](const auto& instance) {
                             std::string name;
                             for (const int fd : instance.param) name += std::to_string(fd);
                             return name;
                         });

TEST_F(DescriptorTest, FailedOpenKeepsItsErrnoAndLosesNothing) {
    const auto child = run_in_child([this] {
        close(0);
        close(2);
        const bool before = opening_a_missing_file_is_its_errno();
        open_again(1, O_RDONLY);
        const bool after = opening_a_missing_file_is_its_errno();
        return joined({before && after ? "ENOENT" : "another", is_open(0) || is_open(2) ? "open" : "closed"});
    });
    EXPECT_EQ(child.output, "ENOENT, closed");
}

TEST_F(DescriptorTest, WithoutAHigherDescriptorTheOpenFails) {
#ifdef __clang__
    if (instrumented)
        GTEST_SKIP()
            << "clang's sanitizer looks at memory through a pipe, for which no descriptor is left: run this in "
               "the debug build";
#endif
    const auto child = run_in_child([this] {
        close(2);
        const rlimit three = {3, 3};
        setrlimit(RLIMIT_NOFILE, &three);
        std::string text;
        for (int i = 0; i < 2; ++i) {
            Descriptor file;
            errno = 0;
            const int fd = file.open(path_.c_str(), O_RDONLY);
            text += std::to_string(fd) + (errno == EINVAL || errno == EMFILE ? " no room, " : " another, ");
            text += is_open(2) ? "open, " : "closed, ";
        }
        return text;
    });
    EXPECT_EQ(child.output, "-1 no room, closed, -1 no room, closed, ");
}

// A thread that turns the process into a daemon, say: more may be held than there are.
TEST_F(DescriptorTest, AnotherThreadMayCloseWhatIsHeld) {
    const auto child = run_in_child([this] {
        for (const int fd : {0, 1, 2}) close(fd);
        open_again(1, O_RDONLY);
        std::atomic<bool> stop = false;
        std::thread closer([&stop] {
            while (!stop)
                for (const int fd : {0, 1, 2}) syscall(SYS_close, fd);
        });
        open_again(5000, O_RDONLY | O_CLOEXEC);
        stop = true;
        closer.join();
        return "survived";
    });
    EXPECT_EQ(child.output, "survived");
}

// What the application prints into its closed standard error must not reach a file, not even between two calls of ours.
TEST_F(DescriptorTest, OutputOfAnotherThreadNeverReachesAFile) {
    const auto child = run_in_child([this] {
        close(2);
        open_again(1, O_RDONLY);
        std::atomic<bool> stop = false;
        std::atomic<long> printed = 0;
        std::thread printer([&] {
            // Past the thread sanitizer, which takes a write to a descriptor that is being closed for a race.
            while (!stop) printed += syscall(SYS_write, 2, "V", 1) == 1 ? 1 : 0;
        });
        open_again(20000, O_WRONLY | O_APPEND);
        stop = true;
        printer.join();
        return std::to_string(printed) + " bytes printed";
    });
    EXPECT_EQ(child.output, "0 bytes printed");
    EXPECT_EQ(content(path_), "text\n");
}

}  // namespace
