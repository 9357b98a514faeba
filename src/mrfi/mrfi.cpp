// SPDX-License-Identifier: MIT
#include "mrfi/mrfi.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "access/sysfs.h"
#include "mrfi/mrfi_enum_ctx.h"

namespace Velmor {

namespace {

constexpr char rssi_attribute[] = "/rssi";
constexpr char type_attribute[] = "/type";
constexpr char address_attribute[] = "/address";
constexpr char autolink_attribute[] = "/autolink";
constexpr char link_attribute[] = "/link";
constexpr char unlink_attribute[] = "/unlink";
constexpr char connections_file[] = "/connections";
constexpr char devices_file[] = "/devices";

/**
 * The fields of a list's line, in order. At the end of the line, and after a field that could not be read, they are 0
 * or empty.
 */
class Fields {
public:
    explicit Fields(std::string_view line) : line_(line) {}

    template <typename Number>
    Number number(int base) {
        Number number = 0;
        if (readable_) readable_ = take_number(line_, number, base);
        return number;
    }
    std::uint8_t low_byte(int base) {
        return static_cast<std::uint8_t>(static_cast<unsigned>(number<int>(base)) & 0xFFU);
    }
    mrfi_addr_t address() { return address_of(number<std::uint32_t>(16)); }
    /** Truncated to fit, padded with NUL. */
    template <std::size_t size>
    void word(char (&word)[size]) {
        std::memset(word, 0, size);
        if (readable_) take_word(line_).copy(word, size - 1);
    }

private:
    std::string_view line_;
    bool readable_ = true;
};

}  // namespace

MRFI::MRFI(std::string path) : path_(std::move(path)) {}

std::uint32_t MRFI::class_get(const mrfi_addr_t& address) {
    return number_of(address) >> 16U;
}

int MRFI::rssi_get() const {
    return SysFS<int>::read_from({path_, rssi_attribute});
}

mrfi_device_type_t MRFI::type_get() const {
    return SysFS<mrfi_device_type_t>::read_from({path_, type_attribute});
}

mrfi_addr_t MRFI::address_get() const {
    return SysFS<mrfi_addr_t>::read_from({path_, address_attribute});
}

void MRFI::autolink_set(bool on) const {
    SysFS<bool>::write_to({path_, autolink_attribute}, on);
}

bool MRFI::autolink_get() const {
    return SysFS<bool>::read_from({path_, autolink_attribute});
}

void MRFI::link(const mrfi_addr_t& address) const {
    SysFS<mrfi_addr_t>::write_to({path_, link_attribute}, address);
}

void MRFI::unlink(const mrfi_addr_t& address) const {
    SysFS<mrfi_addr_t>::write_to({path_, unlink_attribute}, address);
}

mrfi_enum_ctx* MRFI::connection_list_open() {
    return new mrfi_enum_ctx(path_ + connections_file, this);
}

mrfi_enum_ctx* MRFI::device_list_open() {
    return new mrfi_enum_ctx(path_ + devices_file, this);
}

bool MRFI::connection_list_read(mrfi_enum_ctx& context, mrfi_connection_t& connection) const {
    std::string line;
    if (!context.next(line)) return false;
    Fields fields(line);
    connection.address = fields.address();
    connection.value1 = fields.low_byte(16);
    connection.value2 = fields.low_byte(16);
    connection.value3 = fields.low_byte(10);
    connection.flag1 = fields.low_byte(10) & 1U;
    connection.flag2 = fields.low_byte(10) & 1U;
    return true;
}

bool MRFI::device_list_read(mrfi_enum_ctx& context, mrfi_device_t& device) const {
    std::string line;
    if (!context.next(line)) return false;
    Fields fields(line);
    device.address = fields.address();
    device.value1 = fields.number<std::uint32_t>(10);
    device.value2 = fields.number<std::uint32_t>(10);
    fields.word(device.name);
    if (std::strcmp(device.name, "n/a") == 0) std::memset(device.name, 0, sizeof device.name);
    return true;
}

void MRFI::list_close(mrfi_enum_ctx* context) const {
    delete context;
}

}  // namespace Velmor
