// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace families {

/**
 * Run a command of velmor-sim on the virtual device that this program runs on, such as hardware({"get", "motion.x"}).
 * Returns what it prints, without the newline at the end.
 */
std::string hardware(const std::vector<std::string>& words);

/** Set values of the hardware: "display.blank=1, keypad.color=1 2 3". */
void set_hardware(const std::string& values);

/** The names and values in such a text. */
std::vector<std::pair<std::string, std::string>> values_of(const std::string& text);

/** Both outputs of a program that uses the library in this directory, followed by "exit N" unless N is 0. */
std::string output_of(const std::string& library_directory, const std::vector<std::string>& command);

/** A watchdog that stays armed would end the unit in the middle of the tests. */
void disarm_watchdog();

/** Makes an act fail for its lifetime: "/sys/power/state:write:EBUSY". */
class Fault {
public:
    explicit Fault(const std::string& act) { hardware({"fault", act}); }
    ~Fault() { hardware({"clear"}); }
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
};

}  // namespace families
