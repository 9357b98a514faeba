// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "tree/attribute.h"

namespace VelmorSim {

/** Text that programs can only read. */
class TextAttribute : public Attribute {
public:
    TextAttribute(mode_t permissions, std::string text, std::int64_t size = 4096)
        : Attribute(permissions, size), text_(std::move(text)) {}

    std::string set(std::string_view text) override;

    /** Checks a new text: returns an empty text, or what would be valid. */
    std::function<std::string(std::string_view)> check;

protected:
    int show(std::string& text) const override;

private:
    std::string text_;
};

}  // namespace VelmorSim
