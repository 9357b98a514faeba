// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "tree/attribute.h"

namespace VelmorSim {

/** Text that applications can only read. */
class TextAttribute : public Attribute {
public:
    TextAttribute(mode_t permissions, std::string text, std::int64_t size = 4096)
        : Attribute(permissions, size), text_(std::move(text)) {}

    std::string set(std::string_view text) override;

    /** What is wrong with the text (what would be right), or nothing. */
    std::function<std::string(std::string_view)> check;

protected:
    int show(std::string& text) const override;

private:
    std::string text_;
};

}  // namespace VelmorSim
