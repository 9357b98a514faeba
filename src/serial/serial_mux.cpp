// SPDX-License-Identifier: MIT
#include "serial/serial_mux.h"

#include <cstddef>
#include <stdexcept>

namespace Velmor {

SerialMux::SerialMux(const std::vector<GPIO>& ios, const MuxMap& mux_map) : ios_(ios), mux_map_(mux_map) {
    for (const auto& [port, levels] : mux_map_) {
        if (levels.size() != ios_.size()) throw std::invalid_argument("IOs and MuxMap values must have the same size");
    }
}

void SerialMux::mux(serial_mux_port_t port) {
    const auto row = mux_map_.find(port);
    if (row == mux_map_.end()) throw std::invalid_argument("Unsupported port");
    for (std::size_t i = 0; i < ios_.size(); ++i) ios_[i].set(row->second[i]);
}

}  // namespace Velmor
