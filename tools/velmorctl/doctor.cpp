// SPDX-License-Identifier: MIT
#include "doctor.h"

#include "files.h"

namespace VelmorCtl {

namespace {

const char* note_of(Fitted fitted) {
    if (fitted == Fitted::by_table) return "the hardware table decides whether it is fitted: velmorctl echosounder";
    return fitted == Fitted::other_boards ? "of other boards" : "";
}

Item examined(const File& file, const std::string& path) {
    Item item{file.family, std::nullopt, path, "ok"};
    if (file.index >= 0) item.index = file.index;
    item.source = path;
    item.note = note_of(file.fitted);
    item.failure = problem_of(path, file.text, !file.readers.empty(), !file.writers.empty());
    item.text = "ok  " + owner_of(path);
    // On this device the library does not use it, so nobody lacks anything.
    if (file.fitted == Fitted::other_boards && item.failure && item.failure->status == Status::not_permitted) {
        item.value = Json();
        item.note += ": " + item.failure->cause;
        item.failure.reset();
    }
    if (item.failure) item.value = Json();
    return item;
}

}  // namespace

Report examine() {
    Report report;
    for (const File& file : files()) {
        const auto paths = existing(file);
        for (const std::string& path : paths) report.push_back(examined(file, path));
        if (!paths.empty() || file.fitted == Fitted::other_boards) continue;
        Item missing = examined(file, file.path);
        if (file.fitted == Fitted::by_table) {
            missing.failure.reset();
            missing.note = "missing: " + missing.note;
        }
        report.push_back(missing);
    }
    return report;
}

}  // namespace VelmorCtl
