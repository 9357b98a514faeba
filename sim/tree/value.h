// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace VelmorSim {

/** Something of the device that a person can see and change from outside, as the hardware would. */
class Value {
public:
    Value() = default;
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    virtual ~Value() = default;

    virtual std::string get() const = 0;
    /** Empty when done; otherwise what would have been right, and nothing has changed. */
    virtual std::string set(std::string_view text) = 0;
    /** The file that shows it, or nothing. */
    virtual std::string where() const { return {}; }
};

/** A value that is no file of its own: a line's level, an axis, the time left. */
class ComputedValue : public Value {
public:
    using Getter = std::function<std::string()>;
    using Setter = std::function<std::string(std::string_view)>;

    ComputedValue(Getter getter, Setter setter) : getter_(std::move(getter)), setter_(std::move(setter)) {}

    std::string get() const override { return getter_(); }
    std::string set(std::string_view text) override { return setter_ ? setter_(text) : "nothing: it can only be read"; }

private:
    Getter getter_;
    Setter setter_;
};

}  // namespace VelmorSim
