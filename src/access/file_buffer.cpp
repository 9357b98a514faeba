// SPDX-License-Identifier: MIT
#include "access/file_buffer.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <ios>
#include <iterator>
#include <system_error>
#include <utility>

namespace Velmor {

FileBuffer::~FileBuffer() {
    if (fd_ != -1) close();
}

bool FileBuffer::open_for_reading(const std::string& path) {
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return fd_ != -1;
}

bool FileBuffer::open_for_writing(const std::string& path) {
    constexpr mode_t anybody = 0666;  // less the process's umask, where the file does not exist
    fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, anybody);
    setp(std::begin(characters_), std::end(characters_));
    return fd_ != -1;
}

bool FileBuffer::close() {
    if (fd_ == -1) return false;
    const bool written = sync() == 0;
    setp(nullptr, nullptr);
    setg(nullptr, nullptr, nullptr);
    return ::close(std::exchange(fd_, -1)) == 0 && written;
}

FileBuffer::int_type FileBuffer::underflow() {
    ssize_t length = 0;
    do {
        length = ::read(fd_, characters_, sizeof characters_);
    } while (length == -1 && errno == EINTR);
    // As the standard buffer reports it, so that a stream passes it on as it does that one's.
    if (length == -1) {
        throw std::ios_base::failure("basic_filebuf::underflow error reading the file",
                                     std::error_code(errno, std::generic_category()));
    }
    setg(characters_, characters_, characters_ + length);
    return length == 0 ? traits_type::eof() : traits_type::to_int_type(*characters_);
}

FileBuffer::int_type FileBuffer::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return sync() == 0 ? 0 : traits_type::eof();
    const char last = traits_type::to_char_type(character);
    return xsputn(&last, 1) == 1 ? character : traits_type::eof();
}

std::streamsize FileBuffer::xsputn(const char* text, std::streamsize length) {
    if (length <= epptr() - pptr()) {
        traits_type::copy(pptr(), text, static_cast<std::size_t>(length));
        pbump(static_cast<int>(length));
        return length;
    }
    return write_out(text, static_cast<std::size_t>(length)) ? length : 0;
}

int FileBuffer::sync() {
    return pptr() == pbase() || write_out(nullptr, 0) ? 0 : -1;
}

// What is in the buffer and a text behind it, in one write.
bool FileBuffer::write_out(const char* text, std::size_t length) {
    std::array<iovec, 2> pieces = {
        {{pbase(), static_cast<std::size_t>(pptr() - pbase())},
         {const_cast<char*>(text), length}}};  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    setp(std::begin(characters_), std::end(characters_));
    while (pieces[0].iov_len + pieces[1].iov_len > 0) {
        const auto& [first, second] = pieces;
        ssize_t written = second.iov_len == 0  ? ::write(fd_, first.iov_base, first.iov_len)
                          : first.iov_len == 0 ? ::write(fd_, second.iov_base, second.iov_len)
                                               : ::writev(fd_, pieces.data(), pieces.size());
        if (written == -1 && errno == EINTR) continue;
        if (written <= 0) return false;
        for (iovec& piece : pieces) {
            const std::size_t part = std::min(static_cast<std::size_t>(written), piece.iov_len);
            piece.iov_base = static_cast<char*>(piece.iov_base) + part;
            piece.iov_len -= part;
            written -= static_cast<ssize_t>(part);
        }
    }
    return true;
}

}  // namespace Velmor
