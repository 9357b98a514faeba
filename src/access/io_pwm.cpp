// SPDX-License-Identifier: MIT
#include "access/io_pwm.h"

namespace Velmor {

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

}  // namespace Velmor
