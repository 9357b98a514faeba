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

/** The driver's steps of a backlight; nothing if it has no max_brightness, such as one on a PWM line. */
std::optional<BacklightSteps> steps_of_backlight(int index);
int percent_of_level(int index, std::uint32_t level);
std::string bar(double fraction);
std::string function_name(int function);

}  // namespace VelmorCtl
