// SPDX-License-Identifier: MIT
#include <cctype>
#include <functional>
#include <limits>
#include <map>
#include <string>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

using Check = std::function<std::string(std::string_view)>;

Check number_check(std::int64_t lowest, std::int64_t highest) {
    return [=](std::string_view text) {
        const auto number = plain_number(text);
        return number && *number >= lowest && *number <= highest ? std::string() : range_text(lowest, highest);
    };
}

std::string letter_check(std::string_view text) {
    return text.size() == 1 && std::isgraph(static_cast<unsigned char>(text[0])) != 0 ? "" : "one letter";
}

std::string word_check(std::string_view text) {
    bool word = !text.empty();
    for (const char c : text) word = word && std::isgraph(static_cast<unsigned char>(c)) != 0;
    return word ? "" : "one word";
}

/** The hardware table: 64 bytes. */
std::string table_check(std::string_view text) {
    constexpr std::size_t length = 2 + 2 * 64;
    bool good = text.size() == length && text.substr(0, 2) == "0x";
    for (const char c : text.substr(std::min<std::size_t>(2, text.size())))
        good = good && std::isxdigit(static_cast<unsigned char>(c)) != 0;
    return good ? "" : "0x and 128 hexadecimal digits";
}

std::map<std::string, Check> known_records() {
    std::map<std::string, Check> known = {
        {"serial_number", word_check},
        {"compatibility_version", number_check(0, std::numeric_limits<std::uint32_t>::max())},
        {"pht_version", number_check(0, 255)},
        {"pht", table_check},
        {"low_featuremask", number_check(0, std::numeric_limits<std::uint32_t>::max())},
        {"high_featuremask", number_check(0, std::numeric_limits<std::uint32_t>::max())},
    };
    for (const std::string part : {"boot", "splash", "os"}) {
        known[part + "_date_day"] = number_check(1, 31);
        known[part + "_date_month"] = number_check(1, 12);
        known[part + "_date_year"] = number_check(1970, 65535);
        for (const char* number : {"major", "minor", "revision", "build", "development"})
            known[part + "_version_" + number] = number_check(0, 255);
        known[part + "_version_status"] = letter_check;
    }
    return known;
}

}  // namespace

const Kind records_kind("records", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    Directory& directory = model.tree.directory(path);
    const auto known = known_records();
    auto values = settings.object("values");
    for (const auto& key : values.keys()) {
        const auto check = known.find(key);
        if (check == known.end()) continue;
        const auto text = values.scalar(key);
        if (const auto right = check->second(text); !right.empty()) values.refuse(key, right);
        auto& record = model.tree.add<TextAttribute>(directory, key, mode_t{0444}, text, 0);
        record.check = check->second;
        model.name(std::string(name).append(".").append(key), record);
    }
    values.finish();
});

}  // namespace VelmorSim
