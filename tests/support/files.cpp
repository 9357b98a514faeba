// SPDX-License-Identifier: MIT
#include "support/files.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace testing_support {

TemporaryDirectory::TemporaryDirectory() {
    // In memory where there is such a place: tests write tens of thousands of small files.
    const fs::path place = fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string pattern = (place / "velmor-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void put(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::string content(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

bool exists(const std::string& path) {
    return fs::exists(path);
}

void remove(const std::string& path) {
    fs::remove_all(path);
}

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) != -1 || errno != EBADF;
}

bool in_namespaces_of_its_own() {
    std::error_code error;
    const fs::path user = fs::read_symlink("/proc/self/ns/user", error);
    const fs::path pid = fs::read_symlink("/proc/self/ns/pid", error);
    return !user.empty() && user != fs::path("user:[4026531837]") && !pid.empty() &&
           pid != fs::path("pid:[4026531836]");
}

bool on_device() {
    struct statfs sys = {};
    return in_namespaces_of_its_own() && statfs("/sys", &sys) == 0 && sys.f_type == TMPFS_MAGIC;
}

void reset_device() {
    if (!on_device()) {
        std::fputs("These tests change the files below /sys and /proc: run them through tests/plain-files.\n", stderr);
        std::exit(2);
    }
    const fs::path tree = VELMOR_DEVICE_TREE;
    for (const char* top : {"/sys", "/proc/platform"}) {
        for (const auto& entry : fs::directory_iterator(top)) fs::remove_all(entry);
    }
    for (const char* node : {"/dev/watchdog", "/etc/fs_version", "/sbin/reboot", "/sbin/poweroff"})
        fs::remove_all(node);
    fs::copy(tree, "/", fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

}  // namespace testing_support
