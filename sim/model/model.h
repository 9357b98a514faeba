// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/timers.h"
#include "tree/tree.h"
#include "tree/value.h"

namespace VelmorSim {

class ModemLines;

/** Why the unit went down. */
struct Ending {
    enum class Cause { watchdog, restart, power_off };
    Cause cause;
    /** For the record: what caused it. Empty if it is recorded already. */
    std::string command;
    /** The text of the restart call, or empty. */
    std::string text;
    /** The line for standard error. */
    std::string message;
};

/** The device as its kernel shows it: its files, and its values under the names that people use. */
class Model {
public:
    using Finder = std::function<std::unique_ptr<Value>(std::string_view rest)>;

    explicit Model(Timers& run_timers) : timers(run_timers) {}

    Tree tree;
    Timers& timers;
    /** Called when the unit restarts or powers off. */
    std::function<void(const Ending&)> end;
    /** By descriptor: called when it can be read. */
    std::map<int, std::function<void()>> readers;
    /** The modem lines of serial ports, by the file system and the inode of the pseudo-terminal. */
    std::map<std::pair<dev_t, ino_t>, ModemLines*> modem_lines;

    void name(const std::string& name, Value& value) { values_[name] = &value; }
    void name(const std::string& name, ComputedValue::Getter getter, ComputedValue::Setter setter);
    /** Values that are made on first use, such as "gpio." and a number. */
    void name_family(const std::string& prefix, Finder finder) { families_[prefix] = std::move(finder); }

    /** The value of this name or with this file's path, or null. */
    Value* value(const std::string& name);
    /** The same; throws std::invalid_argument if there is none. */
    Value& known_value(const std::string& name);
    const std::map<std::string, Value*>& values() const { return values_; }

    /** Make an object that lives as long as the model. */
    template <class T, class... Arguments>
    T& part(Arguments&&... arguments) {
        auto made = std::make_shared<T>(std::forward<Arguments>(arguments)...);
        parts_.push_back(made);
        return *made;
    }

private:
    std::map<std::string, Value*> values_;
    std::map<std::string, Finder> families_;
    std::vector<std::unique_ptr<Value>> computed_;
    std::vector<std::shared_ptr<void>> parts_;
};

}  // namespace VelmorSim
