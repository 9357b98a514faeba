// SPDX-License-Identifier: MIT
#include "run/root.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>
#include <system_error>

#include "model/model.h"
#include "run/inner_proc.h"
#include "tree/directory.h"

namespace VelmorSim {

namespace {

namespace fs = std::filesystem;

/** Where the new root is built: every machine has this directory, and it is not bound as a whole. */
const std::string root = "/sys";
const std::string inner_proc = InnerProc::path;
const std::string served = "/.vdev";
/** An empty file. */
const std::string nothing = "/.nothing";
/** An empty directory. */
const std::string empty = "/.empty";

/** Parts of the machine's "/sys" that programs need: the number of processors, memory pages, control groups. */
constexpr std::array<const char*, 3> kept_parts = {"/sys/devices/system", "/sys/kernel/mm", "/sys/fs/cgroup"};

/** Programs of the machine that the device must not show. */
const std::set<std::string> withheld = {"reboot", "poweroff", "halt", "shutdown", "init", "telinit", "kexec"};

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::system_category(), what);
}

void make_directory(const std::string& path) {
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) fail("mkdir " + path);
}

void make_file(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!file.is_open()) fail("create " + path);
}

bool bind_mount(const std::string& from, const std::string& to) {
    return mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

void must_bind(const std::string& from, const std::string& to) {
    if (!bind_mount(from, to)) fail("bind " + from + " to " + to);
}

bool make_read_only(const std::string& path) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_RDONLY;
    return mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) == 0;
}

std::string link_text(const std::string& path) {
    std::error_code error;
    return fs::read_symlink(path, error).string();
}

bool is_directory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

void for_each_entry(const std::string& path, const std::function<void(const std::string& name, bool link)>& act) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(path, error)) act(entry.path().filename(), entry.is_symlink(error));
}

}  // namespace

void Root::begin() {
    if (mount("none", "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0)
        fail(
            "mounts in a user namespace are forbidden here; allow them with \"sysctl "
            "kernel.apparmor_restrict_unprivileged_userns=0\", or give the container \"--security-opt "
            "apparmor=unconfined\"");
    std::error_code error;
    sbin_ = fs::canonical("/sbin", error).string();
    for (const char* part : kept_parts) {
        Descriptor place(open(part, O_PATH | O_CLOEXEC));
        if (place.is_open()) kept_.emplace_back(part, std::move(place));
    }
    if (mount("velmor", root.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") != 0) fail("mount a tmpfs");
}

Descriptor Root::mount_fuse(bool checks_permissions) {
    // Only a descriptor that was opened in this user namespace may be mounted in it.
    Descriptor fuse(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (!fuse.is_open()) {
        if (errno == ENOENT || errno == ENXIO || errno == ENODEV)
            fail(
                "no /dev/fuse; load it with \"modprobe fuse\", or give it to the container with \"--device "
                "/dev/fuse\"");
        fail("/dev/fuse cannot be opened; allow it with \"chmod 666 /dev/fuse\", which udev normally does");
    }
    make_directory(root + served);
    const std::string options =
        "fd=" + std::to_string(fuse.get()) + ",rootmode=40000,user_id=" + std::to_string(geteuid()) +
        ",group_id=" + std::to_string(getegid()) + ",allow_other" + (checks_permissions ? ",default_permissions" : "");
    if (mount("velmor-sim", (root + served).c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) != 0)
        fail(
            "FUSE may not be mounted in a user namespace; it needs Linux 4.18 or later, and in a container "
            "\"--security-opt seccomp=unconfined --security-opt apparmor=unconfined\"");
    return fuse;
}

bool Root::mount_proc() {
    make_directory(root + "/.host-proc");
    make_directory(root + inner_proc);
    return mount("proc", (root + inner_proc).c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) == 0;
}

void Root::reuse_proc() {
    must_bind("/proc", root + inner_proc);
}

Descriptor Root::open_proc() const {
    Descriptor proc(open((root + inner_proc).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!proc.is_open()) fail("open the inner /proc");
    return proc;
}

void Root::fill() {
    make_directory(root + "/.host");
    link_top_level();
    make_directory(root + "/etc");
    const auto& top = model_.tree.root();
    shadow("/etc", root + "/.host/etc", root + "/etc", dynamic_cast<const Directory&>(*top.child("etc")));
    const std::string sbin = sbin_.empty() ? "/sbin" : sbin_;
    if (is_directory(root + sbin)) {
        // On most machines "/sbin" is a link into "/usr", which is bound as a whole: cover the directory there.
        if (mount("velmor", (root + sbin).c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") != 0)
            fail("cover " + sbin);
    } else {
        make_directory(root + sbin);
    }
    shadow(sbin, root + "/.host/sbin", root + sbin, dynamic_cast<const Directory&>(*top.child("sbin")));
    fill_dev();
    fill_sys();
    make_directory(root + "/proc");
    must_bind(root + served + "/proc", root + "/proc");
    make_file(root + nothing);
    make_directory(root + empty);
    // The directory, because the machine may make the socket anew.
    cover("/run/dbus");
    // It describes the machine's devices, and some of the device's have the same numbers.
    cover("/run/udev");
    if (as_root_) protect();
}

void Root::link_top_level() {
    const std::set<std::string> ours = {"sys", "proc", "dev", "etc"};
    for_each_entry("/", [&](const std::string& name, bool link) {
        if (ours.contains(name) || name[0] == '.') return;
        const auto from = "/" + name;
        const auto to = root + from;
        if (link) {
            if (symlink(link_text(from).c_str(), to.c_str()) != 0) fail("link " + from);
        } else if (name == "sbin") {
            make_directory(to);
        } else if (is_directory(from)) {
            make_directory(to);
            // A directory that cannot be bound stays empty.
            static_cast<void>(bind_mount(from, to));
        } else {
            make_file(to);
            static_cast<void>(bind_mount(from, to));
        }
    });
}

void Root::shadow(const std::string& machine, const std::string& copy, const std::string& place,
                  const Directory& device) {
    make_directory(copy);
    if (is_directory(machine)) must_bind(machine, copy);
    const auto target = copy.substr(root.size()) + "/";
    const bool programs = machine != "/etc";
    for_each_entry(machine, [&](const std::string& name, bool link) {
        if (device.child(name) != nullptr || (programs && withheld.contains(name))) return;
        // The machine's link may be relative, so its text is copied.
        const auto text = link ? link_text(machine + "/" + name) : target + name;
        if (symlink(text.c_str(), (place + "/" + name).c_str()) != 0 && errno != EEXIST) fail("link " + name);
    });
    place_device_files(device, place);
}

void Root::place_device_files(const Directory& device, const std::string& place) {
    for (const auto& [name, node] : device.children()) {
        const auto to = std::string(place).append("/").append(name);
        if (S_ISDIR(node->mode())) {
            make_directory(to);
        } else {
            make_place(to, !node->stand_in.empty() || node->device != 0);
        }
        if (node->stand_in.empty()) {
            must_bind(root + served + node->path, to);
        } else {
            must_bind(node->stand_in, to);
        }
    }
}

// A file to mount a file on. A directory lists the type of this one, not that of the mounted one.
void Root::make_place(const std::string& path, bool is_device) const {
    // The only device node that a user namespace may make; its number belongs to no device.
    const bool is_made = device_nodes_ && is_device && mknod(path.c_str(), S_IFCHR | 0644, makedev(0, 0)) == 0;
    if (!is_made) make_file(path);
}

void Root::fill_dev() {
    const auto dev = root + "/dev";
    make_directory(dev);
    for (const char* name : {"null", "zero", "full", "random", "urandom", "tty", "ptmx"}) {
        const auto from = std::string("/dev/") + name;
        if (access(from.c_str(), F_OK) != 0) continue;
        make_place(dev + "/" + name, true);
        must_bind(from, dev + "/" + name);
    }
    for (const char* name : {"pts", "shm"}) {
        const auto from = std::string("/dev/") + name;
        if (!is_directory(from)) continue;
        make_directory(dev + "/" + name);
        must_bind(from, dev + "/" + name);
    }
    const std::array<std::pair<const char*, const char*>, 4> links = {{
        {"/proc/self/fd", "/fd"},
        {"/proc/self/fd/0", "/stdin"},
        {"/proc/self/fd/1", "/stdout"},
        {"/proc/self/fd/2", "/stderr"},
    }};
    for (const auto& [target, name] : links) {
        if (symlink(target, (dev + name).c_str()) != 0) fail("link " + dev + name);
    }
    place_device_files(dynamic_cast<const Directory&>(*model_.tree.root().child("dev")), dev);
}

void Root::fill_sys() {
    make_directory(root + "/sys");
    must_bind(root + served + "/sys", root + "/sys");
    for (const auto& [part, place] : kept_) {
        const auto to = root + part;
        if (!bind_mount("/proc/self/fd/" + std::to_string(place.get()), to)) continue;
        if (!make_read_only(to) && as_root_) umount2(to.c_str(), MNT_DETACH);
    }
    kept_.clear();
}

void Root::cover(const std::string& path) {
    const auto place = root + path;
    if (access(place.c_str(), F_OK) == 0) must_bind(root + (is_directory(place) ? empty : nothing), place);
}

// Otherwise root could restart the machine, or change its kernel settings, from inside: an interrupt's processor, for
// example, takes no capability, only the user. So does the mode of any file there. What the processes have stays
// writable.
void Root::protect() {
    for (const char* name : {"/sysrq-trigger", "/kcore", "/kmsg"}) cover(inner_proc + name);
    for_each_entry(root + inner_proc, [](const std::string& name, bool link) {
        const auto path = root + inner_proc + "/" + name;
        const bool is_process = name[0] >= '1' && name[0] <= '9';
        if (link || is_process) return;
        must_bind(path, path);
        if (!make_read_only(path)) fail("protect " + path);
    });
    for (const char* file : {"/run/systemd/private", "/run/initctl"}) cover(file);
}

void Root::enter() {
    std::error_code error;
    const auto working = fs::current_path(error).string();
    if (chdir(root.c_str()) != 0) fail("enter the new root");
    if (syscall(SYS_pivot_root, ".", ".") != 0) fail("pivot_root");
    if (umount2(".", MNT_DETACH) != 0) fail("unmount the old root");
    if (chdir(working.c_str()) != 0 && chdir("/") != 0) fail("enter " + working);
}

}  // namespace VelmorSim
