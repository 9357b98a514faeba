// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tree/file.h"
#include "tree/value.h"

namespace VelmorSim {

/**
 * A small text file that shows one value: a sysfs attribute or a record under "/proc". As in the kernel, a read at
 * offset 0 takes the value, and reads at later offsets continue its text.
 */
class Attribute : public File, public Value {
public:
    /** Takes the permission bits. Without a write bit no program can write, not even as root. */
    explicit Attribute(mode_t permissions, std::int64_t size = 4096) : File(S_IFREG | permissions), size_(size) {}

    std::int64_t size() const override { return size_; }
    int read(OpenFile& open, std::size_t size, std::size_t offset, std::string& out) override;
    int write(OpenFile& open, std::string_view text) override;
    unsigned poll(OpenFile& open) const override;

    std::string get() const override;
    std::string where() const override { return path; }

    /** Show exactly this text, whatever it is, until the value is set or written again. */
    void show_raw(std::string text);
    /** Wake whoever polls for a change. */
    void notify() {
        changes_++;
        wake();
    }

protected:
    /** Make the text, with its newline. Returns 0, or minus the errno. */
    virtual int show(std::string& text) const = 0;
    /** Apply what a program wrote. Returns 0, or minus the errno if nothing has changed. */
    virtual int store(std::string_view text);
    void forget_raw() { raw_.reset(); }

private:
    std::int64_t size_;
    std::optional<std::string> raw_;
    std::uint64_t changes_ = 0;
};

}  // namespace VelmorSim
