// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace VelmorSim {

/** A value of the device that can be read, and changed as the hardware would change it, from outside. */
class Value {
public:
    Value() = default;
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    virtual ~Value() = default;

    virtual std::string get() const = 0;
    /** Returns an empty text, or what would be valid if nothing has changed. */
    virtual std::string set(std::string_view text) = 0;
    /** The path of the file that shows it, or empty. */
    virtual std::string where() const { return {}; }
};

/** A value without a file of its own: a line's level, an axis, the time left. */
class ComputedValue : public Value {
public:
    using Getter = std::function<std::string()>;
    using Setter = std::function<std::string(std::string_view)>;

    ComputedValue(Getter getter, Setter setter) : getter_(std::move(getter)), setter_(std::move(setter)) {}

    std::string get() const override { return getter_(); }
    std::string set(std::string_view text) override {
        return setter_ ? setter_(text) : "left out: it can only be read";
    }

private:
    Getter getter_;
    Setter setter_;
};

}  // namespace VelmorSim
