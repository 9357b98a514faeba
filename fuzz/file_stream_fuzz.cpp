// SPDX-License-Identifier: MIT
//
// The attribute streams against the standard file streams, on the same bytes and values: the same results, the same
// failures with the same texts, the same bytes in the file. The first byte of an input chooses what is done.

#include <unistd.h>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>

#include "access/input_file.h"
#include "access/output_file.h"
#include "access/sysfs_text.h"

namespace {

const std::string& path() {
    static const std::string name = "/dev/shm/velmor-fuzz-" + std::to_string(getpid());
    return name;
}

struct StandardInput : std::ifstream {
    explicit StandardInput(const std::string& name) {
        exceptions(failbit | badbit);
        open(name, in);
    }
};

struct StandardOutput : std::ofstream {
    explicit StandardOutput(const std::string& name) {
        exceptions(failbit | badbit);
        open(name, out | trunc);
    }
};

void put_bytes(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

std::string bytes_of(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** What became of reading one value: the value as bytes, or the failure's text. */
template <typename Stream, typename Value>
std::string read_one(const std::string& name) {
    try {
        Stream file(name);
        Value value{};
        Velmor::get_text(file, value);
        file.close();
        if constexpr (std::is_same_v<Value, std::string>) {
            return value;
        } else {
            return std::string(reinterpret_cast<const char*>(&value), sizeof value);
        }
    } catch (const std::exception& error) {
        return std::string("failed: ") + error.what();
    }
}

template <typename Stream>
std::string read_lines(const std::string& name) {
    std::string lines;
    try {
        Stream file(name);
        file.exceptions(std::ios::goodbit);
        for (std::string line; std::getline(file, line);) lines += line + "|";
    } catch (const std::exception& error) {
        lines += std::string("failed: ") + error.what();
    }
    return lines;
}

template <typename Stream, typename Value>
std::string write_one(const std::string& name, const Value& value) {
    try {
        Stream file(name);
        Velmor::put_text(file, value);
        file.close();
        return bytes_of(name);
    } catch (const std::exception& error) {
        return std::string("failed: ") + error.what();
    }
}

void must_agree(const std::string& standard, const std::string& ours) {
    if (standard == ours) return;
    std::fprintf(stderr, "standard: \"%s\"\nours:     \"%s\"\n", standard.c_str(), ours.c_str());
    std::abort();
}

template <typename Value>
void compare_reading(const std::string& bytes) {
    put_bytes(path(), bytes);
    must_agree(read_one<StandardInput, Value>(path()), read_one<Velmor::InputFile, Value>(path()));
}

template <typename Value>
void compare_writing(const Value& value) {
    must_agree(write_one<StandardOutput>(path(), value), write_one<Velmor::OutputFile>(path(), value));
}

template <typename Value>
void compare_writing_bytes(const std::string& bytes) {
    Value value{};
    std::memcpy(&value, bytes.data(), std::min(sizeof value, bytes.size()));
    compare_writing(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 14) {
        case 0: compare_reading<int>(bytes); break;
        case 1: compare_reading<unsigned long>(bytes); break;
        case 2: compare_reading<unsigned int>(bytes); break;
        case 3: compare_reading<char>(bytes); break;
        case 4: compare_reading<bool>(bytes); break;
        case 5: compare_reading<std::string>(bytes); break;
        case 6: compare_reading<led_color_t>(bytes); break;
        case 7: compare_reading<mrfi_addr_t>(bytes); break;
        case 8:
            put_bytes(path(), bytes);
            must_agree(read_lines<StandardInput>(path()), read_lines<Velmor::InputFile>(path()));
            break;
        case 9: compare_writing_bytes<int>(bytes); break;
        case 10: compare_writing_bytes<unsigned long>(bytes); break;
        case 11: compare_writing(bytes); break;
        case 12: compare_writing_bytes<led_color_t>(bytes); break;
        default: compare_writing_bytes<mrfi_addr_t>(bytes); break;
    }
    return 0;
}
