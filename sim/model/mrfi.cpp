// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/attribute.h"
#include "tree/computed_attribute.h"
#include "tree/number_attribute.h"

namespace VelmorSim {

namespace {

using Lines = std::vector<std::string>;

std::optional<std::uint32_t> address(std::string_view text) {
    if (text.substr(0, 2) == "0x") text.remove_prefix(2);
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

bool is_number(const std::string& word, int base) {
    long long number = 0;
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number, base);
    return error == std::errc() && stop == end;
}

/** A list with one line per peer. In set(), ';' separates the lines. */
class Peers : public Attribute {
public:
    /** The number bases of the columns after the address; 0 means a word. */
    Peers(std::vector<int> columns, std::string right)
        : Attribute(0444), columns_(std::move(columns)), right_(std::move(right)) {}

    Lines lines;

    std::string set(std::string_view text) override {
        Lines all;
        std::istringstream stream{std::string(text)};
        std::string line;
        while (std::getline(stream, line, ';')) {
            line.erase(0, std::min(line.find_first_not_of(" \n"), line.size()));
            if (line.empty()) continue;
            if (!is_entry(line)) return right_;
            all.push_back(line);
        }
        lines = std::move(all);
        forget_raw();
        notify();
        return {};
    }
    bool is_entry(const std::string& line) const {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word) || !address(word)) return false;
        for (const int base : columns_) {
            if (!(words >> word) || (base != 0 && !is_number(word, base))) return false;
        }
        return !(words >> word);
    }
    const std::string& right() const { return right_; }
    Lines::iterator find(std::uint32_t peer) {
        return std::find_if(lines.begin(), lines.end(),
                            [peer](const auto& line) { return address(line.substr(0, line.find(' '))) == peer; });
    }
    void changed() {
        forget_raw();
        notify();
    }

protected:
    int show(std::string& text) const override {
        for (const auto& line : lines) text += line + "\n";
        return 0;
    }

private:
    std::vector<int> columns_;
    std::string right_;
};

Peers& add_peers(Model& model, Directory& device, const std::string& key, Settings& settings, std::vector<int> columns,
                 const std::string& right) {
    auto& peers = model.tree.add<Peers>(device, key, std::move(columns), right);
    for (const auto& line : settings.texts(key)) {
        if (!peers.is_entry(line)) settings.refuse(key, "a list of lines, each " + right);
        peers.lines.push_back(line);
    }
    return peers;
}

}  // namespace

const Kind mrfi_kind("mrfi", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t highest = std::numeric_limits<std::int32_t>::max();
    constexpr mode_t read_only = 0444;
    constexpr mode_t write_only = 0200;
    const auto path = device_path(settings);
    const auto place = device_place(settings, path);
    const auto own = address(settings.text("address"));
    if (!own) settings.refuse("address", "a hexadecimal number of at most 32 bits, for example \"0x1a2b3c4d\"");

    Directory& device = model.tree.class_device(path, place);
    auto& rssi =
        model.tree.add<NumberAttribute>(device, "rssi", read_only, settings.number("rssi", -200, 200), -200, 200);
    rssi.meaning = "dBm";
    auto& type =
        model.tree.add<NumberAttribute>(device, "type", read_only, settings.number("type", 0, highest), 0, highest);
    model.tree.add<ComputedAttribute>(
        device, "address", read_only, [own] { return hex_number(*own) + "\n"; }, nullptr);
    auto& autolink =
        model.tree.add<NumberAttribute>(device, "autolink", mode_t{0644}, settings.number("autolink", 0, 1), 0, 1);
    autolink.meaning = "1 links automatically";
    auto& connections =
        add_peers(model, device, "connections", settings, {16, 16, 10, 10, 10},
                  "an address, two hexadecimal and three decimal numbers, as in 0x12340001 1f 2 -60 1 0");
    auto& devices = add_peers(model, device, "devices", settings, {10, 10, 0},
                              "an address, two decimal numbers and a name, as in 0x12340001 3 7 n/a");
    auto& link = model.tree.add<ComputedAttribute>(device, "link", write_only, nullptr, [&](std::string_view text) {
        const auto peer = address(without_newline(text));
        if (!peer) return -EINVAL;
        if (connections.find(*peer) == connections.lines.end())
            connections.lines.push_back(hex_number(*peer) + " 0 0 " + std::to_string(rssi.value()) + " 1 0");
        connections.changed();
        return 0;
    });
    link.meaning = "a peer's address";
    auto& unlink = model.tree.add<ComputedAttribute>(device, "unlink", write_only, nullptr, [&](std::string_view text) {
        const auto peer = address(without_newline(text));
        if (!peer) return -EINVAL;
        const auto linked = connections.find(*peer);
        if (linked == connections.lines.end()) return -ENOENT;
        connections.lines.erase(linked);
        connections.changed();
        return 0;
    });
    unlink.meaning = "a peer's address";
    model.name(name + ".rssi", rssi);
    model.name(name + ".type", type);
    model.name(name + ".autolink", autolink);
    model.name(name + ".connections", connections);
    model.name(name + ".devices", devices);
});

}  // namespace VelmorSim
