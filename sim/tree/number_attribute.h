// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tree/attribute.h"

namespace VelmorSim {

/** One number in a range. Anything else fails with EINVAL, or with ERANGE if it does not fit 64 bits. */
class NumberAttribute : public Attribute {
public:
    NumberAttribute(mode_t permissions, std::int64_t value, std::int64_t lowest, std::int64_t highest,
                    std::int64_t size = 4096)
        : Attribute(permissions, size), value_(value), lowest_(lowest), highest_(highest) {}

    std::int64_t value() const { return value_; }
    void change(std::int64_t value);
    std::string set(std::string_view text) override;

    /** A condition in addition to the range; returns 0, or minus the errno. */
    std::function<int(std::int64_t)> check;
    /** The condition in words, for error messages. */
    std::string condition;
    /** Called after every write or set, even of the same number. */
    std::function<void(std::int64_t)> changed;

protected:
    int show(std::string& text) const override;
    int store(std::string_view text) override;

private:
    std::int64_t value_;
    std::int64_t lowest_;
    std::int64_t highest_;
};

}  // namespace VelmorSim
