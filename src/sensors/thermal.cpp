// SPDX-License-Identifier: MIT
#include "sensors/thermal.h"

#include <cxxabi.h>
#include <cstddef>
#include <utility>
#include <vector>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char temperature_file[] = "/temp";
constexpr char trip_point[] = "/trip_point_";
constexpr char temperature_suffix[] = "_temp";
constexpr char type_suffix[] = "_type";

}  // namespace

Thermal::Thermal(const std::string& base) : base_(base) {
    for (const char* const kind : {"active", "hot", "very_hot", "critical"}) trips_.emplace(kind, "");
    const std::size_t examined = trips_.size();  // fixed here: types that are entered below do not extend the scan
    // Before the scan, which swallows a lack of memory too: these trip points would be missing for good.
    std::vector<std::string> temperatures;
    for (std::size_t i = 0; i < examined; ++i)
        temperatures.push_back(base_ + trip_point + std::to_string(i) + temperature_suffix);
    try {
        for (std::size_t i = 0; i < examined; ++i) {
            const auto kind = SysFS<std::string>::read_from({base_, trip_point, std::to_string(i), type_suffix});
            trips_[kind] = std::move(temperatures[i]);
        }
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {  // NOLINT(bugprone-empty-catch): the zone has no more trip points
    }
}

void Thermal::state_get(thermal_state_t& state) {
    thermal_state_t now = {};
    now.temp = SysFS<int>::read_from({base_, temperature_file});
    now.active = trip_temperature("active");
    now.hot = trip_temperature("hot");
    now.very_hot = trip_temperature("very_hot");
    now.critical = trip_temperature("critical");
    state = now;
}

int Thermal::trip_temperature(const char* kind) const {
    return SysFS<int>::read_from({trips_.find(kind)->second});  // the constructor has entered all four kinds
}

}  // namespace Velmor
