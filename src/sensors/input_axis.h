// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "access/device_file.h"

namespace Velmor {

/**
 * The current value of an absolute axis (ABS_X and so on) of an input device, in the driver's unit. Opens the node on
 * first use, read-only and close-on-exec, and leaves it open. The event stream is never read, so no event is taken
 * from the application. Throws std::system_error with the errno of the open or of EVIOCGABS.
 */
std::int32_t read_axis(DeviceFile& device, unsigned int axis);

}  // namespace Velmor
