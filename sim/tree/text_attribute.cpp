// SPDX-License-Identifier: MIT
#include "tree/text_attribute.h"

namespace VelmorSim {

std::string TextAttribute::set(std::string_view text) {
    if (check) {
        if (auto right = check(text); !right.empty()) return right;
    }
    forget_raw();
    text_ = text;
    notify();
    return {};
}

int TextAttribute::show(std::string& text) const {
    text = text_ + "\n";
    return 0;
}

}  // namespace VelmorSim
