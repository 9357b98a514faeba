// SPDX-License-Identifier: MIT
#include "access/sysfs_pwm.h"

#include <stdexcept>
#include <utility>

#include "access/sysfs.h"

namespace Velmor {

namespace {

constexpr char duty_attribute[] = "/duty";
constexpr char period_attribute[] = "/period";
constexpr char status_attribute[] = "/status";

constexpr int ns_per_s = 1000000000;
constexpr int shortest_period_ns = 500;
constexpr int longest_period_ns = 1000000000;

}  // namespace

SysFSPWM::SysFSPWM(std::string path, int hertz, int percent) : path_(std::move(path)) {
    SysFSPWM::set_frequency(hertz, percent);
}

void SysFSPWM::set_duty(std::uint32_t percent) {
    if (percent > 100) throw std::range_error("PWM duty out of range");
    const auto period_ns = static_cast<std::uint32_t>(get_period());
    const std::uint32_t duty_ns = percent * period_ns / 100;
    SysFS<unsigned long>::write_to({path_, duty_attribute}, duty_ns);
}

void SysFSPWM::set_frequency(int hertz, int percent) {
    check_frequency(hertz);
    const std::uint32_t present = get_duty();
    // Keep the output low while the period changes, so that no pulse of the old width falls into the new period.
    if (present != 0) set_duty(0);
    SysFS<int>::write_to({path_, period_attribute}, ns_per_s / hertz);
    const std::uint32_t wanted = percent == -1 ? present : static_cast<std::uint32_t>(percent);
    if (wanted != 0) set_duty(wanted);
}

std::uint32_t SysFSPWM::get_duty() const {
    const auto period_ns = static_cast<std::uint32_t>(get_period());
    const auto duty_ns = static_cast<std::uint32_t>(SysFS<int>::read_from({path_, duty_attribute}));
    return period_ns == 0 ? 0 : 100 * duty_ns / period_ns;
}

int SysFSPWM::get_frequency() const {
    const int period_ns = get_period();
    return period_ns == 0 ? 0 : ns_per_s / period_ns;
}

int SysFSPWM::get_period() const {
    return SysFS<int>::read_from({path_, period_attribute});
}

int SysFSPWM::is_enabled() const {
    return SysFS<int>::read_from({path_, status_attribute});
}

void SysFSPWM::set_status(std::uint32_t status) {
    if (status > 1) throw std::range_error("PWM status out of range");
    SysFS<int>::write_to({path_, status_attribute}, static_cast<int>(status));
}

void SysFSPWM::check_frequency(int hertz) {
    if (hertz > 0) {
        const int period_ns = ns_per_s / hertz;
        if (period_ns >= shortest_period_ns && period_ns <= longest_period_ns) return;
    }
    throw std::range_error("PWM frequency out of range");
}

}  // namespace Velmor
