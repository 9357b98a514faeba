// SPDX-License-Identifier: MIT
// The shared object on the disk: what it exports, what it needs and what it does when it is loaded.

#include <cxxabi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/exported_functions.h"
#include "support/files.h"
#include "support/instrumented.h"
#include "velmor.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::UnorderedElementsAreArray;

namespace {

using Words = std::vector<std::string>;

std::string library_path() {
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void*>(&es_present), &info) == 0) throw std::runtime_error("dladdr");
    return std::filesystem::canonical(info.dli_fname).string();
}

Words split(const std::string& text, char separator) {
    Words parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

/** What readelf prints of the library: the words of each line. Empty if it fails. */
std::vector<Words> readelf(const std::string& options) {
    const std::string command = "readelf --wide " + options + " '" + library_path() + "' 2>/dev/null";
    std::FILE* const output = popen(command.c_str(), "r");
    if (output == nullptr) throw std::runtime_error("popen");
    std::string text;
    std::array<char, 4096> buffer = {};
    for (std::size_t n = 0; (n = std::fread(buffer.data(), 1, buffer.size(), output)) > 0;)
        text.append(buffer.data(), n);
    if (pclose(output) != 0) return {};
    std::vector<Words> lines;
    for (const std::string& line : split(text, '\n')) {
        std::istringstream words(line);
        lines.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
    }
    return lines;
}

/** Whether readelf prints one of these words. */
bool shows(const std::string& options, const std::set<std::string>& wanted) {
    for (const Words& words : readelf(options))
        if (std::ranges::any_of(words, [&](const std::string& word) { return wanted.contains(word); })) return true;
    return false;
}

struct Symbol {
    std::string type;
    std::string binding;
    std::string section;
    std::string name;
    std::string source;  // of a local symbol

    bool is_imported() const { return section == "UND"; }
    bool is_exported() const { return !is_imported() && binding != "LOCAL"; }
    std::string name_without_version() const { return name.substr(0, name.find('@')); }
};

std::vector<Symbol> symbols(const std::string& option = "--dyn-syms") {
    std::vector<Symbol> result;
    std::string source;
    for (const Words& words : readelf(option)) {
        // "12: 0000000000001234 56 FUNC GLOBAL DEFAULT 11 io_get"
        if (words.size() == 7 && words[3] == "FILE") source.clear();  // what link-time optimisation has made of all
        if (words.size() < 8 || words[0].back() != ':' || words[0] == "Num:") continue;
        if (words[3] == "FILE") source = words[7];
        result.push_back({words[3], words[4], words[6], words[7], words[4] == "LOCAL" ? source : ""});
    }
    return result;
}

Words dynamic_entries(const std::string& tag) {
    Words values;
    for (const Words& words : readelf("--dynamic")) {
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

/** What holds for the library that ships. Sanitizers and coverage need, start and bind code of their own. */
class ShippedFile : public BuiltFile {
protected:
    void SetUp() override {
        if (testing_support::instrumented)
            GTEST_SKIP()
                << "a sanitizer or coverage has changed this library: run this in the debug or the release build";
        BuiltFile::SetUp();
    }
};

TEST_F(BuiltFile, ExportsExactlyTheDeclaredFunctionsWithoutAVersion) {
    Words exported;
    for (const Symbol& symbol : symbols()) {
        if (!symbol.is_exported()) continue;
        exported.push_back(symbol.name);
        EXPECT_EQ(symbol.type, "FUNC") << symbol.name;
        EXPECT_EQ(symbol.binding, "GLOBAL") << symbol.name;
        EXPECT_EQ(symbol.name.find('@'), std::string::npos) << symbol.name;
    }
    EXPECT_THAT(exported, Not(IsEmpty()));
    EXPECT_THAT(exported, UnorderedElementsAreArray(testing_support::exported_functions()));
}

TEST_F(BuiltFile, SonameIsThatOfMajorVersion3) {
    EXPECT_THAT(dynamic_entries("SONAME"), ElementsAre("libvelmor.so.3"));
}

TEST_F(ShippedFile, NeedsTheLanguagesAndTheSystemsLibrariesOnly) {
    EXPECT_THAT(dynamic_entries("NEEDED"), Not(IsEmpty()));
    EXPECT_THAT(dynamic_entries("NEEDED"),
                Each(MatchesRegex("libstdc\\+\\+\\.so\\.6|libgcc_s\\.so\\.1|libc\\.so\\.6|ld-linux.*")));
}

/** The imported symbols of streams and locales, except for the exception that a stream throws. */
std::set<std::string> streams_and_locales() {
    std::set<std::string> names;
    const std::regex stream_or_locale(R"(.*(stream|streambuf|ios|locale|facet|ctype|numpunct|num_get|num_put)\b.*)");
    for (const Symbol& symbol : symbols()) {
        if (!symbol.is_imported()) continue;
        const std::string mangled = symbol.name_without_version();
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
    for (const Words& words : readelf("--program-headers")) {
        if (words.empty() || words[0] != "GNU_STACK") continue;
        EXPECT_EQ(words[6], "RW");
    }
}

/** The number of functions in a section of those that run at load or at exit. */
std::size_t functions_in(const std::string& section) {
    for (Words words : readelf("--section-headers")) {
        // "[21] .init_array INIT_ARRAY 0000000000014c70 013c70 000010 ..." and "[ 1] ..."
        while (!words.empty() && words[0].front() == '[' && words[0].back() != ']') words.erase(words.begin());
        if (words.size() > 5 && words[1] == section) return std::stoul(words[5], nullptr, 16) / sizeof(void*);
        if (words.size() > 4 && words[0] == section) return std::stoul(words[4], nullptr, 16) / sizeof(void*);
    }
    return 0;
}

// Applications may call the library from their own static objects and until the process ends, so it constructs and
// destroys nothing with the process. The function at exit releases the standard streams if a line has been printed.
TEST_F(ShippedFile, RunsNothingOfItsOwnAtLoadAndAtExit) {
    std::vector<std::string> initialisers;
    bool has_symbols = false;
    for (const Symbol& symbol : symbols("--syms")) {
        has_symbols = has_symbols || symbol.type == "FILE";
        if (symbol.name.starts_with("_GLOBAL__sub_I_") || symbol.name.starts_with("__cxx_global_var_init") ||
            symbol.name.starts_with("_GLOBAL__sub_D_") || symbol.name.starts_with("__tcf_"))
            initialisers.push_back(symbol.source);
    }
    ASSERT_TRUE(has_symbols) << "the library is stripped: its initialisers do not show";
    EXPECT_THAT(initialisers, IsEmpty());
    EXPECT_LE(functions_in(".init_array"), 1U);  // the compiler's frame_dummy
    EXPECT_LE(functions_in(".fini_array"), 2U);  // the compiler's own, and that of the streams
}

TEST_F(ShippedFile, IsHardened) {
    EXPECT_TRUE(shows("--program-headers", {"GNU_RELRO"}));
    EXPECT_TRUE(shows("--dynamic", {"(BIND_NOW)", "NOW", "BIND_NOW"}));
    EXPECT_TRUE(std::ranges::any_of(
        symbols(), [](const Symbol& symbol) { return symbol.name_without_version() == "__stack_chk_fail"; }));
}

TEST_F(BuiltFile, HoldsItsRelease) {
    EXPECT_TRUE(std::ranges::any_of(readelf("--string-dump .velmor.release"), [](const Words& words) {
        return words.size() > 1 && words[words.size() - 2] == "libvelmor" && words.back() == VELMOR_VERSION_STRING;
    }));
}

using Version = std::vector<int>;

/** "GLIBC_2.34" as {2, 34}. */
Version version_in(const std::string& text) {
    Version version;
    for (const std::string& number : split(text.substr(text.find_last_of('_') + 1), '.'))
        version.push_back(std::stoi(number));
    return version;
}

/** The version of this package in the table of docs/integration.md. */
Version documented_version(const std::string& package) {
    const auto document = std::filesystem::path(__FILE__).parent_path() / "../../docs/integration.md";
    for (std::string line : split(testing_support::content(document), '\n')) {
        if (!line.starts_with("| " + package + " |")) continue;
        line.erase(0, line.find('|', 2) + 2);
        return version_in(line.substr(0, line.find(' ')));
    }
    return {};
}

TEST_F(ShippedFile, NeedsNoNewerLibrariesThanDocumented) {
    std::map<std::string, Version> newest;
    for (const Words& words : readelf("--version-info")) {
        // "0x0010: Name: GLIBC_2.34 Flags: none Version: 5"
        if (words.size() < 3 || words[1] != "Name:") continue;
        Version& known = newest[words[2].substr(0, words[2].find('_'))];
        known = std::max(known, version_in(words[2]));
    }
    ASSERT_FALSE(newest["GLIBC"].empty());
    EXPECT_LE(newest["GLIBC"], documented_version("glibc"));
    EXPECT_LE(newest["GLIBCXX"], documented_version("libstdc++"));
    EXPECT_LE(newest["GCC"], documented_version("libgcc"));
}

}  // namespace
