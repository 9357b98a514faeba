// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/io.h"

namespace Velmor {

/**
 * A GPIO line of the kernel, through "/sys/class/gpio/". Nothing is held between calls: every access exports the line,
 * sets its direction, transfers the level and unexports it, so that others can use the line in between. An object is an
 * input or an output for its whole life.
 *
 * Threads: accesses to one line must not overlap, or their exports and unexports would mix.
 */
class GPIO : public IO {
public:
    /** The kernel's global GPIO number. */
    using pin = std::int32_t;

    /** The two directions. The strings are never destroyed, so a line can be used while the process exits. */
    static const std::string& in();
    static const std::string& out();

    /** Throws std::invalid_argument for a direction other than "in" and "out". Touches no file. */
    GPIO(const pin& number, const std::string& direction);

    void set(const io_value_t& value) override;
    io_value_t get() override;

private:
    void require(const std::string& direction) const;
    /** Exports the line, sets its direction, calls this with the path of the line's level, and unexports the line. */
    template <typename Transfer>
    void transfer(Transfer transfer) const;
    /** Unexports the line after a failed transfer. It ignores its own failure: that of the transfer is reported. */
    void unexport_after_failure() const;

    pin pin_;
    const std::string& direction_;  // one of the two; must stay a reference: docs/architecture.md
};

}  // namespace Velmor
