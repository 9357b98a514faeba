// SPDX-License-Identifier: MIT
#include "access/output_file.h"

#include <locale>

namespace Velmor {

OutputFile::OutputFile(const std::string& path) {
    exceptions(failbit | badbit);
    imbue(std::locale::classic());
    open(path, out | trunc);
}

}  // namespace Velmor
