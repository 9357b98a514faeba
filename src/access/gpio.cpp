// SPDX-License-Identifier: MIT
#include "access/gpio.h"

#include <cxxabi.h>
#include <stdexcept>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char gpio_class[] = "/sys/class/gpio/";
constexpr char export_file[] = "/sys/class/gpio/export";
constexpr char unexport_file[] = "/sys/class/gpio/unexport";
constexpr char direction_attribute[] = "direction";
constexpr char value_attribute[] = "value";

// The line refers to one of the two shared strings and not to the caller's, which may be a temporary.
const std::string& shared_direction(const std::string& direction) {
    if (direction == GPIO::in()) return GPIO::in();
    if (direction == GPIO::out()) return GPIO::out();
    throw std::invalid_argument("GPIO direction not valid");
}

}  // namespace

const std::string& GPIO::in() {
    static const std::string& text = *new std::string("in");
    return text;
}

const std::string& GPIO::out() {
    static const std::string& text = *new std::string("out");
    return text;
}

GPIO::GPIO(const pin& number, const std::string& direction) : pin_(number), direction_(shared_direction(direction)) {}

void GPIO::set(const io_value_t& value) {
    require(out());
    export_line();
    try {
        SysFS<io_value_t>(attribute(value_attribute)).write(value);
    } catch (...) {
        unexport_after_failure();
        throw;
    }
    unexport_line();
}

io_value_t GPIO::get() {
    require(in());
    export_line();
    io_value_t value = 0;
    try {
        value = SysFS<io_value_t>(attribute(value_attribute)).read();
    } catch (...) {
        unexport_after_failure();
        throw;
    }
    unexport_line();
    return value;
}

void GPIO::require(const std::string& direction) const {
    if (direction_ != direction) throw std::invalid_argument("GPIO direction not valid");
}

void GPIO::export_line() const {
    SysFS<pin>(export_file).write(pin_);
    SysFS<std::string>(attribute(direction_attribute)).write(direction_);
}

void GPIO::unexport_line() const {
    SysFS<pin>(unexport_file).write(pin_);
}

void GPIO::unexport_after_failure() const {
    try {
        unexport_line();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

std::string GPIO::attribute(const char* name) const {
    return std::string(gpio_class) + "gpio" + std::to_string(pin_) + "/" + name;
}

}  // namespace Velmor
