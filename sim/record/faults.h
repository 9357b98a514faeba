// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace VelmorSim {

/** Acts that must fail or take longer, or that somebody waits for. Paths may contain the wildcards * and ?. */
class Faults {
public:
    /** The paths of the device's files. A fault or delay whose path matches none of them is refused. */
    std::function<std::vector<std::string>()> paths;

    /** PATH:OP:ERRNO[:N]: the N-th such act from now fails; without N, every one. Throws std::invalid_argument. */
    void add_fault(const std::string& text);
    /** PATH:OP:MS: such acts are delayed by that many milliseconds. Throws std::invalid_argument. */
    void add_delay(const std::string& text);
    /** Forget all faults and delays. */
    void clear();
    /** PATH:OP: becomes true once such an act has come, whatever its result is. Throws std::invalid_argument. */
    std::shared_ptr<const bool> await(const std::string& text);

    /** Note and count this act. Returns the errno with which it fails, or 0. A close is not noted. */
    int next(const std::string& path, const std::string& op);
    /** This act has come: end the waits for it. A close is that of the last descriptor of an open file. */
    void note(const std::string& path, const std::string& op);
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

    struct Awaited {
        std::string path;
        std::string op;
        std::weak_ptr<bool> seen;
    };

    void require_path(const std::string& text, const std::string& pattern) const;

    std::vector<Fault> faults_;
    std::vector<Delay> delays_;
    std::list<Awaited> awaited_;
};

}  // namespace VelmorSim
