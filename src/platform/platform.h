// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/resource.h"
#include "platform/hardware_table.h"
#include "velmor.h"

namespace Velmor {

/**
 * The identity of the device: versions and dates from the records under "/proc/platform/" and from "/etc/fs_version",
 * read at each query, and the identifiers in the platform hardware table, which is read once, at construction.
 *
 * A record that is missing or contains no number throws a stream failure, except for the serial number. A table field
 * that the layout lacks throws std::system_error with EOPNOTSUPP. Version and date texts that are cut short or contain
 * no numbers are read as far as possible; the rest is 0.
 *
 * Threads: nothing changes after construction, so calls may overlap.
 */
class Platform : public Resource {
public:
    /** Loads the hardware table; throws for a missing record, an unknown version (ENODEV) or a text without an "x". */
    Platform();

    /** The size is ignored. On failure, the part that was read before it is already written. */
    virtual void info_get(platform_info_t* info, std::size_t size);
    virtual std::uint16_t uid_get();
    virtual std::uint32_t oemid_get();
    virtual std::uint32_t mid_get();
    virtual std::uint16_t can_manuf_code_get();
    virtual std::uint32_t can_unique_num_get();
    virtual std::uint32_t field_get(std::uint32_t id);
    virtual void boot_info_read(platform_info_t& info);
    virtual void splash_info_read(platform_info_t& info);
    virtual void os_info_read(platform_info_t& info);
    virtual void fs_info_read(platform_info_t& info);
    virtual void fs_version_parse(platform_info_t& info, const std::string& text);
    virtual void fs_date_parse(platform_info_t& info, const std::string& text);

private:
    const HardwareTableField* layout_ = nullptr;
    int layout_size_ = 0;
    std::vector<std::uint8_t> pht_;
    // These fields must stay (docs/architecture.md), although nothing reads the version once the layout is chosen, and
    // the masks are always 0 because the kernel's records of them are not read.
    int pht_version_ = 0;
    std::uint32_t featuremask_low_ = 0;
    std::uint32_t featuremask_high_ = 0;
};

}  // namespace Velmor
