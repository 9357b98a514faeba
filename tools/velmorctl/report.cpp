// SPDX-License-Identifier: MIT
#include "report.h"

#include <algorithm>

namespace VelmorCtl {

namespace {

bool not_fitted(const Item& item) {
    return item.failure && item.failure->status == Status::not_fitted;
}

const char* kind_of(Status status) {
    if (status == Status::not_fitted) return "not fitted";
    return status == Status::not_permitted ? "not permitted" : "failed";
}

Json text_or_null(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json to_json(const Failure& failure) {
    return {{"kind", kind_of(failure.status)},
            {"cause", failure.cause},
            {"hint", text_or_null(failure.hint)},
            {"function", text_or_null(failure.function)},
            {"result", failure.result ? Json(*failure.result) : Json()}};
}

Json to_json(const Item& item) {
    return {{"object", item.object},
            {"index", item.index ? Json(*item.index) : Json()},
            {"name", item.name},
            {"value", item.value},
            {"unit", text_or_null(item.unit)},
            {"source", text_or_null(item.source)},
            {"error", item.failure ? to_json(*item.failure) : Json()},
            {"note", text_or_null(item.note)}};
}

}  // namespace

bool is_absent(const Report& report) {
    return !report.empty() && std::ranges::all_of(report, not_fitted);
}

Status status_of(const Report& report) {
    if (is_absent(report)) return Status::not_fitted;
    const auto failed =
        std::ranges::find_if(report, [](const Item& item) { return item.failure && !not_fitted(item); });
    return failed == report.end() ? Status::done : failed->failure->status;
}

Json to_json(const std::string& command, const Report& report) {
    Json items = Json::array();
    for (const Item& item : report) items.push_back(to_json(item));
    return {{"command", command}, {"items", items}};
}

}  // namespace VelmorCtl
