// SPDX-License-Identifier: MIT
#include "common/file_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "common/descriptor.h"

namespace VelmorSim {

std::string file_text(const std::string& file) {
    const Descriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    std::array<char, 65536> bytes{};
    while (true) {
        const auto length = opened.is_open() ? read(opened.get(), bytes.data(), bytes.size()) : -1;
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) throw std::system_error(errno, std::system_category(), file);
        if (length == 0) return text;
        text.append(bytes.data(), static_cast<std::size_t>(length));
    }
}

}  // namespace VelmorSim
