// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tree/node.h"

namespace VelmorSim {

class File;

/** An open file. */
struct OpenFile {
    File& file;
    int flags = 0;
    /** The id, as inside, of the process that opened it or last closed a descriptor of it. */
    int pid = 0;
    /** A 32-bit program opened it: time stamps are 8 bytes there, not 16. */
    bool narrow = false;
    unsigned incarnation = 0;
    /** The text at the first read, or at the last read at offset 0. */
    std::optional<std::string> snapshot{};
    /** The number of changes before that read. */
    std::uint64_t seen = 0;
};

/** A file that answers like the kernel's. Results are at least 0, or minus the errno. */
class File : public Node {
public:
    virtual int open(OpenFile&) { return 0; }
    /** Called when the last descriptor of this open file has been closed. */
    virtual void release(OpenFile&) {}
    /** Returns -EAGAIN if there is nothing to read yet; a reader that may block then waits for wake(). */
    virtual int read(OpenFile&, std::size_t size, std::size_t offset, std::string& out) = 0;
    virtual int write(OpenFile&, std::string_view text) = 0;
    virtual int ioctl(OpenFile&, unsigned request, std::string_view in, std::size_t room, std::string& out);
    /** The POLL bits that are set now. Call wake() when one of them becomes set. */
    virtual unsigned poll(OpenFile&) const;

    /** A stream has no position: lseek and pread fail. */
    virtual bool is_stream() const { return false; }
    /** Whether successful accesses are recorded. Those to a program's text are not: the loader reads it as it likes. */
    virtual bool is_recorded() const { return true; }

    /** Wake the readers and pollers that wait for this file: a read or poll() of theirs may now have another result. */
    void wake() {
        if (woken != nullptr) woken->push_back(this);
    }
    /** Where wake() reports the file; null if nobody waits. */
    std::vector<File*>* woken = nullptr;

    /** What the value means, in a few words, for people who read the record. */
    std::string meaning;
    /** The same for an ioctl request. */
    virtual std::string meaning_of(unsigned /*request*/, std::string_view /*in*/) const { return meaning; }

protected:
    using Node::Node;
};

}  // namespace VelmorSim
