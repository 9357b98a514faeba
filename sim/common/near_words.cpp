// SPDX-License-Identifier: MIT
#include "common/near_words.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace VelmorSim {

namespace {

/** How many letters must be inserted, removed, replaced or swapped with the next to turn one word into the other. */
std::size_t edit_distance(const std::string& left, const std::string& right) {
    // For the letters of `left` so far, for one less and for two less: the edits to each beginning of `right`.
    std::vector<std::size_t> row(right.size() + 1);
    auto above = row;
    auto second_above = row;
    for (std::size_t i = 0; i <= left.size(); i++) {
        second_above.swap(above);
        above.swap(row);
        for (std::size_t j = 0; j <= right.size(); j++) {
            row[j] = i + j;
            if (i == 0 || j == 0) continue;
            const auto replaced = above[j - 1] + (left[i - 1] == right[j - 1] ? 0U : 1U);
            row[j] = std::min({replaced, above[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1])
                row[j] = std::min(row[j], second_above[j - 2] + 1);
        }
    }
    return row.back();
}

}  // namespace

std::string did_you_mean(const std::string& word, const std::vector<std::string>& known) {
    constexpr std::size_t most_words = 3;
    constexpr std::size_t most_edits = 5;
    constexpr std::size_t shortest_part = 3;
    // The run stands still meanwhile.
    constexpr std::size_t longest_word = 256;
    if (word.size() > longest_word) return {};
    const auto edits = std::clamp<std::size_t>((word.size() + 1) / 3, 1, most_edits);
    const auto slash = word.rfind('/');
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const auto& each : known) {
        const bool contains = word.size() >= shortest_part && each.find(word) != std::string::npos;
        const bool ends_alike = slash != std::string::npos && each.ends_with(word.substr(slash));
        const bool is_as_long = each.size() <= word.size() + edits && word.size() <= each.size() + edits;
        if (!contains && !ends_alike && !is_as_long) continue;
        const auto distance = edit_distance(word, each);
        if (contains || ends_alike || distance <= edits) near.emplace_back(distance, each);
    }
    std::sort(near.begin(), near.end());
    near.erase(std::unique(near.begin(), near.end()), near.end());
    near.resize(std::min(near.size(), most_words));
    std::string text;
    for (std::size_t i = 0; i < near.size(); i++)
        text += (i == 0 ? "did you mean " : i + 1 == near.size() ? " or " : ", ") + near[i].second;
    return text.empty() ? text : text + "? ";
}

}  // namespace VelmorSim
