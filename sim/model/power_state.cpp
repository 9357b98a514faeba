// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/attribute.h"

namespace VelmorSim {

namespace {

/** The sleep states. On the device a write of one returns after the wake-up; here it returns at once, but see delays.
 */
class PowerState : public Attribute {
public:
    explicit PowerState(std::vector<std::string> states) : Attribute(0644), states_(std::move(states)) {}

    std::string set(std::string_view /*text*/) override { return "left out: only a program can write it"; }
    int suspended() const { return suspended_; }

protected:
    int show(std::string& text) const override {
        for (const auto& state : states_) text += (text.empty() ? "" : " ") + state;
        text += "\n";
        return 0;
    }
    int store(std::string_view text) override {
        if (std::find(states_.begin(), states_.end(), without_newline(text)) == states_.end()) return -EINVAL;
        suspended_++;
        return 0;
    }

private:
    std::vector<std::string> states_;
    int suspended_ = 0;
};

}  // namespace

const Kind power_state_kind("power-state", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    auto states = settings.texts("states");
    if (states.empty()) settings.refuse("states", "a list of at least one state, for example [\"mem\"]");
    auto& state = model.tree.add<PowerState>(path, std::move(states));
    state.meaning = "sleeps, and returns after the wake-up";
    model.name(name + ".state", state);
    model.name(
        name + ".suspended", [&] { return std::to_string(state.suspended()); }, nullptr);
});

}  // namespace VelmorSim
