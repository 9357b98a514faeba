// SPDX-License-Identifier: MIT
#pragma once

// What every test of the functions in this folder includes.

#include <gmock/gmock.h>
#include <unistd.h>
#include <cerrno>
#include <string>
#include <vector>

#include "support/acts.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/files.h"
#include "support/forked.h"
#include "support/matchers.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

namespace testing_support {

inline constexpr char brightness[] = "/sys/class/backlight/pwm-backlight.0/brightness";
inline constexpr char blank[] = "/sys/class/graphics/fb0/blank";
inline constexpr char gps_enable[] = "/sys/devices/platform/gps.0/enable";
inline constexpr char reboot_program[] = "/sbin/reboot";

inline const CallResult present = succeeds("true");  // of query_es()

}  // namespace testing_support
