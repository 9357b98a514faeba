// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace families {

/** Act on the virtual device that this program runs on, as a second terminal does: hardware({"set", "motion.x", "5"}).
 * Returns what is printed, without the newline at its end. */
std::string hardware(const std::vector<std::string>& words);

/** Both outputs of a program that meets the library in this directory, and "exit N" where that is not 0. */
std::string output_of(const std::string& library_directory, const std::vector<std::string>& command);

/** A watchdog that was left armed would end the unit in the middle of the tests. */
void disarm_watchdog();

/** Makes acts fail for its lifetime: "/sys/power/state:write:EBUSY". */
class Fault {
public:
    explicit Fault(const std::string& act) { hardware({"fault", act}); }
    ~Fault() { hardware({"clear"}); }
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
};

}  // namespace families
