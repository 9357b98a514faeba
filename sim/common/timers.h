// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace VelmorSim {

/** Actions that the event loop runs later. */
class Timers {
public:
    using Clock = std::chrono::steady_clock;
    using Id = std::pair<Clock::time_point, std::uint64_t>;

    Id after(Clock::duration delay, std::function<void()> action);
    void cancel(const Id& id) { actions_.erase(id); }
    /** Run the actions that are due. */
    void run_due();
    std::optional<Clock::time_point> next() const;

private:
    std::map<Id, std::function<void()>> actions_;
    std::uint64_t count_ = 0;
};

}  // namespace VelmorSim
