// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace testing_support {

/** Acts on files, in the Recorder's words and in order. */
using Acts = std::vector<std::string>;

/** One attribute written. */
inline Acts write_acts(const std::string& path, const std::string& bytes) {
    return {"open " + path + " w", "write " + path + " " + bytes, "close " + path};
}

/** One attribute read. */
inline Acts read_acts(const std::string& path) {
    return {"open " + path + " r", "read " + path, "close " + path};
}

/** One attribute read whose text ends without a newline, behind which more could follow. */
inline Acts read_to_end_acts(const std::string& path) {
    return {"open " + path + " r", "read " + path, "read " + path, "close " + path};
}

/** Those of these acts that begin with this, without it. */
inline Acts acts_after(const std::string& beginning, const Acts& acts) {
    Acts rests;
    for (const std::string& act : acts) {
        if (act.starts_with(beginning)) rests.push_back(act.substr(beginning.size()));
    }
    return rests;
}

inline Acts in_order(std::initializer_list<Acts> parts) {
    Acts all;
    for (const Acts& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

}  // namespace testing_support
