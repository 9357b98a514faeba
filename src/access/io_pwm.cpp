// SPDX-License-Identifier: MIT
#include "access/io_pwm.h"

#include <utility>

namespace Velmor {

IOPWM::IOPWM(std::string path, int hertz, int percent) : channel_(std::move(path), hertz, percent) {}

void IOPWM::set(const io_value_t& value) {
    if (value == 1) {
        enable();
    } else if (value == 0) {
        disable();
    }
}

io_value_t IOPWM::get() {
    return channel_.is_enabled() == 1 ? 1 : 0;
}

void IOPWM::set_duty(std::uint32_t percent) {
    channel_.set_duty(percent);
}

void IOPWM::set_frequency(int hertz, int percent) {
    channel_.set_frequency(hertz, percent);
}

std::uint32_t IOPWM::get_duty() const {
    return channel_.get_duty();
}

int IOPWM::get_frequency() const {
    return channel_.get_frequency();
}

void IOPWM::enable() {
    channel_.enable();
}

void IOPWM::disable() {
    channel_.disable();
}

}  // namespace Velmor
