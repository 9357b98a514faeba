// SPDX-License-Identifier: MIT
#pragma once

#include "report.h"

namespace VelmorCtl {

/**
 * Check every file that the library would use: present, readable, writable, well-formed. Calls no function of the
 * library, because the first call writes. Files of other boards are reported only if they are present; if the user may
 * not use them, that is a note and no failure.
 */
Report examine();

}  // namespace VelmorCtl
