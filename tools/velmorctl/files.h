// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "report.h"

namespace VelmorCtl {

/** What a file's text should be. The last three are never opened: opening the watchdog arms it. */
enum class Text {
    number,   // that fits an int
    numbers,  // three
    flag,     // 0 or 1
    word,
    release,        // a version and a date
    table_version,  // a layout that the library supports
    table,
    trip_type,
    address,
    addresses,  // each line begins with one
    any,
    write_only,
    node,
    program
};

/** On which units a file should be there. */
enum class Fitted { always, by_table, other_boards };

/** A file that the library uses. Reading and writing functions are separated by blanks; "start" is the first call. */
struct File {
    std::string family;
    int index;         // -1: of every index
    std::string path;  // may be a pattern as the shell's, if the files come and go
    Text text;
    std::string readers;
    std::string writers{};
    Fitted fitted = Fitted::always;
};

const std::vector<File>& files();

/** The files that a call of this function with this index uses. */
std::vector<File> files_of(const std::string& function, int index);

/** The files of this board that the first call writes. */
std::vector<File> files_written_at_start();

bool reads(const std::string& function, const File& file);

/** The files of a call that has succeeded, separated by blanks; empty if they are not those of the table. */
std::string source_of(const std::string& function, int index);

/** The file of this table entry that exists; the names that match a pattern. */
std::vector<std::string> existing(const File& file);

/** Owner, group and mode, such as "root:video 0664". */
std::string owner_of(const std::string& path);

/** What is wrong with a file, by looking at it. Nothing is opened for writing. */
std::optional<Failure> problem_of(const std::string& path, Text text, bool reading, bool writing);

/** Why a call of this function may have failed, from its files; after a failed start from those of the start. */
std::optional<Failure> problem_of_call(const std::string& function, int index, bool start_failed);

}  // namespace VelmorCtl
