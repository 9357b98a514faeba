// SPDX-License-Identifier: MIT
#include "model/input_class.h"

#include <linux/input.h>
#include <linux/major.h>
#include <sys/types.h>

#include <array>
#include <cstring>
#include <sstream>

#include "common/text.h"
#include "model/input_device.h"
#include "model/model.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

struct Capability {
    const char* file;
    const char* line;
    char letter;
    unsigned type;
    /** The first code that modalias has. */
    unsigned first;
};

/** In the kernel's order. */
constexpr std::array<Capability, 9> capabilities = {{
    {"ev", "EV", 'e', 0, 0},
    {"key", "KEY", 'k', EV_KEY, KEY_MIN_INTERESTING},
    {"rel", "REL", 'r', EV_REL, 0},
    {"abs", "ABS", 'a', EV_ABS, 0},
    {"msc", "MSC", 'm', EV_MSC, 0},
    {"led", "LED", 'l', EV_LED, 0},
    {"snd", "SND", 's', EV_SND, 0},
    {"ff", "FF", 'f', EV_FF, 0},
    {"sw", "SW", 'w', EV_SW, 0},
}};

// Event nodes beyond the numbers that the kernel keeps for them are named by their minor number.
constexpr std::int64_t first_minor = 64;
constexpr std::int64_t most_minors = 32;

constexpr unsigned bits_of_byte = 8;

bool has_bit(const std::string& field, unsigned bit) {
    return bit / bits_of_byte < field.size() &&
           (static_cast<unsigned char>(field[bit / bits_of_byte]) >> bit % bits_of_byte & 1U) != 0;
}

/** The field as the kernel prints it: words in hexadecimal, the highest first, without leading empty ones. */
std::string words_text(const std::string& field) {
    std::string text;
    unsigned long word = 0;
    for (auto end = field.size(); end >= sizeof word; end -= sizeof word) {
        std::memcpy(&word, field.data() + end - sizeof word, sizeof word);
        if (word == 0 && text.empty()) continue;
        if (!text.empty()) text += " ";
        text += hex_number(word).substr(2);
    }
    return text.empty() ? "0" : text;
}

std::string modalias_text(const InputDevice& device) {
    std::ostringstream text;
    text << "input:b0000v0000p0000e0000-" << std::hex << std::uppercase;
    for (const auto& capability : capabilities) {
        const auto field = device.bits(capability.type);
        text << capability.letter;
        for (unsigned bit = capability.first; bit < field.size() * bits_of_byte; bit++) {
            if (has_bit(field, bit)) text << bit << ",";
        }
    }
    return text.str();
}

std::string uevent_lines(const InputDevice& device) {
    std::string lines = "PRODUCT=0/0/0/0\nNAME=\"" + device.label() + "\"\nPROP=0\n";
    const auto types = device.bits(0);
    for (const auto& capability : capabilities) {
        if (capability.type != 0 && !has_bit(types, capability.type)) continue;
        lines += std::string(capability.line) + "=" + words_text(device.bits(capability.type)) + "\n";
    }
    return lines + "MODALIAS=" + modalias_text(device) + "\n";
}

}  // namespace

void add_input_class(Model& model, const InputDevice& device, const std::string& node, const std::string& parent) {
    const auto number = number_behind(node, "/dev/input/event");
    if (!number) return;
    constexpr mode_t read_only = 0444;
    const std::string group = "/sys/class/input";
    const auto name = "/input" + std::to_string(*number);
    const auto place = parent + "/input" + name;
    Tree& tree = model.tree;
    Directory& input = tree.class_device(group + name, place, {.lines = uevent_lines(device)});
    tree.add<TextAttribute>(input, "name", read_only, device.label());
    tree.add<TextAttribute>(input, "phys", read_only, "");
    tree.add<TextAttribute>(input, "uniq", read_only, "");
    tree.add<TextAttribute>(input, "properties", read_only, "0");
    tree.add<TextAttribute>(input, "modalias", read_only, modalias_text(device));
    auto& id = tree.add<Directory>(input, "id");
    for (const char* file : {"bustype", "vendor", "product", "version"})
        tree.add<TextAttribute>(id, file, read_only, "0000");
    auto& all = tree.add<Directory>(input, "capabilities");
    for (const auto& capability : capabilities)
        tree.add<TextAttribute>(all, capability.file, read_only, words_text(device.bits(capability.type)));

    const auto event = "event" + std::to_string(*number);
    const auto minor = *number < most_minors ? first_minor + *number : *number;
    tree.class_device(group + "/" + event, place + "/" + event,
                      {.node = "input/" + event, .major = INPUT_MAJOR, .minor = minor});
}

}  // namespace VelmorSim
