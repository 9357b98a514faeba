// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>
#include <utility>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/file.h"

namespace VelmorSim {

namespace {

/** The unit's own programs write their act to this file. It is outside the folders that the device shows. */
constexpr const char* control_path = "/ctl";

class Control : public File {
public:
    explicit Control(Model& model) : File(S_IFREG | 0200), model_(model) {}

    int read(OpenFile& /*open*/, std::size_t /*size*/, std::size_t /*offset*/, std::string& /*out*/) override {
        return -EIO;
    }
    int write(OpenFile& /*open*/, std::string_view text) override {
        const std::string line(without_newline(text));
        const auto blank = line.find(' ');
        if (blank == std::string::npos) return -EINVAL;
        const auto act = line.substr(0, blank);
        const auto program = line.substr(blank + 1);
        if (act == "restart") {
            model_.end({Ending::Cause::restart, program, "", "the unit restarts: " + program});
        } else if (act == "power-off") {
            model_.end({Ending::Cause::power_off, program, "", "the unit powers off: " + program});
        } else {
            return -EINVAL;
        }
        return static_cast<int>(text.size());
    }
    bool is_recorded() const override { return false; }

private:
    Model& model_;
};

/** A system program that ends the unit, or fails with a given exit status. */
class Program : public File {
public:
    Program(std::string act, std::int64_t status) : File(S_IFREG | 0755), exit(status), act_(std::move(act)) {}

    std::int64_t size() const override { return static_cast<std::int64_t>(text().size()); }
    int read(OpenFile& /*open*/, std::size_t size, std::size_t offset, std::string& out) override {
        const auto all = text();
        if (offset < all.size()) out = all.substr(offset, size);
        return 0;
    }
    int write(OpenFile& /*open*/, std::string_view /*text*/) override { return -EIO; }
    bool is_recorded() const override { return false; }

    std::string text() const {
        std::string script = "#!/bin/sh\n# Ends the virtual device.\n";
        if (exit == 0) script += "echo " + act_ + " " + path + " >/.vdev/ctl || ";
        return script + "exit " + std::to_string(exit == 0 ? 1 : exit) + "\n";
    }

    /** The exit status; with 0 the program does its act instead. */
    std::int64_t exit;

private:
    std::string act_;
};

}  // namespace

const Kind program_kind("program", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t most = 255;
    const auto path = device_path(settings);
    const auto act = settings.text("act");
    if (act != "restart" && act != "power-off") settings.refuse("act", R"("restart" or "power-off")");
    if (model.tree.root().child("ctl") == nullptr) model.tree.add<Control>(control_path, model);
    auto& program = model.tree.add<Program>(path, act, settings.number("exit", 0, most, 0));
    model.name(
        name + ".exit", [&] { return std::to_string(program.exit); },
        [&](std::string_view text) {
            const auto status = plain_number(text);
            if (!status || *status < 0 || *status > most) return range_text(0, most);
            program.exit = *status;
            return std::string();
        });
});

}  // namespace VelmorSim
