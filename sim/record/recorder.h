// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

#include "common/descriptor.h"
#include "record/act.h"

namespace VelmorSim {

/**
 * Records what programs do, in order. Each act is written at once as a complete line, so nothing is missing when
 * everything is killed.
 */
class Recorder {
public:
    /** Write JSON lines to this file. Throws std::system_error. */
    void trace_to(const std::string& file);
    /** Print lines for people on standard error, in colour on a terminal. */
    void explain();

    void record(const Act& act);
    /** The unit is down: record nothing more. */
    void stop() { stopped_ = true; }
    /** Whether a line could not be written to the file. A message has said so, and nothing more is written to it. */
    bool is_incomplete() const { return incomplete_; }

private:
    void explain(const Act& act) const;

    Descriptor trace_;
    std::string file_;
    bool incomplete_ = false;
    bool explain_ = false;
    bool colour_ = false;
    bool stopped_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace VelmorSim
