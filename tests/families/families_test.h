// SPDX-License-Identifier: MIT
#pragma once

// What every test of the families includes.

#include <gmock/gmock.h>
#include <cerrno>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/recording.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/calls.h"
#include "support/matchers.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"
