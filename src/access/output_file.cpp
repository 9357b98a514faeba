// SPDX-License-Identifier: MIT
#include "access/output_file.h"

#include <locale>

namespace Velmor {

OutputFile::OutputFile(const std::string& path) : std::ostream(&buffer_) {
    exceptions(failbit | badbit);
    // An application that has set no global locale has the classic one already: to set it again would look up every
    // facet a second time.
    if (getloc() != std::locale::classic()) imbue(std::locale::classic());
    if (!buffer_.open_for_writing(path)) setstate(failbit);
}

void OutputFile::close() {
    if (!buffer_.close()) setstate(failbit);
}

}  // namespace Velmor
