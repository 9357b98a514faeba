// SPDX-License-Identifier: MIT
#include "model/model.h"

#include <stdexcept>
#include <vector>

#include "common/near_words.h"

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
    if (auto* known = value(name); known != nullptr) return *known;
    std::vector<std::string> names;
    if (name.starts_with('/')) {
        for (const auto& path : tree.served_paths()) {
            if (value(path) != nullptr) names.push_back(path);
        }
    } else {
        for (const auto& [each, value] : values_) names.push_back(each);
    }
    throw std::invalid_argument(name + ": there is no such value; " + did_you_mean(name, names) +
                                "\"velmor-sim list\" shows all");
}

}  // namespace VelmorSim
