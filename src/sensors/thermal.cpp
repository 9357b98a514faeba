// SPDX-License-Identifier: MIT
#include "sensors/thermal.h"

#include <cxxabi.h>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char temperature_file[] = "/temp";
constexpr char trip_point[] = "/trip_point_";
constexpr char temperature_suffix[] = "_temp";
constexpr char type_suffix[] = "_type";

/** The types of trip points that are reported, and their fields. */
struct Kind {
    const char* type;
    std::int32_t thermal_state_t::*temperature;
};
constexpr Kind kinds[] = {
    {"active", &thermal_state_t::active},
    {"hot", &thermal_state_t::hot},
    {"very_hot", &thermal_state_t::very_hot},
    {"critical", &thermal_state_t::critical},
};

}  // namespace

Thermal::Thermal(const std::string& base) : base_(base) {
    for (const Kind& kind : kinds) trips_.emplace(kind.type, "");
    // Before the scan, which ignores a lack of memory too: the trip points would then be missing for good.
    std::vector<std::string> temperatures;
    for (std::size_t i = 0; i < std::size(kinds); ++i)
        temperatures.push_back(base_ + trip_point + std::to_string(i) + temperature_suffix);
    try {
        for (std::size_t i = 0; i < std::size(kinds); ++i) {
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
    for (const Kind& kind : kinds) now.*kind.temperature = SysFS<int>::read_from({trips_.find(kind.type)->second});
    state = now;
}

}  // namespace Velmor
