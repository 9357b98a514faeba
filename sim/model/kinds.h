// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

class Model;
class Settings;

// Each makes one device of a board file's list, under `name`, from its settings.

void make_attribute(Model& model, const std::string& name, Settings& settings);
void make_backlight(Model& model, const std::string& name, Settings& settings);
void make_file(Model& model, const std::string& name, Settings& settings);
void make_framebuffer(Model& model, const std::string& name, Settings& settings);
void make_gpio(Model& model, const std::string& name, Settings& settings);
void make_gpio_keys(Model& model, const std::string& name, Settings& settings);
void make_input(Model& model, const std::string& name, Settings& settings);
void make_led(Model& model, const std::string& name, Settings& settings);
void make_mrfi(Model& model, const std::string& name, Settings& settings);
void make_power_state(Model& model, const std::string& name, Settings& settings);
void make_program(Model& model, const std::string& name, Settings& settings);
void make_pwm(Model& model, const std::string& name, Settings& settings);
void make_records(Model& model, const std::string& name, Settings& settings);
void make_serial(Model& model, const std::string& name, Settings& settings);
void make_thermal(Model& model, const std::string& name, Settings& settings);
void make_watchdog(Model& model, const std::string& name, Settings& settings);

/** The absolute path under the key "path", in one of the trees that the device has. */
std::string device_path(Settings& settings, const std::string& key = "path");
/** Where the class device of this path stands: the key "place", or among the virtual devices. */
std::string device_place(Settings& settings, const std::string& path);

}  // namespace VelmorSim
