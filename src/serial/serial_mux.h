// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <vector>

#include "access/gpio.h"
#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A multiplexer that connects one UART to one of several connectors: choosing a connector sets every select line to the
 * level in that connector's row. If a line fails, those before it keep their new levels. Threads: as for GPIO, for each
 * line.
 */
class SerialMux : public Resource {
public:
    using MuxMap = std::map<serial_mux_port_t, std::vector<io_value_t>>;

    /**
     * Takes the select lines (outputs), in the order of the rows' columns. Throws std::invalid_argument for a row of
     * another length.
     */
    SerialMux(const std::vector<GPIO>& ios, const MuxMap& mux_map);

    /** Throws std::invalid_argument for a connector without a row, before any line is touched. */
    virtual void mux(serial_mux_port_t port);

private:
    std::vector<GPIO> ios_;
    MuxMap mux_map_;
};

}  // namespace Velmor
