// SPDX-License-Identifier: MIT
#include "files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

using namespace VelmorCtl;

namespace {

class Files : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/velmorctl-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        folder_ = name;
        ::chmod(name, 0755);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& text, mode_t mode = 0644) const {
        std::string path = folder_ + "/file";
        std::ofstream(path) << text;
        ::chmod(path.c_str(), mode);
        return path;
    }

    std::string cause(const std::string& text, Text kind) const {
        const auto problem = problem_of(file(text), kind, true, false);
        return problem ? problem->cause.substr(problem->cause.find(' ') + 1) : "";
    }

    std::string folder_;
};

/** The status of a problem as an ordinary user sees it; done if there is none. */
Status status_as_user(const std::string& path, bool reading, bool writing) {
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        if (::getuid() == 0 && ::setuid(nobody) != 0) ::_exit(100);
        const auto problem = problem_of(path, Text::number, reading, writing);
        ::_exit(static_cast<int>(problem ? problem->status : Status::done));
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return static_cast<Status>(WEXITSTATUS(status));
}

TEST_F(Files, TextIsNumberNumbersOrWord) {
    EXPECT_EQ(cause("5\n", Text::number), "");
    EXPECT_EQ(cause("-5", Text::number), "");
    EXPECT_EQ(cause("5abc\n", Text::number), "reads \"5abc\" instead of a number");
    EXPECT_EQ(cause("", Text::number), "reads \"\" instead of a number");
    EXPECT_EQ(cause("1 2\n", Text::number), "reads \"1 2\" instead of a number");
    EXPECT_EQ(cause("2147483648\n", Text::number), "reads \"2147483648\" instead of a number");
    EXPECT_EQ(cause("1 2 3\n", Text::numbers), "");
    EXPECT_EQ(cause("1 b 3\n", Text::numbers), "reads \"1 b 3\" instead of three numbers");
    EXPECT_EQ(cause("1 2\n", Text::numbers), "reads \"1 2\" instead of three numbers");
    EXPECT_EQ(cause(" \n", Text::word), "reads \" \" instead of a word");
    EXPECT_EQ(cause("a\x1b[31m", Text::number), "reads \"a?[31m\" instead of a number");
    EXPECT_EQ(cause("", Text::any), "");
}

TEST_F(Files, TextHasItsOwnForm) {
    EXPECT_EQ(cause("1\n", Text::flag), "");
    EXPECT_EQ(cause("2\n", Text::flag), "reads \"2\" instead of 0 or 1");
    EXPECT_EQ(cause("2.1 24/12/2025\n", Text::release), "");
    EXPECT_EQ(cause("2.1\n", Text::release), "reads \"2.1\" instead of a version and a date");
    EXPECT_EQ(cause("3\n", Text::table_version), "");
    EXPECT_EQ(cause("9\n", Text::table_version), "reads \"9\" instead of 1, 2 or 3");
    EXPECT_EQ(cause("0x12ab\n", Text::table), "");
    EXPECT_EQ(cause("12ab\n", Text::table), "reads \"12ab\" instead of 0x and hexadecimal digits");
    EXPECT_EQ(cause("very_hot\n", Text::trip_type), "");
    EXPECT_EQ(cause("passive\n", Text::trip_type), "reads \"passive\" instead of active, hot, very_hot or critical");
    EXPECT_EQ(cause("0x1a2b3c4d\n", Text::address), "");
    EXPECT_EQ(cause("1\n", Text::address), "");
    EXPECT_EQ(cause("0x1a2b3c4d5\n", Text::address),
              "reads \"0x1a2b3c4d5\" instead of an address of up to 8 hexadecimal digits");
    EXPECT_EQ(cause("0x1 3 pump\n0x2\n", Text::addresses), "");
    EXPECT_EQ(cause("", Text::addresses), "");
    EXPECT_EQ(cause("0x1 3 pump\nrubbish\n", Text::addresses).substr(0, 9), "reads \"0x");
}

TEST_F(Files, MissingFileIsNamed) {
    for (const bool writing : {false, true}) {
        const auto problem = problem_of("/no/such/file", Text::number, !writing, writing);
        ASSERT_TRUE(problem);
        EXPECT_EQ(problem->cause, "/no/such/file is missing");
        EXPECT_EQ(problem->status, Status::failed);
    }
}

TEST_F(Files, UserWhoMayNotIsNotPermitted) {
    EXPECT_EQ(status_as_user(file("5", 0644), true, false), Status::done);
    EXPECT_EQ(status_as_user(file("5", 0200), true, false), Status::not_permitted);
    EXPECT_EQ(status_as_user(file("5", 0444), false, true), Status::not_permitted);
    EXPECT_EQ(status_as_user(file("5", 0000), true, true), Status::not_permitted);
}

TEST_F(Files, NodesAndFilesThatAreWrittenOnlyAreNotOpened) {
    const std::string fifo = folder_ + "/fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    EXPECT_FALSE(problem_of(fifo, Text::node, true, true));
    EXPECT_FALSE(problem_of(fifo, Text::write_only, false, true));
}

TEST_F(Files, OwnerGroupAndMode) {
    EXPECT_NE(owner_of(file("5", 0640)).find(" 0640"), std::string::npos);
    EXPECT_EQ(owner_of("/no/such/file"), "");
}

TEST_F(Files, FilesOfAnAttributeAreNotThoseOfAGpioLine) {
    ASSERT_EQ(files_of("io_set", 9).size(), 1U);
    EXPECT_EQ(files_of("io_set", 9).front().path, "/sys/devices/platform/gps.0/enable");
    EXPECT_EQ(files_of("io_set", 2).front().path, "/sys/class/gpio/export");
}

TEST_F(Files, EachIsListedOnce) {
    std::set<std::string> paths;
    for (const File& each : files()) EXPECT_TRUE(paths.insert(each.path).second) << each.path;
}

}  // namespace
