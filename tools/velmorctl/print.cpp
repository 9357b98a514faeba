// SPDX-License-Identifier: MIT
#include "print.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace VelmorCtl {

namespace {

constexpr char plain[] = "\033[0m";
constexpr char bold[] = "\033[1m";
constexpr char red[] = "\033[31m";

bool in_color() {
    const char* const no_color = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): there is one thread
    return ::isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
}

/** Names of peers come by radio: a terminal must not obey them. */
std::string printable(std::string text) {
    for (char& each : text)
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7F') each = '?';
    return text;
}

std::string bare(const Json& value) {
    if (value.is_string()) return printable(value.get<std::string>());
    if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
    if (value.is_object()) return value.empty() ? "" : bare(value.front());
    return value.is_null() ? "" : value.dump();
}

/** The first value; one line for each entry of a list. */
void print_value(const Report& report) {
    if (report.empty() || report.front().failure) return;
    const Json& value = report.front().value;
    if (!value.is_array()) {
        std::cout << bare(value) << "\n";
        return;
    }
    for (const Json& entry : value) std::cout << bare(entry) << "\n";
}

bool has_failed(const Item& item) {
    return item.failure.has_value();
}

bool is_not_fitted(const Item& item) {
    return item.failure && item.failure->status == Status::not_fitted;
}

std::string title_of(const Item& item) {
    return item.object + (item.index ? " " + std::to_string(*item.index) : "");
}

/** The value for people, in one or more lines. */
std::string text_of(const Item& item) {
    if (item.failure) return is_not_fitted(item) ? "not fitted" : "failed";
    if (item.value.is_null()) return item.note;
    const std::string text = item.text.empty() ? bare(item.value) : item.text;
    return item.note.empty() ? text : text + "  (" + item.note + ")";
}

void print_lines(const std::string& text, const std::string& indentation) {
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = text.find('\n', begin);
        std::cout << printable(text.substr(begin, end - begin)) << "\n";
        if (end == std::string::npos) return;
        std::cout << indentation;
        begin = end + 1;
    }
}

/** Three columns: the object if it is another than in the line above, the name, the value. */
void print_text(const Report& report, bool overview) {
    std::size_t title_width = 0;
    std::size_t name_width = 0;
    for (const Item& item : report) {
        title_width = std::max(title_width, title_of(item).size() + 2);
        name_width = std::max(name_width, item.name.size() + 2);
    }
    const bool colored = in_color();
    std::string above;
    std::string absent;
    for (const Item& item : report) {
        const std::string title = title_of(item);
        const std::string shown = title == above ? "" : title;
        if (overview && is_not_fitted(item)) {
            absent += (absent.empty() ? "" : ", ") + item.object + (shown.empty() ? " " + item.name : "");
            continue;
        }
        above = title;
        std::cout << (colored ? bold : "") << shown << (colored ? plain : "")
                  << std::string(title_width - shown.size(), ' ') << item.name
                  << std::string(name_width - item.name.size(), ' ');
        const bool marked = colored && (item.alarming || item.failure);
        std::cout << (marked ? red : "");
        print_lines(text_of(item), std::string(title_width + name_width, ' '));
        std::cout << (marked ? plain : "");
    }
    if (!absent.empty()) std::cout << "not fitted: " << absent << "\n";
}

void print_failure(const Item& item) {
    const Failure& failure = *item.failure;
    std::cerr << "velmorctl: " + (failure.function.empty() ? title_of(item) + ": " : failure.function + " failed: ") +
                     failure.cause + (failure.hint.empty() ? "" : ": " + failure.hint) + "\n";
}

}  // namespace

void print(const std::string& command, const Report& report, Form form, bool overview) {
    // Bytes that are no UTF-8 are replaced: the document stays valid.
    if (form == Form::json)
        std::cout << to_json(command, report).dump(-1, ' ', false, Json::error_handler_t::replace) << "\n";
    else if (form == Form::value)
        print_value(report);
    else if (overview || !std::ranges::all_of(report, &has_failed))
        print_text(report, overview);
    std::cout.flush();
    if (!std::cout) throw std::runtime_error("cannot write to standard output");
    const bool absent_fails = is_absent(report) && !overview;
    for (const Item& item : report)
        if (item.failure && (absent_fails || !is_not_fitted(item))) print_failure(item);
}

}  // namespace VelmorCtl
