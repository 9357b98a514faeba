// SPDX-License-Identifier: MIT
//
// Compares how the library and the standard file streams read and write attributes, with the same bytes and values.
// Both must have the same results, the same failures with the same texts, the same bytes in the file, and the same rest
// left to read. The first bytes of an input choose what is done; the others are the text or the value.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "access/gpio.h"
#include "access/sysfs.h"
#include "access/text.h"
#include "access/text_file.h"

namespace {

// ---- The file ------------------------------------------------------------------------------------------------------

constexpr std::size_t longest = 1 << 20;

int file() {
    static const int fd = memfd_create("attribute", 0);
    return fd;
}

const std::string& file_path() {
    static const std::string path = "/proc/self/fd/" + std::to_string(file());
    return path;
}

void put(std::string_view bytes) {
    const auto length = static_cast<ssize_t>(bytes.size());
    if (ftruncate(file(), length) != 0 || pwrite(file(), bytes.data(), bytes.size(), 0) != length) std::abort();
}

std::string content() {
    static char bytes[longest];
    return {bytes, static_cast<std::size_t>(pread(file(), bytes, sizeof bytes, 0))};
}

// ---- The standard streams ------------------------------------------------------------------------------------------

void extract(std::istream& stream, auto& value) {
    stream >> value;
}
void extract(std::istream& stream, led_color_t& color) {
    stream >> color.red >> color.green >> color.blue;
}
void extract(std::istream& stream, mrfi_addr_t& address) {
    unsigned int number = 0;
    stream >> std::hex >> std::showbase >> number >> std::dec;
    for (int i = 0; i < 4; ++i) address.byte[i] = static_cast<std::uint8_t>(number >> 8 * i);
}

void insert(std::ostream& stream, const auto& value) {
    stream << value;
}
void insert(std::ostream& stream, const led_color_t& color) {
    stream << color.red << ' ' << color.green << ' ' << color.blue;
}
void insert(std::ostream& stream, const mrfi_addr_t& address) {
    unsigned long number = 0;
    for (int i = 0; i < 4; ++i) number |= static_cast<unsigned long>(address.byte[i]) << 8 * i;
    stream << std::hex << std::showbase << number;
}

template <typename Value>
struct Standard {
    static Value read(const std::string& path) {
        std::ifstream stream;
        stream.exceptions(std::ios::failbit | std::ios::badbit);
        stream.open(path, std::ios::in);
        Value value{};
        extract(stream, value);
        stream.close();
        return value;
    }
    static void write(const std::string& path, const Value& value) {
        std::ofstream stream;
        stream.exceptions(std::ios::failbit | std::ios::badbit);
        stream.open(path, std::ios::out | std::ios::trunc);
        insert(stream, value);
        stream.close();
    }
};

template <typename Value>
struct Ours {
    static Value read(const std::string& path) { return Velmor::SysFS<Value>(path).read(); }
    static void write(const std::string& path, const Value& value) { Velmor::SysFS<Value>(path).write(value); }
};

// ---- Comparing -----------------------------------------------------------------------------------------------------

template <typename Value>
std::string shown(const Value& value) {
    if constexpr (std::is_same_v<Value, std::string>) {
        return "\"" + value + "\"";
    } else if constexpr (std::is_class_v<Value>) {
        return {reinterpret_cast<const char*>(&value), sizeof value};
    } else {
        return std::to_string(value);
    }
}

/** The result of an access: the value, or the failure's text. */
template <typename Access>
std::string result_of(Access access) {
    try {
        return access();
    } catch (const std::exception& error) {
        return std::string("failed: ") + error.what();
    }
}

void must_agree(const std::string& standard, const std::string& ours) {
    if (standard == ours) return;
    std::fprintf(stderr, "standard: %s\nours:     %s\n", standard.c_str(), ours.c_str());
    std::abort();
}

/** The bytes of an input, taken from the front. */
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : bytes_(reinterpret_cast<const char*>(data), size) {}

    /** A number below the limit; 0 at the end of the input. */
    unsigned choice(unsigned limit) {
        const std::string_view byte = Velmor::take_front(bytes_, 1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte.front()) % limit;
    }
    /** Made of the next bytes; missing ones are 0. */
    template <typename Value>
    Value value() {
        Value value{};
        if constexpr (std::is_same_v<Value, std::string>) {
            value = text();
        } else if constexpr (std::is_same_v<Value, bool>) {
            value = choice(2) == 1;
        } else {
            const std::string_view bytes = Velmor::take_front(bytes_, sizeof value);
            std::memcpy(&value, bytes.data(), bytes.size());
        }
        return value;
    }
    /**
     * All that is left, unchanged or in characters that numbers consist of. Some texts begin with up to two pages of
     * one character, so that the rest crosses the end of a page.
     */
    std::string text() {
        std::string text;
        const unsigned pages = choice(64);
        if (pages == 1 || pages == 2) {
            const char filler = " 0w\n"[choice(4)];
            text.assign(pages * 4096 - choice(32), filler);
        }
        if (choice(2) == 0) return text.append(bytes_);
        constexpr std::string_view characters = "0123456789abcdefABCDEFxX+-  \n\tgw";
        while (!bytes_.empty()) text += characters[choice(characters.size())];
        return text;
    }

private:
    std::string_view bytes_;
};

// ---- One value -----------------------------------------------------------------------------------------------------

template <typename... Values>
struct Types {};

/** The types of the attributes that are read and written. */
using Both = Types<int, unsigned long, std::string, Velmor::GPIO::pin, io_value_t, led_color_t, bool,
                   mrfi_device_type_t, mrfi_addr_t>;
/** These, and the types of the platform records. */
using Read = Types<int, unsigned long, std::string, Velmor::GPIO::pin, io_value_t, led_color_t, bool,
                   mrfi_device_type_t, mrfi_addr_t, char, unsigned int>;

/** Calls the action with one of the types. */
template <typename... Values, typename Action>
void with_one_of(Types<Values...>, Input& input, Action action) {
    const unsigned chosen = input.choice(sizeof...(Values));
    unsigned number = 0;
    ((number++ == chosen ? action.template operator()<Values>() : void()), ...);
}

void compare_reading(Input& input) {
    const char* const places[] = {"/", "/proc/self/fd/absent"};
    const unsigned place = input.choice(64);
    with_one_of(Read(), input, [&]<typename Value>() {
        put(input.text());
        const std::string path = place < std::size(places) ? places[place] : file_path();
        must_agree(result_of([&] { return shown(Standard<Value>::read(path)); }),
                   result_of([&] { return shown(Ours<Value>::read(path)); }));
    });
}

void compare_writing(Input& input) {
    const char* const places[] = {"/", "/proc/self/fd/absent", "/dev/full"};
    const unsigned place = input.choice(64);
    with_one_of(Both(), input, [&]<typename Value>() {
        const auto value = input.value<Value>();
        const std::string path = place < std::size(places) ? places[place] : file_path();
        const auto result = [&](auto write) {
            put("what stood there before");
            return result_of([&] { return write(path, value), std::string("written"); }) +
                   ", in the file: " + content();
        };
        must_agree(result(Standard<Value>::write), result(Ours<Value>::write));
    });
}

// ---- Values one after the other ------------------------------------------------------------------------------------

/** A file's text, taken by one of the two. */
class StandardText {
public:
    explicit StandardText(const std::string& path) : stream_(path) { stream_.exceptions(std::ios::badbit); }

    template <typename Value>
    bool take(Value& value) {
        extract(stream_, value);
        return taken();
    }
    bool take_line(std::string& line) {
        std::getline(stream_, line);
        return taken();
    }
    std::string rest() {
        std::string rest;
        char bytes[4096];
        while (const auto length = stream_.rdbuf()->sgetn(bytes, sizeof bytes))
            rest.append(bytes, static_cast<std::size_t>(length));
        return rest;
    }

private:
    bool taken() {
        const bool good = !stream_.fail();
        stream_.clear();
        return good;
    }
    std::ifstream stream_;
};

class OurText {
public:
    explicit OurText(const std::string& path) : file_({path}) {}

    template <typename Value>
    bool take(Value& value) {
        return take_value(file_, value);
    }
    bool take_line(std::string& line) { return file_.take_line(line); }
    std::string rest() {
        std::string rest;
        file_.take([&rest](std::string_view& text) { return rest = Velmor::take_front(text, text.size()), true; });
        return rest;
    }

private:
    Velmor::TextFile file_;
};

struct Line {};

template <typename Value, typename Text>
std::string taken(Text& text) {
    if constexpr (std::is_same_v<Value, Line>) {
        std::string line;
        return text.take_line(line) ? shown(line) : "no line";
    } else {
        Value value{};
        const bool fits = text.take(value);
        // The value of a flag after a failure does not matter.
        const bool stored = fits || !std::is_same_v<Value, bool>;
        return (fits ? "value " : "no value ") + (stored ? shown(value) : "");
    }
}

void compare_sequence(Input& input) {
    using Pieces = Types<int, unsigned long, std::string, Line, led_color_t, bool, mrfi_addr_t, char, unsigned int>;
    constexpr unsigned most = 6;
    Input kinds = input;
    const unsigned count = input.choice(most + 1);
    for (unsigned i = 0; i < count; ++i) input.choice(1);
    put(input.text());
    StandardText standard(file_path());
    OurText ours(file_path());
    kinds.choice(1);
    for (unsigned i = 0; i < count; ++i) {
        with_one_of(Pieces(), kinds, [&]<typename Piece>() { must_agree(taken<Piece>(standard), taken<Piece>(ours)); });
    }
    must_agree(standard.rest(), ours.rest());
}

// ---- In memory -----------------------------------------------------------------------------------------------------

void compare_piece(Input& input) {
    using Numbers = Types<int, unsigned int, std::uint16_t, unsigned long>;
    const int base = input.choice(2) == 0 ? 10 : 16;
    with_one_of(Numbers(), input, [&]<typename Number>() {
        constexpr Number untouched = 77;
        const std::string text = input.text();
        std::istringstream stream(text);
        stream >> std::setbase(base);
        std::string_view piece = text;
        // Twice: another number may follow the first.
        for (int i = 0; i < 2; ++i) {
            Number standard = untouched;
            Number ours = untouched;
            const bool standard_fits = static_cast<bool>(stream >> standard);
            const bool fits = Velmor::take_number(piece, ours, base);
            stream.clear();
            const std::string rest = text.substr(text.size() - static_cast<std::size_t>(stream.rdbuf()->in_avail()));
            must_agree((standard_fits ? "fits " : "fails ") + shown(standard) + ", left: " + rest,
                       (fits ? "fits " : "fails ") + shown(ours) + ", left: " + std::string(piece));
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr void (*comparisons[])(Input&) = {compare_reading, compare_writing, compare_sequence, compare_piece};
    comparisons[input.choice(std::size(comparisons))](input);
    return 0;
}
