// SPDX-License-Identifier: MIT
#include "families/virtual_device.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace families {

namespace {

std::string quoted(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        if (word.find('\'') != std::string::npos) throw std::invalid_argument(word);
        line += "'" + word + "' ";
    }
    return line;
}

std::pair<std::string, int> run(const std::string& line) {
    std::FILE* const pipe = popen(line.c_str(), "re");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + line);
    std::string output;
    std::array<char, 4096> bytes = {};
    for (std::size_t n = 0; (n = fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) output.append(bytes.data(), n);
    return {output, WEXITSTATUS(pclose(pipe))};
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr) throw std::runtime_error("started without tests/families/run");
    return value;
}

}  // namespace

std::string hardware(const std::vector<std::string>& words) {
    std::vector<std::string> command = {variable("VELMOR_SIM"), words.at(0), "--name", variable("VELMOR_SIM_RUN")};
    command.insert(command.end(), words.begin() + 1, words.end());
    auto [output, status] = run(quoted(command) + "2>&1");
    if (status != 0) throw std::runtime_error(quoted(words) + ": " + output);
    if (output.ends_with('\n')) output.pop_back();
    return output;
}

std::vector<std::pair<std::string, std::string>> values_of(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> values;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(", ", begin), text.size());
        const std::size_t equals = text.find('=', begin);
        if (equals > end) throw std::invalid_argument(text);
        values.emplace_back(text.substr(begin, equals - begin), text.substr(equals + 1, end - equals - 1));
        begin = end + 2;
    }
    return values;
}

void set_hardware(const std::string& values) {
    for (const auto& [name, value] : values_of(values)) hardware({"set", name, value});
}

std::string output_of(const std::string& library_directory, const std::vector<std::string>& command) {
    const auto [output, status] = run("LD_LIBRARY_PATH=" + quoted({library_directory}) + quoted(command) + "2>&1");
    return status == 0 ? output : output + "exit " + std::to_string(status);
}

void disarm_watchdog() {
    const int watchdog = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    const ssize_t written = write(watchdog, "V", 1);
    close(watchdog);
    if (written != 1) throw std::runtime_error("cannot disarm the watchdog");
}

}  // namespace families
