// SPDX-License-Identifier: MIT
#pragma once

// What the programs of this directory share. tests/board/run reads the lines that begin with "velmor-board:", "ok" and
// "not ok".

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace board {

struct Tally {
    int checks;
    int failed;
};
/** Shared with forked children, whose checks count too. */
inline Tally* const tally =
    static_cast<Tally*>(mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

inline void check(const std::string& what, const std::string& expected, const std::string& got) {
    const bool good = got == expected;
    ++tally->checks;
    if (!good) ++tally->failed;
    std::printf("%s %d - %s: %s%s\n", good ? "ok" : "not ok", tally->checks, what.c_str(), got.c_str(),
                good ? "" : (", not " + expected).c_str());
}

/** The checks that follow are of this interface; tests/board/run shows what is behind it if it is a path. */
inline void interface(const std::string& path, const std::string& functions) {
    std::printf("velmor-board: interface %s | %s\n", path.c_str(), functions.c_str());
}

/** What a system call has come to: "good" or the name of the error. */
inline std::string outcome(long result) {
    return result < 0 ? strerrorname_np(errno) : "good";
}

/** The text in one line, as C writes it. */
inline std::string shown(const std::string& text) {
    std::string line = "\"";
    for (const char each : text) line += each == '\n' ? "\\n" : std::string(1, each);
    return line + "\"";
}

/** One of the kernel's files. */
struct File {
    std::string path;

    /** Its text without the last newline, or the name of the error. */
    std::string text() const {
        std::array<char, 4096> bytes = {};
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const ssize_t length = fd < 0 ? -1 : read(fd, bytes.data(), bytes.size());
        std::string text = length < 0 ? outcome(length) : std::string(bytes.data(), static_cast<std::size_t>(length));
        close(fd);
        if (text.ends_with('\n')) text.pop_back();
        return text;
    }

    // Checks of the file. They can be chained: accepts("0x3").reads("3").

    const File& reads(const std::string& expected) const {
        check("read " + path, expected, text());
        return *this;
    }
    const File& accepts(const std::string& text) const {
        check_write(text, "good");
        return *this;
    }
    const File& rejects(const std::vector<std::string>& texts, const std::string& error) const {
        for (const std::string& text : texts) check_write(text, error);
        return *this;
    }

private:
    void check_write(const std::string& text, const std::string& expected) const {
        const int fd = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        const ssize_t length = fd < 0 ? -1 : write(fd, text.data(), text.size());
        const bool in_part = length >= 0 && static_cast<std::size_t>(length) < text.size();
        check("write " + path + " " + shown(text), expected, in_part ? "a part" : outcome(length));
        close(fd);
    }
};

/** By a node that only that board's device tree has. */
inline bool on_emulated_board() {
    const std::string compatible = File{"/sys/firmware/devicetree/base/mxc_pwm.1/compatible"}.text();
    return std::strcmp(compatible.c_str(), "velmor,dummy") == 0 && std::filesystem::exists("/programs");
}

/** HAZARD: what these programs do is only for the machines that they are made for. */
inline void begin_checks(bool on_its_machine, const char* elsewhere) {
    if (!on_its_machine) {
        std::fprintf(stderr, "refused: this is %s\n", elsewhere);
        std::exit(2);
    }
    // A child's lines stay in order.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
}

inline int end_checks() {
    std::printf("1..%d\n", tally->checks);
    return tally->failed == 0 ? 0 : 1;
}

}  // namespace board
