// SPDX-License-Identifier: MIT
#pragma once

#include <streambuf>
#include <string>

namespace Velmor {

/**
 * The buffer of a file stream: a descriptor and a fixed buffer, no heap. It behaves as the standard file buffer does,
 * at less cost: one write(2) for a text that is written, however long, one read(2) for a value and the line
 * that ends it, interrupted calls repeated, failures told in the same way. The descriptor is close-on-exec, so that no
 * child of the application inherits it.
 */
class FileBuffer final : public std::streambuf {
public:
    FileBuffer() = default;
    FileBuffer(const FileBuffer&) = delete;
    FileBuffer(FileBuffer&&) = delete;
    FileBuffer& operator=(const FileBuffer&) = delete;
    FileBuffer& operator=(FileBuffer&&) = delete;
    /** Writes what is left and closes; failures are lost. */
    ~FileBuffer() override;

    bool open_for_reading(const std::string& path);
    /** Creates or truncates. */
    bool open_for_writing(const std::string& path);
    /** Writes what is left and closes. False where either failed or nothing was open; closed it is in any case. */
    bool close();

private:
    int_type underflow() override;
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize length) override;
    int sync() override;

    bool write_out(const char* text, std::size_t length);

    int fd_ = -1;
    char characters_[4096];  // an attribute is at most a page: read whole, so that it is one moment's value
};

/** A base that comes before the stream's, so that the buffer is there when the stream is made. */
struct FileBufferBase {
    FileBuffer buffer_;
};

}  // namespace Velmor
