// SPDX-License-Identifier: MIT
#include "record/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include "common/text.h"
#include "record/errno_name.h"

namespace VelmorSim {

namespace {

bool is_printable(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return std::isprint(static_cast<unsigned char>(c)) != 0 || c == '\n' || c == '\t'; });
}

/** False if it cannot be written; then errno is set. */
bool write_line(int file, const std::string& line) {
    std::string_view rest = line;
    while (!rest.empty()) {
        const auto written = write(file, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::string quoted(const std::string& text) {
    if (!is_printable(text)) return "hex " + hex_text(text);
    std::string shown = "\"";
    for (const char c : text) {
        if (c == '\n') {
            shown += "\\n";
        } else if (c == '\t') {
            shown += "\\t";
        } else {
            shown += c;
        }
    }
    return shown + "\"";
}

}  // namespace

void Recorder::trace_to(const std::string& file) {
    constexpr mode_t permissions = 0666;
    trace_ = Descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, permissions));
    if (!trace_.is_open()) throw std::system_error(errno, std::system_category(), file);
    file_ = file;
}

void Recorder::explain() {
    explain_ = true;
    const char* terminal = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe): there is one thread
    const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
    colour_ =
        isatty(STDERR_FILENO) == 1 && !dumb && std::getenv("NO_COLOR") == nullptr;  // NOLINT(concurrency-mt-unsafe)
}

void Recorder::record(const Act& act) {
    if (stopped_) return;
    if (explain_) explain(act);
    if (!trace_.is_open()) return;
    nlohmann::ordered_json line;
    line["act"] = act.act;
    if (!act.path.empty()) line["path"] = act.path;
    if (!act.mode.empty()) line["mode"] = act.mode;
    if (!act.command.empty()) line["command"] = act.command;
    if (act.request) line["request"] = hex_number(*act.request);
    if (act.text) {
        if (is_printable(*act.text)) {
            line["text"] = *act.text;
        } else {
            line["hex"] = hex_text(*act.text);
        }
    }
    if (act.in) line["in"] = hex_text(*act.in);
    if (act.out) line["out"] = hex_text(*act.out);
    line["result"] = act.result < 0 ? -1 : act.result;
    if (act.result < 0) line["errno"] = errno_name(static_cast<int>(-act.result));
    line["pid"] = act.pid;
    // A path need not be UTF-8.
    if (write_line(trace_.get(), line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n")) return;
    const int error = errno;
    incomplete_ = true;
    std::cerr << "velmor-sim: " << file_ << ": " << std::system_category().message(error)
              << "; the record is incomplete" << std::endl;
    trace_ = Descriptor();
}

void Recorder::explain(const Act& act) const {
    const char* dim = colour_ ? "\x1b[2m" : "";
    const char* red = colour_ ? "\x1b[31m" : "";
    const char* strong = colour_ ? "\x1b[1m" : "";
    const char* plain = colour_ ? "\x1b[0m" : "";
    const std::chrono::duration<double> since = std::chrono::steady_clock::now() - start_;
    std::array<char, 64> head{};
    static_cast<void>(std::snprintf(head.data(), head.size(), "%s%8.3f %5d%s  %-7s", dim, since.count(), act.pid, plain,
                                    act.act.c_str()));
    std::string line = head.data();
    line += " " + (act.path.empty() ? act.command : act.path);
    if (!act.mode.empty())
        line += " for " + std::string(act.mode == "r"   ? "reading"
                                      : act.mode == "w" ? "writing"
                                                        : "reading and writing");
    if (act.request) line += " " + hex_number(*act.request);
    if (act.text) line += std::string("  ") + strong + quoted(*act.text) + plain;
    if (act.in && !act.in->empty()) line += std::string("  ") + strong + "in " + hex_text(*act.in) + plain;
    if (act.out && !act.out->empty()) line += std::string("  ") + strong + "out " + hex_text(*act.out) + plain;
    if (act.result < 0) {
        const auto error = static_cast<int>(-act.result);
        line += std::string("  ") + red + errno_name(error) + ": " + std::system_category().message(error) + plain;
    }
    if (!act.meaning.empty()) line += std::string("  ") + dim + "(" + act.meaning + ")" + plain;
    static_cast<void>(write_line(STDERR_FILENO, line + "\n"));
}

}  // namespace VelmorSim
