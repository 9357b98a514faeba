// SPDX-License-Identifier: MIT
#include "watch.h"

#include <chrono>
#include <thread>

namespace VelmorCtl {

namespace {

Json values_of(const Item& item) {
    return to_json("", {item});
}

/** The items that are not as before. */
Report changes(const Report& before, const Report& now) {
    Report changed;
    for (std::size_t i = 0; i < now.size(); ++i)
        if (before.size() != now.size() || values_of(before[i]) != values_of(now[i])) changed.push_back(now[i]);
    return changed;
}

/** What this form prints of a change; nothing if it does not show the change. */
Report shown(Form form, const Report& before, const Report& now) {
    Report changed = changes(before, now);
    if (form == Form::text || changed.empty()) return changed;
    const bool first_changed = before.empty() || values_of(before.front()) != values_of(now.front());
    return form == Form::json || first_changed ? now : Report();
}

}  // namespace

Status watch(const Watch& watch, const std::function<Report()>& query) {
    Report before;
    for (int printed = 0;;) {
        const Report now = query();
        const Report news = shown(watch.form, before, now);
        if (!news.empty()) {
            print(watch.command, news, watch.form, watch.command == "status");
            ++printed;
        }
        const Status status = status_of(now);
        if (printed == watch.count || (before.empty() && status != Status::done)) return status;
        before = now;
        std::this_thread::sleep_for(std::chrono::duration<double>(watch.interval_s));
    }
}

}  // namespace VelmorCtl
