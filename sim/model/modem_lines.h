// SPDX-License-Identifier: MIT
#pragma once

#include <sys/ioctl.h>

#include <string>

namespace VelmorSim {

class Model;

/** The modem lines of a serial port. The program drives RTS and DTR; the far end drives CTS, DSR, CD and RI. */
class ModemLines {
public:
    /** Gives each line a name: that of the port, a dot, and "cts", "dsr", "cd", "ri", "rts" or "dtr". */
    void name(Model& model, const std::string& port);

    /** The TIOCM bits of the lines that are on. */
    int state() const { return state_; }
    /** Perform TIOCMSET, TIOCMBIS or TIOCMBIC. */
    void drive(unsigned request, int bits);

private:
    /** Opening a port raises both. */
    int state_ = TIOCM_RTS | TIOCM_DTR;
};

}  // namespace VelmorSim
