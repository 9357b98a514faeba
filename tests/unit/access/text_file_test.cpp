// SPDX-License-Identifier: MIT
#include "access/text_file.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <ios>
#include <string>
#include <string_view>
#include <vector>

#include "access/sysfs_text.h"
#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using testing_support::Recorder;
using testing_support::TemporaryDirectory;
using Velmor::TextFile;

namespace {

class TextFileTest : public testing::Test {
protected:
    Recorder recorder() const { return Recorder().watch({directory_.path()}); }

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

    TemporaryDirectory directory_;
    const std::string path_ = directory_ / "file";
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
    EXPECT_FALSE(testing_support::exists(path_));
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
    const auto acts_of = [this](const std::string& text, auto value) {
        put(path_, text);
        return recorder()
            .run([&] {
                TextFile file({path_});
                take_value(file, value);
                return 0;
            })
            .acts.size();
    };
    EXPECT_EQ(acts_of("7\n", int()), 3U);
    EXPECT_EQ(acts_of("7", int()), 4U) << "a digit may follow";
    EXPECT_EQ(acts_of("word\n", std::string()), 3U);
    EXPECT_EQ(acts_of("word", std::string()), 4U);
    EXPECT_EQ(acts_of("R", char()), 3U);
    EXPECT_EQ(acts_of("", int()), 3U);
    EXPECT_EQ(acts_of(" ", int()), 4U);
}

TEST_F(Reading, EndOfTheFileIsAskedForOnce) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "1 2");
    const auto outcome = recorder().run([&] {
        TextFile file({path_});
        led_color_t color = {};
        return take_value(file, color) ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "read " + path_, "close " + path_));
}

TEST_F(Reading, InterruptedReadIsRepeated) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "7\n");
    const auto outcome = recorder().fail("read " + path_, EINTR).run([&] {
        TextFile file({path_});
        int number = 0;
        return take_value(file, number) ? number : -1;
    });
    EXPECT_EQ(outcome.result, 7);
    EXPECT_THAT(outcome.acts,
                ElementsAre("open " + path_ + " r", "read " + path_ + " = EINTR", "read " + path_, "close " + path_));
}

TEST_F(Reading, FailedReadIsAFailureWithItsCause) {
    // A directory can be opened for reading; reading it is the error EISDIR.
    try {
        const TextFile directory({directory_.path()});
        FAIL();
    } catch (const std::ios_base::failure& failure) {
        EXPECT_STREQ(failure.what(), "basic_filebuf::underflow error reading the file: Is a directory");
    }
}

// ---- What is written -----------------------------------------------------------------------------------------------

TEST_F(Writing, OpeningTruncates) {
    put(path_, "old text");
    const TextFile file({path_}, TextFile::writing);
    EXPECT_EQ(content(path_), "");
}

TEST_F(Writing, TextOfAnyLengthArrivesInOneWrite) {
    VELMOR_NEEDS_RECORDER();
    for (const std::size_t length : {1U, 4096U, 4097U, 20000U}) {
        const std::string text(length, 'k');
        const auto outcome = recorder().run([&] {
            TextFile file({path_}, TextFile::writing);
            file.write(text);
            file.close();
            return 0;
        });
        EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", "write " + path_ + " " + text, "close " + path_));
    }
}

TEST_F(Writing, EmptyTextIsNotWritten) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = recorder().run([&] {
        TextFile file({path_}, TextFile::writing);
        file.write("");
        file.close();
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", "close " + path_));
}

TEST_F(Writing, FileThatCannotBeOpenedFails) {
    EXPECT_THROW(TextFile({directory_ / "absent/file"}, TextFile::writing), std::ios_base::failure);
    EXPECT_FALSE(testing_support::exists(directory_ / "absent"));
    EXPECT_THROW(TextFile({directory_.path()}, TextFile::writing), std::ios_base::failure);
}

TEST_F(Writing, InterruptedAndShortWritesGoOn) {
    VELMOR_NEEDS_RECORDER();
    const std::string write = "write " + path_;
    const auto outcome = recorder().fail(write, EINTR, 1).answer(write, 2, 2).run([&] {
        TextFile file({path_}, TextFile::writing);
        file.write("12345");
        file.close();
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " w", write + " 12345 = EINTR", write + " 12345",
                                          write + " 345", "close " + path_));
}

TEST_F(Writing, WriteOfNothingFails) {
    VELMOR_NEEDS_RECORDER();
    const auto outcome = recorder().answer("write " + path_, 0).run([&] {
        TextFile file({path_}, TextFile::writing);
        try {
            file.write("1");
        } catch (const std::ios_base::failure&) {
            return 1;
        }
        return 0;
    });
    EXPECT_EQ(outcome.result, 1);
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
        const auto outcome = recorder().fail("close " + path_, EIO).run([&] {
            TextFile file({path_}, access);
            try {
                file.close();
            } catch (const std::ios_base::failure&) {
                return 1;
            }
            return 0;
        });
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.acts.back(), "close " + path_ + " = EIO");
    }
}

TEST_F(TextFileTest, DestructionCloses) {
    VELMOR_NEEDS_RECORDER();
    put(path_, "");
    const auto outcome = recorder().run([&] {
        const TextFile file({path_});
        return 0;
    });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + path_ + " r", "read " + path_, "close " + path_));
}

TEST_F(TextFileTest, FailureHasTheStandardStreamsText) {
    try {
        TextFile file({path_});
        FAIL();
    } catch (const std::ios_base::failure& failure) {
        EXPECT_STREQ(failure.what(), "basic_ios::clear: iostream error");
        EXPECT_EQ(failure.code(), std::io_errc::stream);
    }
}

}  // namespace
