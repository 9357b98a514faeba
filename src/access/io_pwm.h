// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "access/io.h"
#include "access/pwm.h"
#include "access/sysfs_pwm.h"

namespace Velmor {

/**
 * A PWM channel that is also an IO line: as a line it is switched on (1) and off (0), as a channel it is set in hertz
 * and percent. The constructor sets the channel. For that and for threads see SysFSPWM.
 */
class IOPWM : public IO, public PWM {
public:
    IOPWM(std::string path, int hertz, int percent) : channel_(std::move(path), hertz, percent) {}

    /** 1 starts, 0 stops, any other level does nothing. */
    void set(const io_value_t& value) override;
    /** 1 if "status" reads exactly 1, else 0. */
    io_value_t get() override;

    void set_duty(std::uint32_t percent) override { channel_.set_duty(percent); }
    void set_frequency(int hertz, int percent) override { channel_.set_frequency(hertz, percent); }
    std::uint32_t get_duty() const override { return channel_.get_duty(); }
    int get_frequency() const override { return channel_.get_frequency(); }
    void enable() override { channel_.enable(); }
    void disable() override { channel_.disable(); }

private:
    SysFSPWM channel_;
};

}  // namespace Velmor
