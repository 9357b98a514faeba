// SPDX-License-Identifier: MIT
#include "common/timers.h"

namespace VelmorSim {

Timers::Id Timers::after(Clock::duration delay, std::function<void()> action) {
    const Id id{Clock::now() + delay, count_++};
    actions_.emplace(id, std::move(action));
    return id;
}

void Timers::run_due() {
    const auto now = Clock::now();
    while (!actions_.empty() && actions_.begin()->first.first <= now) {
        auto action = std::move(actions_.begin()->second);
        actions_.erase(actions_.begin());
        action();
    }
}

std::optional<Timers::Clock::time_point> Timers::next() const {
    if (actions_.empty()) return std::nullopt;
    return actions_.begin()->first.first;
}

}  // namespace VelmorSim
