// SPDX-License-Identifier: MIT
#include "mrfi/mrfi.h"

#include <cstring>
#include <ios>
#include <istream>
#include <locale>
#include <sstream>
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

/** The next number of a line in this base; 0 at the end of the line and behind a field that could not be read. */
template <typename Number>
Number field(std::istream& line, std::ios_base::fmtflags base) {
    Number number = 0;
    if (line.peek() == std::istream::traits_type::eof()) return number;
    const std::ios_base::fmtflags before = line.flags();
    line.setf(base, std::ios_base::basefield);
    line >> number;
    line.flags(before);
    return number;
}

mrfi_addr_t address_field(std::istream& line) {
    auto number = field<std::uint32_t>(line, std::ios_base::hex);
    mrfi_addr_t address = {};
    for (std::uint8_t& byte : address.byte) {
        byte = static_cast<std::uint8_t>(number & 0xFFU);
        number >>= 8U;
    }
    return address;
}

std::uint8_t byte_field(std::istream& line, std::ios_base::fmtflags base) {
    return static_cast<std::uint8_t>(static_cast<unsigned>(field<int>(line, base)) & 0xFFU);
}

}  // namespace

MRFI::MRFI(std::string path) : path_(std::move(path)) {}

std::uint32_t MRFI::class_get(const mrfi_addr_t& address) {
    return address.byte[2] + 256U * address.byte[3];
}

int MRFI::rssi_get() const {
    return SysFS<int>(path_, rssi_attribute).read();
}

mrfi_device_type_t MRFI::type_get() const {
    return SysFS<mrfi_device_type_t>(path_, type_attribute).read();
}

mrfi_addr_t MRFI::address_get() const {
    return SysFS<mrfi_addr_t>(path_, address_attribute).read();
}

void MRFI::autolink_set(bool on) const {
    SysFS<bool>(path_, autolink_attribute).write(on);
}

bool MRFI::autolink_get() const {
    return SysFS<bool>(path_, autolink_attribute).read();
}

void MRFI::link(const mrfi_addr_t& address) const {
    SysFS<mrfi_addr_t>(path_, link_attribute).write(address);
}

void MRFI::unlink(const mrfi_addr_t& address) const {
    SysFS<mrfi_addr_t>(path_, unlink_attribute).write(address);
}

mrfi_enum_ctx* MRFI::connection_list_open() {
    return new mrfi_enum_ctx(path_ + connections_file, this);
}

mrfi_enum_ctx* MRFI::device_list_open() {
    return new mrfi_enum_ctx(path_ + devices_file, this);
}

bool MRFI::connection_list_read(mrfi_enum_ctx& context, mrfi_connection_t& connection) const {
    std::string text;
    if (!context.next(text)) return false;
    std::istringstream line(text);
    line.imbue(std::locale::classic());
    connection.address = address_field(line);
    connection.value1 = byte_field(line, std::ios_base::hex);
    connection.value2 = byte_field(line, std::ios_base::hex);
    connection.value3 = byte_field(line, std::ios_base::dec);
    connection.flag1 = byte_field(line, std::ios_base::dec) & 1U;
    connection.flag2 = byte_field(line, std::ios_base::dec) & 1U;
    return true;
}

bool MRFI::device_list_read(mrfi_enum_ctx& context, mrfi_device_t& device) const {
    std::string text;
    if (!context.next(text)) return false;
    std::istringstream line(text);
    line.imbue(std::locale::classic());
    device.address = address_field(line);
    device.value1 = field<std::uint32_t>(line, std::ios_base::dec);
    device.value2 = field<std::uint32_t>(line, std::ios_base::dec);
    std::string name;
    if (line.peek() != std::istream::traits_type::eof()) line >> name;
    if (name == "n/a") name.clear();
    std::memset(device.name, 0, sizeof device.name);
    name.copy(device.name, sizeof device.name - 1);
    return true;
}

void MRFI::list_close(mrfi_enum_ctx* context) const {
    delete context;
}

}  // namespace Velmor
