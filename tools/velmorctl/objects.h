// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "backlight_steps.h"
#include "report.h"
#include "velmor.h"

namespace VelmorCtl {

/** Something that can be queried: status, watch, --json and the command line are made from the table of these. */
struct Object {
    const char* name = "";
    const char* help = "";
    bool has_index = false;
    Report (*query)(int index) = nullptr;
    const char* verb = "";  // of a further query: "mrfi devices"
};

const std::vector<Object>& objects();

/** Everything that is fitted, and the absent objects. */
Report query_all();

// ---- Queries with an argument ---------------------------------------------------------------------------------------

/** HAZARD: reading a GPIO line makes it an input. */
Report io_level(int line);
Report io_configuration(int line);
Report serial_functions(int port);
Report mrfi_autolink(int index);
Report mrfi_class(const mrfi_addr_t& address);

// ---- Shared with the commands that set a value ----------------------------------------------------------------------

/**
 * Read the driver's steps of a backlight. One without max_brightness, such as one on a PWM line, has the library's 255.
 * @return the failure, if max_brightness cannot be read
 */
std::optional<Failure> read_steps(int index, BacklightSteps& steps);
Item percent_item(int index, int percent, const std::string& source);
std::string bar(double fraction);
std::string function_name(int function);

}  // namespace VelmorCtl
