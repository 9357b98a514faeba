// SPDX-License-Identifier: MIT
#include "access/text_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <ios>
#include <string>
#include <string_view>
#include <vector>

#include "access/sysfs_text.h"
#include "support/files_test.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::Property;
using testing::StrEq;
using testing::Throws;
using testing::ThrowsMessage;
using Velmor::TextFile;
using namespace testing_support;

namespace {

class TextFileTest : public FilesTest {
protected:
    /** The file's words, one after the other. */
    std::vector<std::string> words() const {
        std::vector<std::string> words;
        TextFile file({path_});
        for (std::string word; take_value(file, word);) words.push_back(word);
        return words;
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        TextFile file({path_});
        for (std::string line; file.take_line(line);) lines.push_back(line);
        return lines;
    }

    void expect_writing(const Recorder& recorder, const std::string& text, const Acts& acts,
                        const std::string& throws = "nothing") const {
        const auto writing = [&] {
            TextFile file({path_}, TextFile::writing);
            file.write(text);
            file.close();
        };
        expect_acts(recorder, writing, acts, throws);
    }

    const std::string path_ = directory_ / "file";
    const std::string open_to_read_ = "open " + path_ + " r";
    const std::string open_to_write_ = "open " + path_ + " w";
    const std::string read_ = "read " + path_;
    const std::string write_ = "write " + path_;
    const std::string close_ = "close " + path_;
};

using Reading = TextFileTest;
using Writing = TextFileTest;

// ---- The path ------------------------------------------------------------------------------------------------------

TEST_F(Reading, PathIsPutTogether) {
    put(path_, "7\n");
    TextFile file({directory_.path(), "/", "fi", "", "le"});
    int number = 0;
    EXPECT_TRUE(take_value(file, number));
    EXPECT_EQ(number, 7);
}

TEST_F(Reading, PathThatIsTooLongFailsAndIsNotCut) {
    put(path_, "7\n");
    const std::string slashes(4095 - path_.size(), '/');
    EXPECT_NO_THROW(TextFile({slashes, path_}));
    errno = 0;
    EXPECT_THROW(TextFile({slashes, path_, "x"}), std::ios_base::failure);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_THROW(TextFile({slashes, path_, "", path_}), std::ios_base::failure);
}

TEST_F(Reading, MissingFileFailsAndIsNotCreated) {
    EXPECT_THROW(const TextFile file({path_}), std::ios_base::failure);
    EXPECT_FALSE(exists(path_));
}

// ---- What is read --------------------------------------------------------------------------------------------------

TEST_F(Reading, ValuesAreTakenOneAfterTheOther) {
    put(path_, "first 2\nx3 rest of it\nlast");
    TextFile file({path_});
    std::string word;
    int number = 0;
    char character = 0;
    std::string line;
    EXPECT_TRUE(take_value(file, word));
    EXPECT_EQ(word, "first");
    EXPECT_TRUE(take_value(file, number));
    EXPECT_EQ(number, 2);
    EXPECT_TRUE(take_value(file, character));
    EXPECT_EQ(character, 'x');
    EXPECT_TRUE(take_value(file, number));
    EXPECT_EQ(number, 3);
    EXPECT_TRUE(file.take_line(line));
    EXPECT_EQ(line, " rest of it");
    EXPECT_TRUE(file.take_line(line));
    EXPECT_EQ(line, "last");
    EXPECT_FALSE(file.take_line(line));
    EXPECT_FALSE(take_value(file, word));
    EXPECT_FALSE(take_value(file, number));
    EXPECT_FALSE(take_value(file, character));
    EXPECT_NO_THROW(file.close());
}

TEST_F(Reading, WordsAndLinesGoOnInTheNextPage) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U, 8192U, 10000U}) {
        const std::string word(length, 'w');
        const std::string first_line = word + ' ';
        put(path_, std::string(first_line).append("\n").append(word));
        EXPECT_THAT(words(), ElementsAre(word, word)) << length;
        EXPECT_THAT(lines(), ElementsAre(first_line, word)) << length;
    }
}

TEST_F(Reading, NumbersGoOnInTheNextPage) {
    for (const std::size_t spaces : {4090U, 4095U, 4096U, 8191U}) {
        put(path_, std::string(spaces, ' ') + "0x12345678\n");
        TextFile file({path_});
        mrfi_addr_t address = {};
        EXPECT_TRUE(take_value(file, address)) << spaces;
        EXPECT_THAT(address.byte, ElementsAre(0x78, 0x56, 0x34, 0x12)) << spaces;
    }
    put(path_, std::string(5000, '0') + "7");
    TextFile file({path_});
    int number = 0;
    EXPECT_TRUE(take_value(file, number));
    EXPECT_EQ(number, 7);
}

TEST_F(Reading, EmptyLineIsALine) {
    put(path_, "\none\n\ntwo\n");
    EXPECT_THAT(lines(), ElementsAre("", "one", "", "two"));
    put(path_, "\n");
    EXPECT_THAT(lines(), ElementsAre(""));
}

TEST_F(Reading, NothingIsReadBehindTheValue) {
    VELMOR_NEEDS_RECORDER();
    const auto expect_reads = [this](const std::string& text, auto value, std::size_t reads) {
        put(path_, text);
        const ChildResult child = run_in_child(recorder(), [&] {
            TextFile file({path_});
            take_value(file, value);
            return "";
        });
        EXPECT_EQ(child.acts.size(), 2 + reads) << text;  // and open and close
    };
    expect_reads("7\n", int(), 1);
    expect_reads("7", int(), 2);  // a digit may follow
    expect_reads("word\n", std::string(), 1);
    expect_reads("word", std::string(), 2);
    expect_reads("R", char(), 1);
    expect_reads("", int(), 1);
    expect_reads(" ", int(), 2);
}

TEST_F(Reading, EndOfTheFileIsAskedForOnce) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "1 2");
    const ChildResult child = run_in_child(recorder(), [&] {
        TextFile file({path_});
        led_color_t color = {};
        return take_value(file, color) ? "a color" : "no color";
    });
    EXPECT_EQ(child.output, "no color");
    EXPECT_EQ(child.acts, read_to_end_acts(path_));
}

TEST_F(Reading, InterruptedReadIsRepeated) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "7\n");
    const ChildResult child = run_in_child(recorder().fail(read_, EINTR), [&] {
        TextFile file({path_});
        int number = 0;
        return take_value(file, number) ? std::to_string(number) : "no number";
    });
    EXPECT_EQ(child.output, "7");
    EXPECT_THAT(child.acts, ElementsAre(open_to_read_, read_ + " = EINTR", read_, close_));
}

TEST_F(Reading, FailedReadIsAFailureWithItsCause) {
    // A directory can be opened for reading; reading it is the error EISDIR.
    EXPECT_THAT([&] { TextFile({directory_.path()}); },
                ThrowsMessage<std::ios_base::failure>(
                    StrEq("basic_filebuf::underflow error reading the file: Is a directory")));
}

// ---- What is written -----------------------------------------------------------------------------------------------

TEST_F(Writing, OpeningTruncates) {
    put(path_, "old text");
    const TextFile file({path_}, TextFile::writing);
    EXPECT_EQ(content(path_), "");
}

TEST_F(Writing, MissingFileIsCreatedForAnybodyButForTheUmask) {
    const mode_t before = umask(0026);
    const TextFile file({path_}, TextFile::writing);
    umask(before);
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms{0640});
}

TEST_F(Writing, TextOfAnyLengthArrivesInOneWrite) {
    VELMOR_NEEDS_RECORDER();
    for (const std::size_t length : {1U, 4096U, 4097U, 20000U}) {
        const std::string text(length, 'k');
        expect_writing(recorder(), text, write_acts(path_, text));
    }
}

TEST_F(Writing, EmptyTextIsNotWritten) {
    VELMOR_NEEDS_RECORDER();
    expect_writing(recorder(), "", {open_to_write_, close_});
}

TEST_F(Writing, FileThatCannotBeOpenedFails) {
    EXPECT_THROW(TextFile({directory_ / "absent/file"}, TextFile::writing), std::ios_base::failure);
    EXPECT_FALSE(exists(directory_ / "absent"));
    EXPECT_THROW(TextFile({directory_.path()}, TextFile::writing), std::ios_base::failure);
}

TEST_F(Writing, InterruptedAndShortWritesGoOn) {
    VELMOR_NEEDS_RECORDER();
    expect_writing(recorder().fail(write_, EINTR, 1).answer(write_, 2, 2), "12345",
                   {open_to_write_, write_ + " 12345 = EINTR", write_ + " 12345", write_ + " 345", close_});
}

TEST_F(Writing, WriteOfNothingFails) {
    VELMOR_NEEDS_RECORDER();
    expect_writing(recorder().answer(write_, 0), "1", write_acts(path_, "1"), "stream failure");
}

TEST_F(Writing, RefusedTextFails) {
    TextFile file({"/dev/full"}, TextFile::writing);
    EXPECT_THROW(file.write("text"), std::ios_base::failure);
}

// ---- Closing -------------------------------------------------------------------------------------------------------

TEST_F(TextFileTest, FailingCloseIsAFailure) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    for (const TextFile::Access access : {TextFile::reading, TextFile::writing}) {
        const ChildResult child = run_in_child(recorder().fail(close_, EIO), [&] {
            TextFile file({path_}, access);
            return thrown([&] { file.close(); });
        });
        EXPECT_EQ(child.output, "stream failure");
        EXPECT_EQ(child.acts.back(), close_ + " = EIO");
    }
}

TEST_F(TextFileTest, DestructionCloses) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    expect_acts([&] { TextFile({path_}); }, read_acts(path_));
}

TEST_F(TextFileTest, FailureHasTheStandardStreamsTextAndCode) {
    EXPECT_THAT([&] { TextFile({path_}); },
                Throws<std::ios_base::failure>(
                    AllOf(Property(&std::ios_base::failure::what, StrEq("basic_ios::clear: iostream error")),
                          Property(&std::ios_base::failure::code, std::io_errc::stream))));
}

}  // namespace
