// SPDX-License-Identifier: MIT
#include "support/exported_functions.h"

#include <sstream>

#include "support/files.h"

namespace testing_support {

std::vector<std::string> exported_functions() {
    const std::string declaration = "VELMOR_API int ";
    std::vector<std::string> functions;
    std::istringstream header(content(VELMOR_HEADER));
    for (std::string line; std::getline(header, line);) {
        if (!line.starts_with(declaration)) continue;
        line.erase(0, declaration.size());
        functions.push_back(line.substr(0, line.find('(')));
    }
    return functions;
}

}  // namespace testing_support
