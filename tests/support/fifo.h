// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/files.h"

namespace testing_support {

/** Ends the process where a scenario hangs; a hang would otherwise hold up the whole run. */
inline void no_longer_than(unsigned seconds) {
    alarm(seconds);
}

template <typename Condition>
void wait_until(Condition condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/** A FIFO in place of an attribute: who reads it is held up until the test feeds it. */
class Fifo {
public:
    explicit Fifo(const std::string& path) : path_(path) {
        remove(path_);
        if (mkfifo(path_.c_str(), 0644) < 0) throw std::runtime_error("mkfifo");
    }
    Fifo(const Fifo&) = delete;
    Fifo& operator=(const Fifo&) = delete;
    ~Fifo() { close(fd_); }

    /** Wait for a reader; afterwards it is held up in the middle of its access. */
    void hold() {
        wait_until([this] { return (fd_ = open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) >= 0; });
    }

    /** Let the reader go on with this. The next one meets a FIFO of its own, and not the end of this text. */
    void feed(const std::string& text) {
        const std::string next = path_ + ".next";
        if (mkfifo(next.c_str(), 0644) < 0 || std::rename(next.c_str(), path_.c_str()) != 0)
            throw std::runtime_error("mkfifo");
        if (write(fd_, text.data(), text.size()) < 0) throw std::runtime_error("cannot feed " + path_);
        close(fd_);
        fd_ = -1;
    }

private:
    std::string path_;
    int fd_ = -1;
};

}  // namespace testing_support
