// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "print.h"
#include "report.h"

namespace VelmorCtl {

struct Watch {
    std::string command;
    Form form;
    double interval_s;
    int count;  // of what is printed; 0 is endless
};

/** Print a query's result at once and after every change. Returns the status of the last one, or of a first that
 * failed. */
Status watch(const Watch& watch, const std::function<Report()>& query);

}  // namespace VelmorCtl
