// SPDX-License-Identifier: MIT
#include "access/text_file.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstddef>
#include <ios>
#include <system_error>

#include "access/failure.h"
#include "access/text.h"

namespace Velmor {

TextFile::TextFile(Path path, Access access) {
    std::size_t length = 0;
    for (const std::string_view piece : path) length += piece.copy(page_ + length, sizeof page_ - length);
    if (length == sizeof page_) {
        errno = ENAMETOOLONG;  // as the kernel would report
        throw_stream_failure();
    }
    page_[length] = '\0';
    constexpr mode_t anybody = 0666;  // minus the process's umask, if the file is created
    const int flags = access == reading ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    if (file_.open(page_, flags | O_CLOEXEC, anybody) < 0) throw_stream_failure();
    if (access == reading) text_ = read_page();
}

bool TextFile::take_character(char& character) {
    const bool taken = take([](std::string_view& text) { return skip_white_space(text), !text.empty(); });
    if (taken) character = take_front(text_, 1).front();
    return taken;
}

bool TextFile::take_line(std::string& line) {
    const bool taken = take([&line](std::string_view& text) {
        const bool any = !text.empty();
        line = take_until(text, "\n");
        return any;
    });
    take_front(text_, 1);  // the newline
    return taken;
}

void TextFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = TEMP_FAILURE_RETRY(::write(file_.get(), text.data(), text.size()));
        if (written <= 0) throw_stream_failure();
        take_front(text, static_cast<std::size_t>(written));
    }
}

void TextFile::close() {
    if (file_.close() != 0) throw_stream_failure();
}

bool TextFile::more() {
    if (ended_) return false;
    if (!text_.empty()) longer_ = text_;  // the next page overwrites the text that is left
    const std::string_view page = read_page();
    text_ = text_.empty() ? page : longer_.append(page);
    return !ended_;
}

std::string_view TextFile::read_page() {
    const ssize_t length = TEMP_FAILURE_RETRY(::read(file_.get(), page_, sizeof page_));
    if (length == -1) {
        const std::error_code error(errno, std::generic_category());
        throw std::ios_base::failure("basic_filebuf::underflow error reading the file", error);  // the standard text
    }
    ended_ = length == 0;
    return {page_, static_cast<std::size_t>(length)};
}

}  // namespace Velmor
