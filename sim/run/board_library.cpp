// SPDX-License-Identifier: MIT
#include "run/board_library.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace VelmorSim {

void put_board_library_first(const std::string& board) {
    namespace fs = std::filesystem;
    constexpr const char* search_path = "LD_LIBRARY_PATH";
    const bool is_file = board.find_first_of("/.") != std::string::npos;
    if (is_file) return;
    std::error_code error;
    const auto program = fs::read_symlink("/proc/self/exe", error).parent_path();
    const auto folder = (program / ".." / "lib" / "velmor" / board).lexically_normal();
    if (!fs::exists(folder / "libvelmor.so.3", error)) return;
    std::string folders = folder.string();
    // An empty entry would stand for the working directory.
    if (const char* given = std::getenv(search_path); given != nullptr && *given != '\0')
        folders.append(":").append(given);
    setenv(search_path, folders.c_str(), 1);
}

}  // namespace VelmorSim
