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

class DescriptorTest : public OneFileTest {
protected:
    DescriptorTest() { put(path_, "text\n"); }

    /** Opens and closes the file this many times, each time with another Descriptor. */
    void open_repeatedly(int times, int flags) const {
        for (int i = 0; i < times; ++i) Descriptor().open(path_.c_str(), flags);
    }

    bool opening_a_missing_file_is_enoent() const {
        Descriptor file;
        errno = 0;
        return file.open((path_ + ".absent").c_str(), O_RDONLY) == -1 && errno == ENOENT && !file.is_open();
    }
};

TEST_F(DescriptorTest, OpensAndClosesAndReturnsItsNumber) {
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
    EXPECT_TRUE(opening_a_missing_file_is_enoent());
}

TEST_F(DescriptorTest, DestructionCloses) {
    int fd = -1;
    {
        Descriptor file;
        fd = file.open(path_.c_str(), O_RDONLY);
        EXPECT_EQ(fcntl(fd, F_GETFD), 0) << "close-on-exec is for the caller to request";
    }
    EXPECT_FALSE(is_open(fd));
}

// ---- Without standard descriptors ----------------------------------------------------------------------------------

TEST_F(DescriptorTest, NoStandardDescriptorIsUsedAndTheyStayClosed) {
    for (const std::vector<int>& closed : std::vector<std::vector<int>>{{0}, {1}, {2}, {0, 2}, {1, 2}, {0, 1, 2}}) {
        const auto child = run_in_child([&] {
            for (const int fd : closed) close(fd);
            std::string text;
            // Only the first open is given one of them. It prevents that for the later ones.
            for (int i = 0; i < 3; ++i) {
                Descriptor first;
                Descriptor second;
                for (Descriptor* file : {&first, &second}) {
                    text += file->open(path_.c_str(), O_RDONLY | O_CLOEXEC) > 2 ? "above " : "low ";
                    text += fcntl(file->get(), F_GETFD) == FD_CLOEXEC ? "close-on-exec " : "inherited ";
                }
                for (const int fd : closed) text += is_open(fd) ? "open " : "closed ";
            }
            return text;
        });
        std::string once = "above close-on-exec above close-on-exec ";
        for (std::size_t i = 0; i < closed.size(); ++i) once += "closed ";
        std::string three_times;
        for (int i = 0; i < 3; ++i) three_times += once;
        EXPECT_EQ(child.output, three_times);
    }
}

// The path names what occupies standard error while it is opened.
TEST_F(DescriptorTest, AllThreeAreOccupiedDuringLaterOpens) {
    const auto child = run_in_child([this] {
        for (const int fd : {0, 1, 2}) close(fd);
        open_repeatedly(1, O_RDONLY);
        Descriptor file;
        return std::string(file.open("/proc/self/fd/2", O_RDONLY) > 2 ? "occupied" : "free");
    });
    EXPECT_EQ(child.output, "occupied");
}

TEST_F(DescriptorTest, FailedOpenKeepsItsErrnoAndLeaksNothing) {
    const auto child = run_in_child([this] {
        close(0);
        close(2);
        const bool before = opening_a_missing_file_is_enoent();
        open_repeatedly(1, O_RDONLY);
        const bool after = opening_a_missing_file_is_enoent();
        return joined({before && after ? "ENOENT" : "another", is_open(0) || is_open(2) ? "open" : "closed"});
    });
    EXPECT_EQ(child.output, "ENOENT, closed");
}

TEST_F(DescriptorTest, WithoutAHigherDescriptorTheOpenFails) {
#ifdef __clang__
    if (instrumented)
        GTEST_SKIP()
            << "clang's sanitizer needs descriptors for a pipe, and this test leaves none: run this in the debug build";
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

// While the library holds 0, 1 and 2, it may be given them again if another thread closes them.
TEST_F(DescriptorTest, AnotherThreadMayCloseTheStandardDescriptorsMeanwhile) {
    const auto child = run_in_child([this] {
        for (const int fd : {0, 1, 2}) close(fd);
        open_repeatedly(1, O_RDONLY);
        std::atomic<bool> stop = false;
        std::thread closer([&stop] {
            while (!stop)
                for (const int fd : {0, 1, 2}) syscall(SYS_close, fd);
        });
        open_repeatedly(5000, O_RDONLY | O_CLOEXEC);
        stop = true;
        closer.join();
        return "survived";
    });
    EXPECT_EQ(child.output, "survived");
}

// What another thread prints to its closed standard error must not reach a file at any moment.
TEST_F(DescriptorTest, OutputOfAnotherThreadNeverReachesAFile) {
    const auto child = run_in_child([this] {
        close(2);
        open_repeatedly(1, O_RDONLY);
        std::atomic<bool> stop = false;
        std::atomic<long> printed = 0;
        std::thread printer([&] {
            // Not write(): the thread sanitizer reports a race with the close of the same descriptor.
            while (!stop) printed += syscall(SYS_write, 2, "V", 1) == 1 ? 1 : 0;
        });
        open_repeatedly(20000, O_WRONLY | O_APPEND);
        stop = true;
        printer.join();
        return std::to_string(printed) + " bytes printed";
    });
    EXPECT_EQ(child.output, "0 bytes printed");
    EXPECT_EQ(content(path_), "text\n");
}

}  // namespace
