// SPDX-License-Identifier: MIT
#include "access/text_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <ios>
#include <optional>
#include <string>
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

template <typename Value>
std::optional<Value> taken(TextFile& file) {
    Value value{};
    return take_value(file, value) ? std::optional(value) : std::nullopt;
}

std::optional<std::string> taken_line(TextFile& file) {
    std::string line;
    return file.take_line(line) ? std::optional(line) : std::nullopt;
}

class TextFileTest : public OneFileTest {
protected:
    /** All that this takes from the file. */
    std::vector<std::string> all(std::optional<std::string> (*take)(TextFile&)) const {
        std::vector<std::string> all;
        TextFile file({path_});
        while (const auto next = take(file)) all.push_back(*next);
        return all;
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
};

using Reading = TextFileTest;
using ReadingActs = Recorded<TextFileTest>;
using Writing = TextFileTest;
using WritingActs = Recorded<TextFileTest>;

TEST_F(Reading, PathIsMadeOfItsPieces) {
    put(path_, "7\n");
    TextFile file({directory_.path(), "/", "fi", "", "le"});
    EXPECT_EQ(taken<int>(file), 7);
}

TEST_F(Reading, PathThatIsTooLongFailsAndIsNotTruncated) {
    put(path_, "7\n");
    const std::string slashes(4095 - path_.size(), '/');
    EXPECT_NO_THROW(TextFile({slashes, path_}));
    errno = 0;
    EXPECT_THROW(TextFile({slashes, path_, "x"}), std::ios_base::failure);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_THROW(TextFile({slashes, path_, "", path_}), std::ios_base::failure);
}

TEST_F(Reading, MissingFileFailsLikeAStandardStreamAndIsNotCreated) {
    EXPECT_THAT([&] { TextFile({path_}); },
                Throws<std::ios_base::failure>(
                    AllOf(Property(&std::ios_base::failure::what, StrEq("basic_ios::clear: iostream error")),
                          Property(&std::ios_base::failure::code, std::io_errc::stream))));
    EXPECT_FALSE(exists(path_));
}

TEST_F(Reading, ValuesAreTakenOneAfterAnother) {
    put(path_, "first 2\nx3 rest of it\nlast");
    TextFile file({path_});
    EXPECT_EQ(taken<std::string>(file), "first");
    EXPECT_EQ(taken<int>(file), 2);
    EXPECT_EQ(taken<char>(file), 'x');
    EXPECT_EQ(taken<int>(file), 3);
    EXPECT_EQ(taken_line(file), " rest of it");
    EXPECT_EQ(taken_line(file), "last");
    EXPECT_EQ(taken_line(file), std::nullopt);
    EXPECT_EQ(taken<std::string>(file), std::nullopt);
    EXPECT_EQ(taken<int>(file), std::nullopt);
    EXPECT_EQ(taken<char>(file), std::nullopt);
    EXPECT_NO_THROW(file.close());
}

TEST_F(Reading, WordsAndLinesContinueOnTheNextPage) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U, 8192U, 10000U}) {
        const std::string word(length, 'w');
        const std::string first_line = word + ' ';
        put(path_, std::string(first_line).append("\n").append(word));
        EXPECT_THAT(all(taken<std::string>), ElementsAre(word, word)) << length;
        EXPECT_THAT(all(taken_line), ElementsAre(first_line, word)) << length;
    }
}

TEST_F(Reading, NumbersContinueOnTheNextPage) {
    for (const std::size_t spaces : {4090U, 4095U, 4096U, 8191U}) {
        put(path_, std::string(spaces, ' ') + "0x12345678\n");
        TextFile file({path_});
        EXPECT_THAT(taken<mrfi_addr_t>(file).value().byte, ElementsAre(0x78, 0x56, 0x34, 0x12)) << spaces;
    }
    put(path_, std::string(5000, '0') + "7");
    TextFile file({path_});
    EXPECT_EQ(taken<int>(file), 7);
}

TEST_F(Reading, EmptyLineIsALine) {
    put(path_, "\none\n\ntwo\n");
    EXPECT_THAT(all(taken_line), ElementsAre("", "one", "", "two"));
    put(path_, "\n");
    EXPECT_THAT(all(taken_line), ElementsAre(""));
}

TEST_F(ReadingActs, NothingIsReadAfterTheValueAndTheEndOnlyOnce) {
    const auto expect_taken = [this](const std::string& text, auto value, bool is_taken, const Acts& acts) {
        put(path_, text);
        const auto taking = [&] {
            TextFile file({path_});
            return take_value(file, value);
        };
        expect_acts(taking, acts, std::to_string(static_cast<int>(is_taken)));
    };
    const Acts one_read = read_acts(path_);
    const Acts two_reads = read_to_end_acts(path_);
    expect_taken("7\n", int(), true, one_read);
    expect_taken("7", int(), true, two_reads);  // another digit may follow
    expect_taken("word\n", std::string(), true, one_read);
    expect_taken("word", std::string(), true, two_reads);
    expect_taken("R", char(), true, one_read);
    expect_taken("", int(), false, one_read);
    expect_taken(" ", int(), false, two_reads);
    expect_taken("1 2", led_color_t(), false, two_reads);
}

TEST_F(ReadingActs, InterruptedReadIsRepeated) {
    put(path_, "7\n");
    const auto taking = [this] {
        TextFile file({path_});
        return taken<int>(file).value();
    };
    expect_acts(recorder().fail(read_, EINTR), taking, {open_to_read_, read_ + " = EINTR", read_, close_}, "7");
}

TEST_F(Reading, FailedReadIsAFailureWithItsCause) {
    // A directory can be opened for reading, but read() fails with EISDIR.
    EXPECT_THAT([&] { TextFile({directory_.path()}); },
                ThrowsMessage<std::ios_base::failure>(
                    StrEq("basic_filebuf::underflow error reading the file: Is a directory")));
}

TEST_F(Writing, OpeningTruncates) {
    put(path_, "old text");
    const TextFile file({path_}, TextFile::writing);
    EXPECT_EQ(content(path_), "");
}

TEST_F(Writing, MissingFileIsCreatedForEverybodyTheUmaskAllows) {
    const mode_t before = umask(0026);
    const TextFile file({path_}, TextFile::writing);
    umask(before);
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms{0640});
}

TEST_F(WritingActs, TextOfAnyLengthIsOneWriteUnlessItIsEmpty) {
    for (const std::size_t length : {1U, 4096U, 4097U, 20000U}) {
        const std::string text(length, 'k');
        expect_writing(recorder(), text, write_acts(path_, text));
    }
    expect_writing(recorder(), "", {open_to_write_, close_});
}

TEST_F(WritingActs, InterruptedAndShortWritesContinue) {
    expect_writing(recorder().fail(write_, EINTR, 1).answer(write_, 2, 2), "12345",
                   {open_to_write_, write_ + " 12345 = EINTR", write_ + " 12345", write_ + " 345", close_});
}

TEST_F(WritingActs, WriteOfNoByteIsAFailure) {
    expect_writing(recorder().answer(write_, 0), "1", write_acts(path_, "1"), "stream failure");
}

TEST_F(Writing, FileThatCannotBeOpenedOrRefusesTheTextIsAFailure) {
    EXPECT_THROW(TextFile({directory_ / "absent/file"}, TextFile::writing), std::ios_base::failure);
    EXPECT_FALSE(exists(directory_ / "absent"));
    EXPECT_THROW(TextFile({directory_.path()}, TextFile::writing), std::ios_base::failure);
    TextFile file({"/dev/full"}, TextFile::writing);
    EXPECT_THROW(file.write("text"), std::ios_base::failure);
}

TEST_F(ReadingActs, FailedCloseIsAFailure) {
    put(path_, "");
    const auto opening_and_closing = [this] {
        TextFile file({path_});
        file.close();
    };
    const Recorder failing = recorder().fail(close_, EIO);
    expect_acts(failing, opening_and_closing, {open_to_read_, read_, close_ + " = EIO"}, "stream failure");
    expect_writing(failing, "", {open_to_write_, close_ + " = EIO"}, "stream failure");
}

TEST_F(ReadingActs, DestructionCloses) {
    put(path_, "");
    expect_acts([&] { TextFile({path_}); }, read_acts(path_));
}

}  // namespace
