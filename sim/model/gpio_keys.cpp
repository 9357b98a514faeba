// SPDX-License-Identifier: MIT
#include <linux/input.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/settings.h"
#include "common/text.h"
#include "model/input_class.h"
#include "model/input_device.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

using Keys = std::set<unsigned>;

/** Codes and ranges separated by commas, as the kernel prints a bitmap: "102,114-116". */
std::string list_text(const Keys& keys) {
    std::string text;
    for (auto key = keys.begin(); key != keys.end();) {
        const unsigned first = *key;
        unsigned last = first;
        while (++key != keys.end() && *key == last + 1) last = *key;
        text += (text.empty() ? "" : ",") + std::to_string(first);
        if (last != first) text += "-" + std::to_string(last);
    }
    return text;
}

/** Parses like the kernel's bitmap parser: ignores blanks and surplus commas. Returns 0, or minus the errno. */
int parse_list(std::string_view text, Keys& keys) {
    constexpr std::string_view gaps = ", \t\n";
    while (true) {
        const auto start = text.find_first_not_of(gaps);
        if (start == std::string_view::npos) return 0;
        text.remove_prefix(start);
        const auto piece = text.substr(0, std::min(text.find_first_of(gaps), text.size()));
        text.remove_prefix(piece.size());
        const auto dash = piece.find('-');
        const auto first = plain_number(piece.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : plain_number(piece.substr(dash + 1));
        if (!first || !last || *first < 0 || *last < *first) return -EINVAL;
        if (*last >= KEY_CNT) return -ERANGE;
        for (auto key = *first; key <= *last; key++) keys.insert(static_cast<unsigned>(key));
    }
}

class DisabledKeys : public Attribute {
public:
    DisabledKeys(Keys all, Keys fixed, Keys disabled)
        : Attribute(0644), all_(std::move(all)), fixed_(std::move(fixed)), disabled_(std::move(disabled)) {}

    const Keys& all() const { return all_; }
    bool is_disabled(unsigned key) const { return disabled_.contains(key); }
    std::string set(std::string_view text) override {
        return store(text) == 0 ? "" : "a list of codes among " + list_text(all_) + ", for example 30,32-33";
    }

protected:
    int show(std::string& text) const override {
        text = list_text(disabled_) + "\n";
        return 0;
    }
    int store(std::string_view text) override {
        Keys keys;
        if (const int result = parse_list(text, keys); result < 0) return result;
        // Code 0 is reserved and names no key.
        keys.erase(KEY_RESERVED);
        for (const unsigned key : keys) {
            if (!all_.contains(key) || fixed_.contains(key)) return -EINVAL;
        }
        disabled_ = keys;
        forget_raw();
        notify();
        return 0;
    }

private:
    Keys all_;
    Keys fixed_;
    Keys disabled_;
};

Keys take_keys(Settings& settings, const std::string& key) {
    Keys keys;
    if (!settings.has(key)) return keys;
    if (parse_list(settings.text(key), keys) < 0)
        settings.refuse(key, "a list of key codes below " + std::to_string(KEY_CNT) + ", for example \"30,32-33\"");
    return keys;
}

}  // namespace

const Kind gpio_keys_kind("gpio-keys", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    const Keys all = take_keys(settings, "keys");
    if (all.empty()) settings.refuse("keys", "a list of key codes, for example \"30-32\"");
    const Keys fixed = take_keys(settings, "always_enabled");
    const Keys off = take_keys(settings, "disabled_keys");
    Directory& device = model.tree.directory(path);
    model.tree.add<TextAttribute>(device, "keys", mode_t{0444}, list_text(all)).meaning = "key codes";
    auto& disabled = model.tree.add<DisabledKeys>(device, "disabled_keys", all, fixed, Keys());
    if (const auto right = disabled.set(list_text(off)); !right.empty()) settings.refuse("disabled_keys", right);
    disabled.meaning = "key codes";
    model.name(name + ".disabled_keys", disabled);
    if (auto* keys = dynamic_cast<Value*>(device.child("keys"))) model.name(name + ".keys", *keys);
    model.tree.add<TextAttribute>(device, "switches", mode_t{0444}, "");
    model.tree.add<TextAttribute>(device, "disabled_switches", mode_t{0444}, "");

    if (!settings.has("event")) return;
    const auto event = device_path(settings, "event");
    auto& node = model.tree.add<InputDevice>(event, "gpio-keys");
    node.meaning = "keys";
    for (const unsigned key : all) {
        node.add_key(key);
        auto& down = model.part<bool>(false);
        model.name(
            name + "." + std::to_string(key), [&down] { return std::string(down ? "1" : "0"); },
            [&down, &node, &disabled, key](std::string_view text) -> std::string {
                if (text != "0" && text != "1") return "1 (pressed) or 0 (released)";
                down = text == "1";
                if (!disabled.is_disabled(key)) node.press(key, down);
                return {};
            });
    }
    add_input_class(model, node, event, path);
});

}  // namespace VelmorSim
