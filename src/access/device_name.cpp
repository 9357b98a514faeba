// SPDX-License-Identifier: MIT
#include "access/device_name.h"

#include <cstring>
#include <stdexcept>

namespace Velmor {

void copy_device_name(char (&record)[device_name_size], const std::string& name) {
    if (name.size() >= device_name_size) throw std::invalid_argument("device name is too long");
    std::memset(record, 0, sizeof record);
    std::memcpy(record, name.data(), name.size());
}

}  // namespace Velmor
