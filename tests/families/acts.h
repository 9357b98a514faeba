// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace families {

using Acts = std::vector<std::string>;

/** The acts of one attribute written, as the Recorder tells them. */
inline Acts written(const std::string& path, const std::string& bytes) {
    return {"open " + path + " w", "write " + path + " " + bytes, "close " + path};
}

/** The acts of one attribute read. */
inline Acts read(const std::string& path) {
    return {"open " + path + " r", "read " + path, "close " + path};
}

inline Acts in_order(std::initializer_list<Acts> parts) {
    Acts all;
    for (const Acts& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

}  // namespace families
