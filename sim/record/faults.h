// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace VelmorSim {

/** Acts that must fail or take longer. Paths may contain the wildcards * and ?. */
class Faults {
public:
    /** PATH:OP:ERRNO[:N]: the N-th such act from now fails; without N, every one. Throws std::invalid_argument. */
    void add_fault(const std::string& text);
    /** PATH:OP:MS: such acts are delayed by that many milliseconds. Throws std::invalid_argument. */
    void add_delay(const std::string& text);
    void clear();

    /** Count this act. Returns the errno with which it fails, or 0. */
    int next(const std::string& path, const std::string& op);
    std::chrono::milliseconds delay(const std::string& path, const std::string& op) const;

private:
    struct Fault {
        std::string path;
        std::string op;
        int error;
        /** The number of the act that fails, from 1; 0 means every one. */
        std::uint64_t which;
        std::uint64_t seen;
    };
    struct Delay {
        std::string path;
        std::string op;
        std::chrono::milliseconds time;
    };

    std::vector<Fault> faults_;
    std::vector<Delay> delays_;
};

}  // namespace VelmorSim
