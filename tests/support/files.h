// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace testing_support {

/** A directory of the test's own below the system's temporary one, removed at the end. */
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/** Write a file, with the directories above it. */
void put(const std::string& path, const std::string& content);
/** A file's bytes; throws where it cannot be read. */
std::string content(const std::string& path);
bool exists(const std::string& path);
void remove(const std::string& path);
/** Whether this number is an open descriptor of this process. */
bool is_open(int fd);

/** HAZARD: what may restart the machine or run its programs asks this first: a PID and a user namespace of our own. */
bool in_namespaces_of_its_own();

/** Whether the device's files at the real paths are ours to change: inside tests/plain-files. */
bool on_device();
/** Put the device's files back as they are in tests/device/tree. Refuses, by ending the process, where not on_device().
 */
void reset_device();

}  // namespace testing_support
