// SPDX-License-Identifier: MIT
#include "platform/platform.h"

#include <cxxabi.h>
#include <cerrno>
#include <cstdio>
#include <span>
#include <string_view>
#include <type_traits>
#include <variant>

#include "access/failure.h"
#include "access/sysfs.h"
#include "access/text.h"
#include "access/text_file.h"

namespace Velmor {

namespace {

constexpr char records[] = "/proc/platform/";
constexpr char fs_version_file[] = "/etc/fs_version";

template <typename Value>
Value record(std::string_view key) {
    return SysFS<Value>::read_from({records, key});
}

/** A record of the kernel and the field for it: a char takes a character, the others the low bits of a number. */
struct Record {
    std::string_view key;
    std::variant<std::uint8_t platform_info_t::*, std::uint16_t platform_info_t::*, char platform_info_t::*> field;
};

// In the order of reading.
constexpr Record boot_records[] = {
    {"boot_date_day", &platform_info_t::boot_date_day},
    {"boot_date_month", &platform_info_t::boot_date_month},
    {"boot_date_year", &platform_info_t::boot_date_year},
    {"boot_version_major", &platform_info_t::boot_version_major},
    {"boot_version_minor", &platform_info_t::boot_version_minor},
    {"boot_version_revision", &platform_info_t::boot_version_revision},
    {"boot_version_status", &platform_info_t::boot_version_status},
    {"boot_version_build", &platform_info_t::boot_version_build},
    {"boot_version_development", &platform_info_t::boot_version_development},
};
constexpr Record splash_records[] = {
    {"splash_date_day", &platform_info_t::splash_date_day},
    {"splash_date_month", &platform_info_t::splash_date_month},
    {"splash_date_year", &platform_info_t::splash_date_year},
    {"splash_version_major", &platform_info_t::splash_version_major},
    {"splash_version_minor", &platform_info_t::splash_version_minor},
    {"splash_version_revision", &platform_info_t::splash_version_revision},
    {"splash_version_status", &platform_info_t::splash_version_status},
    {"splash_version_build", &platform_info_t::splash_version_build},
    {"splash_version_development", &platform_info_t::splash_version_development},
};
constexpr Record os_records[] = {
    {"os_date_day", &platform_info_t::os_date_day},
    {"os_date_month", &platform_info_t::os_date_month},
    {"os_date_year", &platform_info_t::os_date_year},
    {"os_version_major", &platform_info_t::os_version_major},
    {"os_version_minor", &platform_info_t::os_version_minor},
    {"os_version_revision", &platform_info_t::os_version_revision},
    {"os_version_status", &platform_info_t::os_version_status},
    {"os_version_build", &platform_info_t::os_version_build},
    {"os_version_development", &platform_info_t::os_version_development},
};

void read_records(platform_info_t& info, std::span<const Record> software) {
    for (const Record& entry : software) {
        std::visit(
            [&info, &entry](auto field) {
                using Field = std::remove_reference_t<decltype(info.*field)>;
                using Value = std::conditional_t<std::is_same_v<Field, char>, char, int>;
                info.*field = static_cast<Field>(record<Value>(entry.key));
            },
            entry.field);
    }
}

constexpr char digits[] = "0123456789";

/** Takes what is before the next separator, and drops the separator; takes the rest if there is none. */
std::string_view take_piece(std::string_view& text, std::string_view separator) {
    const std::string_view piece = take_until(text, separator);
    take_front(text, separator.size());
    return piece;
}

/** NUL at the end of the text. */
char take_character(std::string_view& text) {
    const std::string_view character = take_front(text, 1);
    return character.empty() ? '\0' : character.front();
}

std::uint8_t number_in_byte(std::string_view piece) {
    return static_cast<std::uint8_t>(number_or_zero<int>(piece));
}

constexpr std::uint32_t can_unique_num_mask = 0x1FFFFF;  // 21 bits

}  // namespace

Platform::Platform() {
    pht_version_ = record<int>("pht_version");
    const auto layout = hardware_table_layout(pht_version_);
    layout_ = layout.data();
    layout_size_ = static_cast<int>(layout.size());
    pht_ = hardware_table_bytes(record<std::string>("pht"));
}

[[gnu::stack_protect]] void Platform::info_get(platform_info_t* info, std::size_t /*size*/) {
    boot_info_read(*info);
    splash_info_read(*info);
    os_info_read(*info);
    fs_info_read(*info);
    char serial[sizeof info->serial_number] = "";
    try {
        TextFile file({records, "serial_number"});
        const bool taken = file.take([&serial](std::string_view& text) {
            const std::string_view word = take_word(text);
            serial[word.copy(serial, sizeof serial - 1)] = '\0';
            return !word.empty();
        });
        if (!taken) throw_stream_failure();
        file.close();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        *serial = '\0';  // a unit without a serial number still has versions
    }
    std::snprintf(info->serial_number, sizeof info->serial_number, "%s", serial);
    info->boot_info_kind = 2;
    info->featuremask_low = featuremask_low_;
    info->featuremask_high = featuremask_high_;
    info->compatibility_version = record<unsigned int>("compatibility_version");
}

std::uint16_t Platform::uid_get() {
    return static_cast<std::uint16_t>((field_get(unit_id_high) << 8U | field_get(unit_id_low)) & 0xFFFFU);
}

std::uint32_t Platform::oemid_get() {
    return field_get(oem_id);
}

std::uint32_t Platform::mid_get() {
    return field_get(model_id_high) << 8U | field_get(model_id_low);
}

std::uint16_t Platform::can_manuf_code_get() {
    return static_cast<std::uint16_t>(
        (field_get(can_manufacturer_code_high) << 8U | field_get(can_manufacturer_code_low)) & 0x7FFU);
}

std::uint32_t Platform::can_unique_num_get() {
    const std::uint32_t number = field_get(can_unique_number_high) << 16U | field_get(can_unique_number_middle) << 8U |
                                 field_get(can_unique_number_low);
    if (number != 0) return number & can_unique_num_mask;

    platform_info_t info = {};
    info_get(&info, sizeof info);
    const std::string_view serial = info.serial_number;
    if (serial.size() < 6) return 0;
    std::uint32_t from_serial = 0;
    for (std::size_t pair = serial.size() - 6; pair < serial.size(); pair += 2) {
        from_serial = from_serial << 8U | static_cast<std::uint32_t>(number_or_zero<int>(serial.substr(pair, 2), 16));
    }
    return from_serial & can_unique_num_mask;
}

std::uint32_t Platform::field_get(std::uint32_t id) {
    for (const HardwareTableField& field : std::span(layout_, static_cast<std::size_t>(layout_size_))) {
        if (field.id != id) continue;
        return static_cast<std::uint32_t>(pht_[field.byte_index]) >> field.shift & field.mask;
    }
    throw_system_error(EOPNOTSUPP);
}

void Platform::boot_info_read(platform_info_t& info) {
    read_records(info, boot_records);
}

void Platform::splash_info_read(platform_info_t& info) {
    read_records(info, splash_records);
}

void Platform::os_info_read(platform_info_t& info) {
    read_records(info, os_records);
}

[[gnu::stack_protect]] void Platform::fs_info_read(platform_info_t& info) {
    std::string version;
    std::string date;
    TextFile file({fs_version_file});
    if (!take_value(file, version) || !take_value(file, date)) throw_stream_failure();
    file.close();
    fs_version_parse(info, version);
    fs_date_parse(info, date);
}

void Platform::fs_version_parse(platform_info_t& info, const std::string& text) {
    std::string_view rest = text;
    info.fs_version_major = number_in_byte(take_piece(rest, "."));
    info.fs_version_minor = number_in_byte(take_piece(rest, "."));
    info.fs_version_revision = number_in_byte(take_all_of(rest, digits));
    info.fs_version_status = take_character(rest);
    info.fs_version_build = number_in_byte(take_all_of(rest, digits));
    info.fs_version_development = take_character(rest) == 'D' ? 1 : 0;
}

void Platform::fs_date_parse(platform_info_t& info, const std::string& text) {
    std::string_view rest = text;
    info.fs_date_day = number_in_byte(take_piece(rest, "/"));
    info.fs_date_month = number_in_byte(take_piece(rest, "/"));
    info.fs_date_year = number_or_zero<std::uint16_t>(rest);
}

}  // namespace Velmor
