// SPDX-License-Identifier: MIT
#include "record/trace.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace record {

namespace {

std::string output(const nlohmann::json& line) {
    const std::string kind = line.at("act");
    std::string text = kind;
    if (line.contains("path")) text += " " + line.at("path").get<std::string>();
    if (kind == "open") text += " " + line.at("mode").get<std::string>();
    if (kind == "write") text += " " + line.at(line.contains("text") ? "text" : "hex").get<std::string>();
    if (kind == "ioctl") text += " " + line.at("request").get<std::string>();
    if (kind == "restart") text += " " + line.value("text", "");
    if (line.contains("errno")) text += " = " + line.at("errno").get<std::string>();
    return text;
}

}  // namespace

Trace::Trace() {
    const char* const file = std::getenv("VELMOR_TRACE");
    if (file == nullptr) throw std::runtime_error("started without tests/record/run");
    file_ = file;
    begin_ = static_cast<long>(std::filesystem::file_size(file_));
}

Acts Trace::acts() const {
    // The kernel does not wait for the device to handle a last close. A further request is handled after it.
    if (std::filesystem::is_empty("/sys/power")) throw std::runtime_error("not on the virtual device");
    std::ifstream lines(file_);
    lines.seekg(begin_);
    Acts acts;
    for (std::string line; std::getline(lines, line);) acts.push_back(output(nlohmann::json::parse(line)));
    return acts;
}

Target target_of(const std::string& act) {
    std::istringstream words(act);
    Target target;
    words >> target.kind >> target.path;
    return target;
}

}  // namespace record
