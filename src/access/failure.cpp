// SPDX-License-Identifier: MIT
#include "access/failure.h"

#include <ios>
#include <system_error>

namespace Velmor {

void throw_system_error(int error) {
    throw std::system_error(error, std::system_category());
}

void throw_stream_failure() {
    throw std::ios_base::failure("basic_ios::clear");
}

}  // namespace Velmor
