// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "core/resource.h"
#include "velmor.h"

namespace Velmor {

/**
 * A short-range radio interface: a directory of the driver with "rssi", "type", "address", "autolink", "link", "unlink"
 * and the lists "connections" and "devices". Each operation is one access; nothing is kept. The driver defines what the
 * numbers mean.
 *
 * A short or malformed line of a list is not a failure: a missing field is 0, and so are a field that contains no
 * number and all fields after it. A number that does not fit its type (32 bits, even if fewer are kept) becomes the
 * nearest that does, and all fields after it are 0.
 *
 * Threads: no state but the path, so calls may overlap; a list may be read by one thread at a time.
 */
class MRFI : public Resource {
public:
    /** Directory without a trailing slash. Touches no file. */
    explicit MRFI(std::string path);

    /** The device class in an address: its upper half. */
    static std::uint32_t class_get(const mrfi_addr_t& address);

    int rssi_get() const;
    mrfi_device_type_t type_get() const;
    mrfi_addr_t address_get() const;
    void autolink_set(bool on) const;
    bool autolink_get() const;
    void link(const mrfi_addr_t& address) const;
    void unlink(const mrfi_addr_t& address) const;
    /** The caller owns the list until list_close(). */
    mrfi_enum_ctx* connection_list_open();
    mrfi_enum_ctx* device_list_open();
    /** False at the end of the list; the record is then unchanged. */
    bool connection_list_read(mrfi_enum_ctx& context, mrfi_connection_t& connection) const;
    bool device_list_read(mrfi_enum_ctx& context, mrfi_device_t& device) const;
    void list_close(mrfi_enum_ctx* context) const;

private:
    std::string path_;
};

}  // namespace Velmor
