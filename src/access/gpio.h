// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "access/io.h"

namespace Velmor {

/**
 * A GPIO line of the kernel's, through "/sys/class/gpio/". Nothing is held between calls: every access exports the
 * line, sets its direction, transfers the level and unexports it again, so that the line is free for others in
 * between. A line is an input or an output for its whole life.
 *
 * Threads: accesses to one line must not overlap; their exports and unexports would mix.
 */
class GPIO : public IO {
public:
    /** The kernel's global GPIO number. */
    using pin = std::int32_t;

    /** The two directions. The strings are never destroyed, so that a line may be used while the process exits. */
    static const std::string& in();
    static const std::string& out();

    /** Throws std::invalid_argument for a direction other than "in" and "out". Touches no file. */
    GPIO(const pin& number, const std::string& direction);

    void set(const io_value_t& value) override;
    io_value_t get() override;

private:
    void require(const std::string& direction) const;
    /** Between the export and the unexport: do this with the path of the line's level. */
    template <typename Transfer>
    void transfer(Transfer transfer) const;
    /** For a transfer that has failed: the line is given back, and its own failure is the one to report. */
    void unexport_after_failure() const;

    pin pin_;
    const std::string& direction_;  // one of the two; a shape that stays: docs/architecture.md
};

}  // namespace Velmor
