// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tree/node.h"

namespace VelmorSim {

class File;

/** One open of a file. */
struct OpenFile {
    File& file;
    int flags = 0;
    /** The process that opened it, numbered as inside. */
    int pid = 0;
    /** A 32-bit program: time stamps are 8 bytes there, not 16. */
    bool narrow = false;
    unsigned incarnation = 0;
    /** The text as it was when the read at offset 0 came. */
    std::string snapshot{};
    /** The count of changes that the last read has seen. */
    std::uint64_t seen = 0;
};

/** A file with the kernel's answers behind it. Results are as the kernel's: not negative, or minus the errno. */
class File : public Node {
public:
    virtual int open(OpenFile&) { return 0; }
    /** The last descriptor of this open is closed. */
    virtual void release(OpenFile&) {}
    /** -EAGAIN: nothing yet; a reader that may block waits. */
    virtual int read(OpenFile&, std::size_t size, std::size_t offset, std::string& out) = 0;
    virtual int write(OpenFile&, std::string_view text) = 0;
    virtual int ioctl(OpenFile&, unsigned request, std::string_view in, std::size_t room, std::string& out);
    /** POLL bits that hold now. */
    virtual unsigned poll(OpenFile&) const;

    /** A stream has no position: lseek and pread are refused. */
    virtual bool is_stream() const { return false; }
    /** Whether reads and writes are part of the record. A program's text is not: the loader reads it as it likes. */
    virtual bool is_recorded() const { return true; }

    /** What the value is, in a few words, for people who read the record. */
    std::string meaning;
    /** The same of a request. */
    virtual std::string meaning_of(unsigned /*request*/, std::string_view /*in*/) const { return meaning; }

protected:
    using Node::Node;
};

}  // namespace VelmorSim
