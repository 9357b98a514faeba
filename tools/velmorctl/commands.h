// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "report.h"

namespace VelmorCtl {

// The commands that set something. None reads back what it has set. Arguments are checked before the library is called.

/** @param level  0 to 255, or 0% to 100% */
Report set_backlight(int index, const std::string& level);
Report set_display(int index, const std::string& on);
Report set_led(int index, const std::string& color);
Report set_io(int line, const std::string& level);

/** What is not given stays as it is. */
Report configure_io(int line, const std::optional<std::string>& frequency, const std::optional<std::string>& duty);

Report select_antenna(const std::string& radio, const std::string& antenna);
Report connect_serial(int port, const std::string& connector);
Report set_serial_function(int port, const std::string& function);
Report link_mrfi(int index, const std::string& address);
Report unlink_mrfi(int index, const std::string& address);
Report set_autolink(int index, const std::string& on);

/** HAZARD: acts on the whole device. Asks on a terminal; without one, the user must have said yes. */
Report power(const std::string& what, bool yes);

}  // namespace VelmorCtl
