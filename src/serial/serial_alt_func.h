// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A serial pin that can also be an input key: function 0 is the serial signal (the key is disabled), 1 the key.
 * Switching adds the pin's key code to, or removes it from, "disabled_keys" of the kernel's gpio-keys driver. Other
 * functions can be listed as supported; switching to them does nothing.
 *
 * HAZARD: of a range in "disabled_keys" only the first code is kept (serial/key_list.h): if the driver shows "114-116",
 * switching a pin enables keys 115 and 116 too.
 *
 * A function that is not supported, or a key code that the driver does not handle, throws std::system_error with
 * EINVAL. Threads: no state, but if two switches overlap, one of the two changes may be lost.
 */
class SerialAltFunc : public Resource {
public:
    /** A port without a key. */
    explicit SerialAltFunc(std::vector<serial_alt_func_t> funcs);
    /** Key code as in linux/input-event-codes.h; 0 is none. */
    SerialAltFunc(std::vector<serial_alt_func_t> funcs, int key);

    virtual void set(const serial_alt_func_t& function);
    virtual bool has(const serial_alt_func_t& function);

private:
    void check_key() const;

    std::vector<serial_alt_func_t> funcs_;
    int key_;
};

}  // namespace Velmor
