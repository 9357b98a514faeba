// SPDX-License-Identifier: MIT
#include "board/board.h"

#include <charconv>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "common/file_text.h"
#include "common/json_text.h"
#include "common/settings.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/attribute.h"

namespace VelmorSim {

namespace {

using json = nlohmann::ordered_json;  // "set" is applied in the order of the file
namespace fs = std::filesystem;

/** In the build directory the source tree's boards come first, so that installed ones do not hide them. */
std::vector<fs::path> board_directories() {
    std::error_code error;
    const auto program = fs::read_symlink("/proc/self/exe", error).parent_path();
    std::vector<fs::path> directories;
    if (program == fs::path(VELMOR_SIM_BUILD_DIRECTORY)) directories.emplace_back(VELMOR_SIM_SOURCE_BOARDS);
    directories.push_back(program / ".." / "share" / "velmor" / "boards");
    return directories;
}

json read_file(const std::string& file) {
    try {
        return parse_json(file_text(file));
    } catch (const std::system_error& error) {
        throw BoardError(file + ": cannot be read (" + error.code().message() +
                         "); --board takes a file or one of the names that \"velmor-sim boards\" lists");
    } catch (const std::invalid_argument& error) {
        throw BoardError(file + ": " + error.what());
    }
}

/** The path of a board's file. `board` is a path, or the name of a board that comes with the program. */
std::string board_file(const std::string& board) {
    if (board.find('/') != std::string::npos || board.find('.') != std::string::npos) return board;
    for (const auto& directory : board_directories()) {
        const auto file = directory / (board + ".json");
        if (fs::exists(file)) return file.lexically_normal().string();
    }
    return board;
}

void make_device(Model& model, Settings& settings, const std::set<std::string>& without, std::set<std::string>& made) {
    const auto name = settings.text("name");
    const auto kind = settings.text("kind");
    const auto& makers = Kind::makers();
    const auto maker = makers.find(kind);
    if (maker == makers.end()) {
        std::string known;
        for (const auto& [each, function] : makers) known += (known.empty() ? "" : ", ") + each;
        settings.refuse("kind", "one of " + known);
    }
    if (!made.insert(name).second) settings.refuse("name", "a name that no other device of the board has");
    if (without.contains(name)) return;
    try {
        maker->second(model, name, settings);
    } catch (const std::invalid_argument& error) {
        throw BoardError(settings.place() + ": " + error.what());
    }
    settings.finish();
}

void load(const std::string& file, Model& model, std::set<std::string> without, std::set<std::string>& made,
          int depth) {
    constexpr int deepest = 4;
    const json text = read_file(file);
    Settings board(text, file + ": ");
    board.text("description");
    for (auto& name : board.texts("without")) without.insert(name);
    if (board.has("base")) {
        const auto base = board.text("base");
        if (depth == deepest) board.refuse("base", "a board that does not lead back to this one");
        const auto beside = fs::path(file).parent_path() / (base + ".json");
        load(fs::exists(beside) ? beside.string() : board_file(base), model, without, made, depth + 1);
    }
    for (auto& device : board.objects("devices")) make_device(model, device, without, made);
    if (depth == 0) {
        for (const auto& name : without) {
            if (!made.contains(name))
                board.refuse("without", "names of devices of the base board; there is no " + name);
        }
    }
    if (board.has("set")) {
        auto values = board.object("set");
        for (const auto& name : values.keys()) {
            const auto value = values.scalar(name);
            auto* known = model.value(name);
            if (known == nullptr) values.refuse(name, "the value of a name that \"velmor-sim list\" shows");
            if (const auto right = known->set(value); !right.empty()) values.refuse(name, right);
        }
    }
    board.finish();
}

std::string unescape(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char letter = text[++i];
        unsigned byte = 0;
        if (letter == 'n') {
            plain += '\n';
        } else if (letter == 't') {
            plain += '\t';
        } else if (letter == 'x' && i + 2 < text.size() &&
                   std::from_chars(&text[i + 1], &text[i + 1] + 2, byte, 16).ptr == &text[i + 1] + 2) {
            plain += static_cast<char>(byte);
            i += 2;
        } else {
            plain += letter;
        }
    }
    return plain;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> boards() {
    std::map<std::string, std::string> found;
    for (const auto& directory : board_directories()) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(directory, error)) {
            if (entry.path().extension() != ".json") continue;
            const json text = read_file(entry.path().string());
            found.emplace(entry.path().stem().string(), text.value("description", ""));
        }
    }
    return {found.begin(), found.end()};
}

void load_board(const std::string& board, Model& model) {
    std::set<std::string> made;
    load(board_file(board), model, {}, made, 0);
}

void set_value(Model& model, const std::string& name, const std::string& value) {
    if (const auto right = model.known_value(name).set(value); !right.empty())
        throw std::invalid_argument(name + ": \"" + value + "\" should be " + right);
}

void set_raw(Model& model, const std::string& name, const std::string& text) {
    auto* attribute = dynamic_cast<Attribute*>(&model.known_value(name));
    if (attribute == nullptr)
        throw std::invalid_argument(name +
                                    ": is not the name or path of an attribute, and only attributes show raw text");
    attribute->show_raw(unescape(text));
}

}  // namespace VelmorSim
