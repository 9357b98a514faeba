// SPDX-License-Identifier: MIT
#include "model/model.h"

#include <stdexcept>

namespace VelmorSim {

void Model::name(const std::string& name, ComputedValue::Getter getter, ComputedValue::Setter setter) {
    computed_.push_back(std::make_unique<ComputedValue>(std::move(getter), std::move(setter)));
    values_[name] = computed_.back().get();
}

Value* Model::value(const std::string& name) {
    if (const auto known = values_.find(name); known != values_.end()) return known->second;
    if (!name.empty() && name[0] == '/') return dynamic_cast<Value*>(tree.find(name));
    for (const auto& [prefix, finder] : families_) {
        if (name.compare(0, prefix.size(), prefix) != 0) continue;
        auto made = finder(std::string_view(name).substr(prefix.size()));
        if (made == nullptr) continue;
        computed_.push_back(std::move(made));
        return values_[name] = computed_.back().get();
    }
    return nullptr;
}

Value& Model::known_value(const std::string& name) {
    auto* known = value(name);
    if (known == nullptr) throw std::invalid_argument(name + ": there is no such value; \"velmor-sim list\" shows all");
    return *known;
}

}  // namespace VelmorSim
