// SPDX-License-Identifier: MIT
// The shared object as it lies on the disk: what it exports, what it needs and what it does when it is loaded.

#include <cxxabi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/exported_functions.h"
#include "support/instrumented.h"
#include "velmor.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

namespace {

const std::filesystem::path here = std::filesystem::path(__FILE__).parent_path();

std::string library_path() {
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void*>(&es_present), &info) == 0) throw std::runtime_error("dladdr");
    return std::filesystem::canonical(info.dli_fname).string();
}

/** What readelf says of the library, as lines of words. */
std::vector<std::vector<std::string>> readelf(const std::string& options) {
    const std::string command = "readelf --wide " + options + " '" + library_path() + "' 2>/dev/null";
    std::FILE* const output = popen(command.c_str(), "r");
    if (output == nullptr) throw std::runtime_error("popen");
    std::string text;
    std::array<char, 4096> buffer = {};
    for (std::size_t n = 0; (n = std::fread(buffer.data(), 1, buffer.size(), output)) > 0;)
        text.append(buffer.data(), n);
    if (pclose(output) != 0) return {};
    std::vector<std::vector<std::string>> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream words(line);
        std::vector<std::string>& pieces = lines.emplace_back();
        for (std::string word; words >> word;) pieces.push_back(word);
    }
    return lines;
}

struct Symbol {
    std::string type;
    std::string binding;
    std::string section;
    std::string name;
    std::string source;  // of a local symbol
};

std::vector<Symbol> symbols(const std::string& option) {
    std::vector<Symbol> result;
    std::string source;
    for (const auto& words : readelf(option)) {
        // "12: 0000000000001234 56 FUNC GLOBAL DEFAULT 11 io_get"
        if (words.size() == 7 && words[3] == "FILE") source.clear();  // what link-time optimisation has made of all
        if (words.size() < 8 || words[0].back() != ':' || words[0] == "Num:") continue;
        if (words[3] == "FILE") source = words[7];
        result.push_back({words[3], words[4], words[6], words[7], words[4] == "LOCAL" ? source : ""});
    }
    return result;
}

std::set<std::string> exported() {
    std::set<std::string> names;
    for (const Symbol& symbol : symbols("--dyn-syms"))
        if (symbol.section != "UND" && symbol.binding != "LOCAL") names.insert(symbol.name);
    return names;
}

std::set<std::string> declared() {
    const auto functions = testing_support::exported_functions();
    return {functions.begin(), functions.end()};
}

std::vector<std::string> dynamic_entries(const std::string& tag) {
    std::vector<std::string> values;
    for (const auto& words : readelf("--dynamic")) {
        // "0x... (NEEDED) Shared library: [libc.so.6]"
        if (words.size() < 3 || words[1] != "(" + tag + ")") continue;
        values.push_back(words.back().substr(1, words.back().size() - 2));
    }
    return values;
}

class BuiltFile : public testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(readelf("--file-header").empty()) << "readelf, of binutils, is needed"; }
};

/** What holds of the library that ships: a sanitizer's or a coverage build needs, starts and binds its instrument. */
class ShippedFile : public BuiltFile {
protected:
    void SetUp() override {
        if (testing_support::instrumented)
            GTEST_SKIP() << "this library is instrumented: the debug and the release build run this";
        BuiltFile::SetUp();
    }
};

TEST_F(BuiltFile, ExportsExactlyTheDeclaredFunctions) {
    EXPECT_EQ(exported(), declared());
    EXPECT_FALSE(exported().empty());
}

TEST_F(BuiltFile, ExportsAreFunctionsWithoutAVersion) {
    for (const Symbol& symbol : symbols("--dyn-syms")) {
        if (symbol.section == "UND" || symbol.binding == "LOCAL") continue;
        EXPECT_EQ(symbol.type, "FUNC") << symbol.name;
        EXPECT_EQ(symbol.binding, "GLOBAL") << symbol.name;
        EXPECT_EQ(symbol.name.find('@'), std::string::npos) << symbol.name;
    }
}

TEST_F(BuiltFile, SonameIsThatOfMajorVersion3) {
    EXPECT_THAT(dynamic_entries("SONAME"), ElementsAre("libvelmor.so.3"));
}

TEST_F(ShippedFile, NeedsTheLanguagesAndTheSystemsLibrariesOnly) {
    EXPECT_THAT(dynamic_entries("NEEDED"), Not(IsEmpty()));
    EXPECT_THAT(dynamic_entries("NEEDED"),
                Each(MatchesRegex("libstdc\\+\\+\\.so\\.6|libgcc_s\\.so\\.1|libc\\.so\\.6|ld-linux.*")));
}

// The streams and locales that a symbol stands for; the exception that a stream throws is neither.
std::set<std::string> streams_and_locales() {
    std::set<std::string> names;
    const std::regex stream_or_locale(R"(.*(stream|streambuf|ios|locale|facet|ctype|numpunct|num_get|num_put)\b.*)");
    for (const Symbol& symbol : symbols("--dyn-syms")) {
        if (symbol.section != "UND") continue;
        const std::string mangled = symbol.name.substr(0, symbol.name.find('@'));
        char* const demangled = abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, nullptr);
        const std::string name = demangled == nullptr ? mangled : demangled;
        std::free(demangled);
        if (std::regex_match(name, stream_or_locale) && !name.starts_with("typeinfo")) names.insert(name);
    }
    return names;
}

TEST_F(ShippedFile, UsesNoStreamButStandardErrorAndNoLocale) {
    EXPECT_THAT(streams_and_locales(), Not(IsEmpty()));
    EXPECT_THAT(streams_and_locales(),
                Each(MatchesRegex("std::(cerr|ostream::write\\(.*|ostream::flush\\(.*|"
                                  "basic_ostream<char, std::char_traits<char> >::(write|flush)\\(.*)")));
}

TEST_F(BuiltFile, HasNoTextRelocationsAndNoExecutableStack) {
    EXPECT_THAT(dynamic_entries("TEXTREL"), IsEmpty());
    for (const auto& words : readelf("--program-headers")) {
        if (words.empty() || words[0] != "GNU_STACK") continue;
        EXPECT_EQ(words[6], "RW");
    }
}

/** Entries of one of the tables of functions that are run at load and at exit. */
std::size_t table_entries(const std::string& section) {
    for (auto words : readelf("--section-headers")) {
        // "[21] .init_array INIT_ARRAY 0000000000014c70 013c70 000010 ..." and "[ 1] ..."
        while (!words.empty() && words[0].front() == '[' && words[0].back() != ']') words.erase(words.begin());
        if (words.size() > 5 && words[1] == section) return std::stoul(words[5], nullptr, 16) / sizeof(void*);
        if (words.size() > 4 && words[0] == section) return std::stoul(words[4], nullptr, 16) / sizeof(void*);
    }
    return 0;
}

// Nothing of the library's own is constructed or destroyed with the process: applications may call it from their own
// static objects, and until the end. What runs at exit gives up the standard streams, if a line has been printed.
TEST_F(ShippedFile, RunsNothingOfItsOwnAtLoadAndAtExit) {
    std::vector<std::string> initialisers;
    bool has_symbols = false;
    for (const Symbol& symbol : symbols("--syms")) {
        has_symbols = has_symbols || symbol.type == "FILE";
        if (symbol.name.starts_with("_GLOBAL__sub_I_") || symbol.name.starts_with("__cxx_global_var_init") ||
            symbol.name.starts_with("_GLOBAL__sub_D_") || symbol.name.starts_with("__tcf_"))
            initialisers.push_back(symbol.source);
    }
    ASSERT_TRUE(has_symbols) << "the library is stripped: its initialisers cannot be seen";
    EXPECT_THAT(initialisers, IsEmpty());
    EXPECT_LE(table_entries(".init_array"), 1U);  // the compiler's frame_dummy
    EXPECT_LE(table_entries(".fini_array"), 2U);  // the compiler's own, and the streams'
}

TEST_F(ShippedFile, IsHardened) {
    bool relro = false;
    for (const auto& words : readelf("--program-headers")) relro = relro || (!words.empty() && words[0] == "GNU_RELRO");
    bool now = false;
    for (const auto& words : readelf("--dynamic")) {
        for (const std::string& word : words) now = now || word == "(BIND_NOW)" || word == "NOW" || word == "BIND_NOW";
    }
    std::set<std::string> imported;
    for (const Symbol& symbol : symbols("--dyn-syms")) imported.insert(symbol.name.substr(0, symbol.name.find('@')));
    EXPECT_TRUE(relro);
    EXPECT_TRUE(now);
    EXPECT_EQ(imported.count("__stack_chk_fail"), 1U);
}

TEST_F(BuiltFile, HoldsItsRelease) {
    bool found = false;
    for (const auto& words : readelf("--string-dump .velmor.release"))
        found = found ||
                (words.size() > 1 && words[words.size() - 2] == "libvelmor" && words.back() == VELMOR_VERSION_STRING);
    EXPECT_TRUE(found);
}

/** "GLIBC_2.34" as {2, 34}. */
std::vector<int> numbers_of(const std::string& version) {
    std::vector<int> numbers;
    std::istringstream text(version.substr(version.find_last_of('_') + 1));
    for (std::string number; std::getline(text, number, '.');) numbers.push_back(std::stoi(number));
    return numbers;
}

/** The table of docs/integration.md. */
std::vector<int> documented_version(const std::string& package) {
    std::ifstream document(here / "../../docs/integration.md");
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("| " + package + " |")) continue;
        line.erase(0, line.find('|', 2) + 2);
        return numbers_of(line.substr(0, line.find(' ')));
    }
    return {};
}

TEST_F(ShippedFile, NeedsNoNewerLibrariesThanDocumented) {
    std::map<std::string, std::vector<int>> newest;
    for (const auto& words : readelf("--version-info")) {
        // "0x0010: Name: GLIBC_2.34 Flags: none Version: 5"
        if (words.size() < 3 || words[1] != "Name:") continue;
        std::vector<int>& known = newest[words[2].substr(0, words[2].find('_'))];
        known = std::max(known, numbers_of(words[2]));
    }
    ASSERT_FALSE(newest["GLIBC"].empty());
    EXPECT_LE(newest["GLIBC"], documented_version("glibc"));
    EXPECT_LE(newest["GLIBCXX"], documented_version("libstdc++"));
    EXPECT_LE(newest["GCC"], documented_version("libgcc"));
}

}  // namespace
