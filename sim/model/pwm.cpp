// SPDX-License-Identifier: MIT
#include <cerrno>

#include "common/settings.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/number_attribute.h"

namespace VelmorSim {

const Kind pwm_kind("pwm", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t second = 1000000000;  // ns
    const auto path = device_path(settings);
    const auto now = settings.number("period", 1, second);
    const auto high = settings.number("duty", 0, now);
    const auto running = settings.number("status", 0, 1);

    Directory& device = model.tree.directory(path);
    auto& period = model.tree.add<NumberAttribute>(device, "period", mode_t{0644}, now, 1, second);
    auto& duty = model.tree.add<NumberAttribute>(device, "duty", mode_t{0644}, high, 0, second);
    auto& status = model.tree.add<NumberAttribute>(device, "status", mode_t{0644}, running, 0, 1);
    period.meaning = "ns";
    duty.meaning = "ns high in each period";
    status.meaning = "1 running, 0 stopped";
    period.check = [&](std::int64_t ns) { return ns < duty.value() ? -EINVAL : 0; };
    period.condition = "at least the duty";
    duty.check = [&](std::int64_t ns) { return ns > period.value() ? -EINVAL : 0; };
    duty.condition = "at most the period";
    model.name(name + ".period", period);
    model.name(name + ".duty", duty);
    model.name(name + ".status", status);
});

}  // namespace VelmorSim
