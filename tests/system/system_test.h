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
