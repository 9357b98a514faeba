// SPDX-License-Identifier: MIT
#pragma once

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/** A group of LEDs with one colour. */
class LedGroup : public Resource {
public:
    virtual void set(const led_color_t& color) = 0;
    virtual void get(led_color_t& color) = 0;
};

}  // namespace Velmor
