// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "tree/attribute.h"

namespace VelmorSim {

/** An attribute whose owner keeps the value: one callback makes the text, another applies what is written. */
class ComputedAttribute : public Attribute {
public:
    using Show = std::function<std::string()>;
    using Store = std::function<int(std::string_view)>;

    ComputedAttribute(mode_t permissions, Show show, Store store)
        : Attribute(permissions), show_(std::move(show)), store_(std::move(store)) {}

    std::string set(std::string_view /*text*/) override { return "left out: it can only be read"; }

protected:
    int show(std::string& text) const override {
        if (!show_) return -EIO;
        text = show_();
        return 0;
    }
    int store(std::string_view text) override { return store_ ? store_(text) : -EIO; }

private:
    Show show_;
    Store store_;
};

}  // namespace VelmorSim
