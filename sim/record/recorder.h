// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

#include "common/descriptor.h"
#include "record/act.h"

namespace VelmorSim {

/**
 * Writes down what applications do, in order. Every line is written at once and whole, so that a record is complete up
 * to the moment at which everything was killed.
 */
class Recorder {
public:
    /** JSON lines into this file. Throws std::system_error. */
    void trace_to(const std::string& file);
    /** Lines for people on standard error, coloured on a terminal. */
    void explain();

    void record(const Act& act) const;
    /** The unit is down: nothing is an application's act any longer. */
    void stop() { stopped_ = true; }

private:
    void explain(const Act& act) const;

    Descriptor trace_;
    bool explain_ = false;
    bool colour_ = false;
    bool stopped_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace VelmorSim
