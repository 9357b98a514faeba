// SPDX-License-Identifier: MIT
#include "access/input_file.h"

#include <locale>

namespace Velmor {

InputFile::InputFile(const std::string& path) {
    exceptions(failbit | badbit);
    imbue(std::locale::classic());
    open(path, in);
}

}  // namespace Velmor
