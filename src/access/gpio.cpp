// SPDX-License-Identifier: MIT
#include "access/gpio.h"

#include <cxxabi.h>
#include <atomic>
#include <stdexcept>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char gpio_class[] = "/sys/class/gpio/";
constexpr char export_file[] = "/sys/class/gpio/export";
constexpr char unexport_file[] = "/sys/class/gpio/unexport";
constexpr char direction_attribute[] = "direction";
constexpr char value_attribute[] = "value";

/**
 * The string at this place, made when first used. Not a local static: a thread that does not survive a fork could hold
 * its guard.
 */
const std::string& shared(std::atomic<const std::string*>& place, const char* text) {
    if (place == nullptr) {
        const auto* const made = new std::string(text);
        const std::string* none = nullptr;
        if (!place.compare_exchange_strong(none, made)) delete made;
    }
    return *place;
}

// The line refers to one of the two shared strings, because the caller's may be a temporary.
const std::string& shared_direction(const std::string& direction) {
    if (direction == GPIO::in()) return GPIO::in();
    if (direction == GPIO::out()) return GPIO::out();
    throw std::invalid_argument("GPIO direction not valid");
}

}  // namespace

const std::string& GPIO::in() {
    static constinit std::atomic<const std::string*> place = nullptr;
    return shared(place, "in");
}

const std::string& GPIO::out() {
    static constinit std::atomic<const std::string*> place = nullptr;
    return shared(place, "out");
}

GPIO::GPIO(const pin& number, const std::string& direction) : pin_(number), direction_(shared_direction(direction)) {}

void GPIO::set(const io_value_t& value) {
    require(out());
    transfer([&value](Path level) { SysFS<io_value_t>::write_to(level, value); });
}

io_value_t GPIO::get() {
    require(in());
    io_value_t value = 0;
    transfer([&value](Path level) { value = SysFS<io_value_t>::read_from(level); });
    return value;
}

void GPIO::require(const std::string& direction) const {
    if (direction_ != direction) throw std::invalid_argument("GPIO direction not valid");
}

template <typename Transfer>
void GPIO::transfer(Transfer transfer) const {
    const std::string number = std::to_string(pin_);
    SysFS<pin>::write_to({export_file}, pin_);
    SysFS<std::string>::write_to({gpio_class, "gpio", number, "/", direction_attribute}, direction_);
    try {
        transfer({gpio_class, "gpio", number, "/", value_attribute});
    } catch (...) {
        unexport_after_failure();
        throw;
    }
    SysFS<pin>::write_to({unexport_file}, pin_);
}

void GPIO::unexport_after_failure() const {
    try {
        SysFS<pin>::write_to({unexport_file}, pin_);
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

}  // namespace Velmor
