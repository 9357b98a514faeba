// SPDX-License-Identifier: MIT
#include "run/file_system.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>

#include "model/model.h"
#include "record/faults.h"
#include "record/recorder.h"
#include "tree/directory.h"
#include "tree/link.h"

namespace VelmorSim {

namespace {

constexpr double for_long = 3600.0;  // s

constexpr mode_t readable = S_IRUSR | S_IRGRP | S_IROTH;
constexpr mode_t writable = S_IWUSR | S_IWGRP | S_IWOTH;

const char* mode_text(int flags) {
    const int access = flags & O_ACCMODE;
    return access == O_RDONLY ? "r" : access == O_WRONLY ? "w" : "rw";
}

/** The longest write that the kernel may pass on at once, in bytes, and the room for the header of a request. */
constexpr unsigned most_written = 1U << 20U;
constexpr unsigned header_room = 4096;
/** So many requests to close may wait in the kernel. For an ordinary user it allows fewer, depending on its memory. */
constexpr unsigned most_background = 65535;

}  // namespace

/** The callbacks of the FUSE library; each calls the object. */
struct FileSystem::Operations {
    static FileSystem& self(fuse_req_t request) { return *static_cast<FileSystem*>(fuse_req_userdata(request)); }
    // open() gave the handle's address to the kernel.
    static Handle* handle(const fuse_file_info* info) {
        return reinterpret_cast<Handle*>(info->fh);  // NOLINT(performance-no-int-to-ptr)
    }

    /** Calls it. An exception must not reach the event loop: the request fails, and a message gives the reason. */
    template <class Action>
    static void perform(fuse_req_t request, const Action& action) {
        try {
            action();
        } catch (const std::exception& error) {
            std::cerr << "velmor-sim: a request failed: " << error.what() << std::endl;
            fuse_reply_err(request, EIO);
        }
    }
    /** The callback, guarded in this way. It replies last, so that there is one reply. */
    template <auto callback, class... Arguments>
    static void guarded(fuse_req_t request, Arguments... arguments) {
        perform(request, [&] { callback(request, arguments...); });
    }

    static void init(void* /*self*/, fuse_conn_info* connection) {
        // Requests are small, so splicing them through a pipe would only cost time.
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ);
        connection->max_write = most_written;
        // The kernel closes files in the background: behind a short queue, a close could come after the next open.
        connection->max_background = most_background;
    }
    static void lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
        self(request).lookup(request, parent, name);
    }
    static void getattr(fuse_req_t request, fuse_ino_t inode, fuse_file_info* /*info*/) {
        self(request).getattr(request, inode);
    }
    static void setattr(fuse_req_t request, fuse_ino_t inode, struct stat* wanted, int which,
                        fuse_file_info* /*info*/) {
        self(request).setattr(request, inode, *wanted, which);
    }
    static void readlink(fuse_req_t request, fuse_ino_t inode) { self(request).readlink(request, inode); }
    // opendir() gave the listing's address to the kernel.
    static Listing* listing(const fuse_file_info* info) {
        return reinterpret_cast<Listing*>(info->fh);  // NOLINT(performance-no-int-to-ptr)
    }
    static void opendir(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        self(request).opendir(request, *info);
    }
    static void readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset, fuse_file_info* info) {
        self(request).readdir(request, inode, size, offset, *listing(info));
    }
    static void releasedir(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        delete listing(info);  // NOLINT(cppcoreguidelines-owning-memory)
        fuse_reply_err(request, 0);
    }
    static void open(fuse_req_t request, fuse_ino_t inode, fuse_file_info* info) {
        auto* file = dynamic_cast<File*>(self(request).model_.tree.by_inode(inode));
        if (file == nullptr) {
            fuse_reply_err(request, ENOENT);
            return;
        }
        self(request).act(request, file->path, "open", [request, file, info = *info](int result) {
            self(request).open(request, *file, info, result);
        });
    }
    static void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t /*mode*/,
                       fuse_file_info* /*info*/) {
        self(request).refuse_creation(request, parent, name, EACCES, true);
    }
    static void mknod(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t /*mode*/, dev_t /*device*/) {
        self(request).refuse_creation(request, parent, name, EPERM, false);
    }
    static void mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t /*mode*/) {
        self(request).refuse_creation(request, parent, name, EPERM, false);
    }
    static void symlink(fuse_req_t request, const char* /*target*/, fuse_ino_t parent, const char* name) {
        self(request).refuse_creation(request, parent, name, EPERM, false);
    }
    static void link(fuse_req_t request, fuse_ino_t /*inode*/, fuse_ino_t parent, const char* name) {
        self(request).refuse_creation(request, parent, name, EPERM, false);
    }
    static void unlink(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/) {
        fuse_reply_err(request, EPERM);
    }
    static void rename(fuse_req_t request, fuse_ino_t /*from*/, const char* /*name*/, fuse_ino_t /*to*/,
                       const char* /*new_name*/, unsigned /*flags*/) {
        fuse_reply_err(request, EPERM);
    }
    static void read(fuse_req_t request, fuse_ino_t /*inode*/, std::size_t size, off_t offset, fuse_file_info* info) {
        Handle& file = *handle(info);
        file.open.flags = info->flags;
        self(request).act(request, file.open.file.path, "read", [request, &file, size, offset](int result) {
            self(request).read(request, file, size, offset, result);
        });
    }
    static void write(fuse_req_t request, fuse_ino_t /*inode*/, const char* bytes, std::size_t size, off_t /*offset*/,
                      fuse_file_info* info) {
        Handle& file = *handle(info);
        self(request).act(request, file.open.file.path, "write",
                          [request, &file, text = std::string(bytes, size)](int result) {
                              self(request).write(request, file, text, result);
                          });
    }
    static void ioctl(fuse_req_t request, fuse_ino_t /*inode*/, unsigned command, void* /*argument*/,
                      fuse_file_info* info, unsigned flags, const void* in, std::size_t in_size, std::size_t out_size) {
        if (info == nullptr || (flags & FUSE_IOCTL_DIR) != 0) {
            fuse_reply_err(request, ENOTTY);
            return;
        }
        Handle& file = *handle(info);
        if (command == repeated_ioctl && in_size == sizeof(CaughtIoctl)) {
            CaughtIoctl caught;
            std::memcpy(&caught, in, sizeof caught);
            file.repeaters.insert(fuse_req_ctx(request)->pid);
            // The request is gone once it is answered.
            auto& files = self(request);
            files.act(request, file.open.file.path, "ioctl", [request, &file, &files, caught](int result) {
                files.caught_ioctl(request, file, caught, result);
            });
            files.look_for_signal(request, caught);
            return;
        }
        const Ioctl call{command, std::string(static_cast<const char*>(in), in_size), out_size,
                         fuse_req_ctx(request)->pid};
        self(request).act(request, file.open.file.path, "ioctl",
                          [request, &file, call](int result) { self(request).ioctl(request, file, call, result); });
    }
    static void poll(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info, fuse_pollhandle* poller) {
        self(request).poll(request, *handle(info), poller);
    }
    static void flush(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        Handle& file = *handle(info);
        if (file.repeaters.erase(fuse_req_ctx(request)->pid) != 0) {
            // It closes its copy of the descriptor; the program closes nothing.
            fuse_reply_err(request, 0);
            return;
        }
        // A signal only ends the delay: what has been closed is closed.
        self(request).act(request, file.open.file.path, "close",
                          [request, &file](int /*result*/) { self(request).flush(request, file); });
    }
    static void release(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        self(request).release(request, handle(info));
    }
    static void access(fuse_req_t request, fuse_ino_t /*inode*/, int /*mask*/) { fuse_reply_err(request, 0); }
    static void interrupted(fuse_req_t request, void* /*data*/) { self(request).interrupted_.push_back(request); }

    static fuse_lowlevel_ops all() {
        fuse_lowlevel_ops operations{};
        operations.init = init;
        operations.lookup = guarded<lookup>;
        operations.getattr = guarded<getattr>;
        operations.setattr = guarded<setattr>;
        operations.readlink = guarded<readlink>;
        operations.opendir = guarded<opendir>;
        operations.readdir = guarded<readdir>;
        operations.releasedir = guarded<releasedir>;
        operations.open = guarded<open>;
        operations.create = guarded<create>;
        operations.mknod = guarded<mknod>;
        operations.mkdir = guarded<mkdir>;
        operations.symlink = guarded<symlink>;
        operations.link = guarded<link>;
        operations.unlink = guarded<unlink>;
        operations.rmdir = guarded<unlink>;
        operations.rename = guarded<rename>;
        operations.read = guarded<read>;
        operations.write = guarded<write>;
        operations.ioctl = guarded<ioctl>;
        operations.poll = guarded<poll>;
        operations.flush = guarded<flush>;
        operations.release = guarded<release>;
        operations.access = guarded<access>;
        return operations;
    }
};

FileSystem::~FileSystem() {
    for (const auto& handle : handles_) {
        if (handle.poller != nullptr) fuse_pollhandle_destroy(handle.poller);
    }
    detach();
}

void FileSystem::detach() {
    if (session_ == nullptr) return;
    fuse_session_unmount(session_);
    fuse_session_destroy(session_);
    session_ = nullptr;
}

void FileSystem::attach(Descriptor fuse) {
    std::string program = "velmor-sim";
    std::array<char*, 1> words = {program.data()};
    fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(words.size()), words.data());
    const fuse_lowlevel_ops operations = Operations::all();
    session_ = fuse_session_new(&arguments, &operations, sizeof operations, this);
    fuse_opt_free_args(&arguments);
    if (session_ == nullptr) throw std::runtime_error("the FUSE library cannot make a session");
    const std::string place = "/dev/fd/" + std::to_string(fuse.get());
    if (fuse_session_mount(session_, place.c_str()) != 0)
        throw std::runtime_error("the FUSE library rejects the mount");
    // The session closes it.
    fuse.release();
    buffer_.resize(most_written + header_room);
    fcntl(descriptor(), F_SETFL, fcntl(descriptor(), F_GETFL) | O_NONBLOCK);
}

void FileSystem::serve(int most) {
    for (; most > 0 && fuse_session_exited(session_) == 0; most--) {
        // The FUSE library's own function would print an error if the kernel ends the connection just now.
        const auto length = ::read(descriptor(), buffer_.data(), buffer_.size());
        // ENOENT: the request has been interrupted.
        if (length < 0 && (errno == EINTR || errno == ENOENT)) continue;
        if (length < 0 && errno == ENODEV) fuse_session_exit(session_);
        if (length <= 0) return;
        fuse_buf request{};
        request.mem = buffer_.data();
        request.size = static_cast<std::size_t>(length);
        fuse_session_process_buf(session_, &request);
        after_act();
        settle();
    }
}

template <class Perform>
void FileSystem::act(fuse_req_t request, const std::string& path, const char* op, Perform perform) {
    const auto delay = faults_.delay(path, op);
    if (delay.count() == 0 || ending_) {
        perform(0);
        return;
    }
    const auto timer = model_.timers.after(delay, [this, request] {
        end_delay(request, 0);
        settle();
    });
    delayed_.emplace(request, Delayed{timer, std::move(perform)});
    fuse_req_interrupt_func(request, Operations::interrupted, nullptr);
}

void FileSystem::end_delay(fuse_req_t request, int result) {
    const auto ended = delayed_.extract(request);
    if (ended.empty()) return;
    model_.timers.cancel(ended.mapped().timer);
    fuse_req_interrupt_func(request, nullptr, nullptr);
    Operations::perform(request, [&] { ended.mapped().perform(result); });
    after_act();
}

int FileSystem::begin(const std::string& path, const char* op, int result) {
    if (result == 0) return -faults_.next(path, op);
    faults_.note(path, op);
    return result;
}

void FileSystem::look_for_signal(fuse_req_t request, const CaughtIoctl& caught) {
    constexpr auto interval = std::chrono::milliseconds(50);
    const auto delayed = delayed_.find(request);
    if (delayed == delayed_.end()) return;
    model_.timers.after(interval, [this, request, caught, timer = delayed->second.timer] {
        // Another request may have the same address by now.
        const auto now = delayed_.find(request);
        if (now == delayed_.end() || now->second.timer != timer) return;
        if (!caught.has_signal()) {
            look_for_signal(request, caught);
            return;
        }
        end_delay(request, -EINTR);
        settle();
    });
}

struct stat FileSystem::stat_of(const Node& node) const {
    struct stat attributes {};
    attributes.st_ino = node.inode;
    attributes.st_mode = node.mode();
    attributes.st_nlink = 1;
    attributes.st_size = node.size();
    if (const auto* directory = dynamic_cast<const Directory*>(&node)) {
        attributes.st_nlink = 2 + directory->subdirectories();
    }
    attributes.st_blksize = 4096;
    attributes.st_mtime = attributes.st_ctime = attributes.st_atime = started_;
    attributes.st_uid = node.uid.value_or(user_);
    attributes.st_gid = node.gid.value_or(group_);
    return attributes;
}

struct stat FileSystem::stat_of_link(std::uint64_t inode) const {
    struct stat attributes {};
    attributes.st_ino = inode;
    attributes.st_mode = S_IFLNK | 0777;
    attributes.st_nlink = 1;
    attributes.st_mtime = attributes.st_ctime = attributes.st_atime = started_;
    attributes.st_uid = user_;
    attributes.st_gid = group_;
    return attributes;
}

void FileSystem::lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
    fuse_entry_param entry{};
    const auto* directory = dynamic_cast<Directory*>(model_.tree.by_inode(parent));
    Node* node = directory == nullptr ? nullptr : directory->child(name);
    if (node != nullptr) {
        entry.ino = node->inode;
        entry.attr = stat_of(*node);
        entry.entry_timeout = node->comes_and_goes ? 0 : for_long;
        entry.attr_timeout = node->comes_and_goes || node->size() != 4096 ? 0 : for_long;
        fuse_reply_entry(request, &entry);
        return;
    }
    const bool proc = directory != nullptr && directory->path == "/proc";
    if (const auto link = proc ? inner_proc.link(name) : std::nullopt) {
        entry.ino = *link;
        entry.attr = stat_of_link(*link);
        fuse_reply_entry(request, &entry);
        return;
    }
    if (directory != nullptr && !directory->path.empty() && !proc) {
        Act missing{.act = "lookup", .path = directory->path + "/" + name};
        missing.result = -ENOENT;
        missing.pid = fuse_req_ctx(request)->pid;
        recorder_.record(missing);
    }
    fuse_reply_err(request, ENOENT);
}

void FileSystem::getattr(fuse_req_t request, fuse_ino_t inode) {
    if (InnerProc::is_link(inode)) {
        const auto attributes = stat_of_link(inode);
        fuse_reply_attr(request, &attributes, 0);
        return;
    }
    const auto* node = model_.tree.by_inode(inode);
    if (node == nullptr) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    const auto attributes = stat_of(*node);
    fuse_reply_attr(request, &attributes, 0);
}

// With default_permissions the kernel has checked that the caller may do it. Sizes and times cannot be changed.
void FileSystem::setattr(fuse_req_t request, fuse_ino_t inode, const struct stat& wanted, int which) {
    if (auto* node = model_.tree.by_inode(inode)) {
        const auto bits = static_cast<unsigned>(which);
        if ((bits & FUSE_SET_ATTR_MODE) != 0) node->set_permissions(wanted.st_mode);
        if ((bits & FUSE_SET_ATTR_UID) != 0) node->uid = wanted.st_uid;
        if ((bits & FUSE_SET_ATTR_GID) != 0) node->gid = wanted.st_gid;
    }
    getattr(request, inode);
}

void FileSystem::readlink(fuse_req_t request, fuse_ino_t inode) const {
    if (InnerProc::is_link(inode)) {
        fuse_reply_readlink(request, inner_proc.target(inode).c_str());
    } else if (const auto* link = dynamic_cast<const Link*>(model_.tree.by_inode(inode))) {
        fuse_reply_readlink(request, link->target.c_str());
    } else {
        fuse_reply_err(request, EINVAL);
    }
}

void FileSystem::opendir(fuse_req_t request, fuse_file_info info) {
    auto listing = std::make_unique<Listing>();
    info.fh = reinterpret_cast<std::uint64_t>(listing.get());
    // If the caller has been killed meanwhile, there will be no releasedir.
    if (fuse_reply_open(request, &info) == 0) static_cast<void>(listing.release());
}

FileSystem::Listing FileSystem::list(const Directory& directory) {
    Listing entries;
    entries.emplace_back(".", stat_of(directory));
    entries.emplace_back("..", stat_of(*directory.parent));
    for (const auto& [name, node] : directory.children()) {
        auto& attributes = entries.emplace_back(name, stat_of(*node)).second;
        if (lists_device_nodes && node->device != 0) attributes.st_mode = S_IFCHR;
    }
    if (directory.path != "/proc") return entries;
    for (const auto& name : inner_proc.names()) {
        if (directory.child(name) != nullptr) continue;
        if (const auto link = inner_proc.link(name)) entries.emplace_back(name, stat_of_link(*link));
    }
    return entries;
}

void FileSystem::readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset, Listing& listing) {
    const auto* directory = dynamic_cast<Directory*>(model_.tree.by_inode(inode));
    if (directory == nullptr) {
        fuse_reply_err(request, ENOTDIR);
        return;
    }
    if (offset == 0) listing = list(*directory);
    std::string out;
    for (auto i = static_cast<std::size_t>(offset); i < listing.size(); i++) {
        const auto& [name, attributes] = listing[i];
        const auto needed = fuse_add_direntry(request, nullptr, 0, name.c_str(), nullptr, 0);
        if (out.size() + needed > size) break;
        const auto start = out.size();
        out.resize(start + needed);
        fuse_add_direntry(request, &out[start], needed, name.c_str(), &attributes, static_cast<off_t>(i + 1));
    }
    fuse_reply_buf(request, out.data(), out.size());
}

void FileSystem::open(fuse_req_t request, File& file, fuse_file_info info, int result) {
    const int pid = fuse_req_ctx(request)->pid;
    std::list<Handle> opened;
    Handle& handle = opened.emplace_back(Handle{.open = OpenFile{.file = file, .flags = info.flags, .pid = pid}});
    handle.place = opened.begin();
    handle.open.incarnation = file.incarnation;
    if (file.is_stream()) handle.open.narrow = inner_proc.is_narrow(pid);
    result = begin(file.path, "open", result);
    const int access = info.flags & O_ACCMODE;
    // The kernel's attributes apply their permission bits to everyone, even to root.
    if (result == 0 && access != O_WRONLY && (file.mode() & readable) == 0) result = -EACCES;
    if (result == 0 && access != O_RDONLY && (file.mode() & writable) == 0) result = -EACCES;
    if (result == 0) result = file.open(handle.open);
    if (file.is_recorded() || result < 0) {
        recorder_.record(
            {.act = "open", .path = file.path, .mode = mode_text(info.flags), .result = result, .pid = pid});
    }
    if (result < 0) {
        fuse_reply_err(request, -result);
        return;
    }
    info.direct_io = 1;
    info.nonseekable = file.is_stream() ? 1 : 0;
    info.fh = reinterpret_cast<std::uint64_t>(&handle);
    handles_.splice(handles_.end(), opened);
    fuse_reply_open(request, &info);
}

void FileSystem::refuse_creation(fuse_req_t request, fuse_ino_t parent, const std::string& name, int error,
                                 bool record) {
    const auto* directory = model_.tree.by_inode(parent);
    // procfs cannot create files at all, so the name does not exist.
    if (directory != nullptr && directory->path.rfind("/proc", 0) == 0) error = ENOENT;
    if (record && directory != nullptr) {
        recorder_.record({.act = "open",
                          .path = directory->path + "/" + name,
                          .mode = "w",
                          .result = -error,
                          .pid = fuse_req_ctx(request)->pid});
    }
    fuse_reply_err(request, error);
}

void FileSystem::answer_read(fuse_req_t request, const OpenFile& open, int result, const std::string& text) const {
    if (open.file.is_recorded() || result < 0) {
        Act act{.act = "read", .path = open.file.path, .result = result, .pid = fuse_req_ctx(request)->pid};
        act.meaning = open.file.meaning;
        if (result >= 0) {
            act.text = text;
            act.result = static_cast<long>(text.size());
        }
        recorder_.record(act);
    }
    if (result < 0) {
        fuse_reply_err(request, -result);
    } else {
        fuse_reply_buf(request, text.data(), text.size());
    }
}

void FileSystem::read(fuse_req_t request, Handle& handle, std::size_t size, off_t offset, int result) {
    OpenFile& open = handle.open;
    std::string text;
    result = begin(open.file.path, "read", result);
    const bool fault = result != 0;
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.read(open, size, static_cast<std::size_t>(offset), text);
    if (result == -EAGAIN && !fault && (open.flags & O_NONBLOCK) == 0 && !ending_) {
        waiting_.emplace(request, Waiting{open, size});
        sleepers(open.file).reads.insert(request);
        fuse_req_interrupt_func(request, Operations::interrupted, nullptr);
        return;
    }
    answer_read(request, open, result, text);
}

void FileSystem::write(fuse_req_t request, Handle& handle, const std::string& text, int result) {
    OpenFile& open = handle.open;
    const int pid = fuse_req_ctx(request)->pid;
    result = begin(open.file.path, "write", result);
    if (result == 0 && is_dead(open)) result = -ENODEV;
    Act act{.act = "write", .path = open.file.path, .text = text, .pid = pid, .meaning = open.file.meaning};
    if (result == 0) result = open.file.write(open, text);
    act.result = result;
    if (open.file.is_recorded() || result < 0) recorder_.record(act);
    if (result < 0) {
        fuse_reply_err(request, -result);
    } else {
        fuse_reply_write(request, static_cast<std::size_t>(result));
    }
}

int FileSystem::perform_ioctl(OpenFile& open, const Ioctl& call, int result, std::string& out) {
    result = begin(open.file.path, "ioctl", result);
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.ioctl(open, call.request, call.in, call.room, out);
    recorder_.record({.act = "ioctl",
                      .path = open.file.path,
                      .request = call.request,
                      .in = call.in,
                      .out = out,
                      .result = result,
                      .pid = call.pid,
                      .meaning = open.file.meaning_of(call.request, call.in)});
    return result;
}

void FileSystem::ioctl(fuse_req_t request, Handle& handle, const Ioctl& call, int result) {
    std::string out;
    result = perform_ioctl(handle.open, call, result, out);
    if (result < 0) {
        fuse_reply_err(request, -result);
    } else {
        fuse_reply_ioctl(request, result, out.empty() ? nullptr : out.data(), out.size());
    }
}

void FileSystem::caught_ioctl(fuse_req_t request, Handle& handle, CaughtIoctl caught, int result) {
    Ioctl call{caught.request, "", 0, caught.thread};
    if (caught.has_argument != 0)
        call.in.assign(reinterpret_cast<const char*>(&caught.argument), sizeof caught.argument);
    std::string out;
    caught.result = perform_ioctl(handle.open, call, result, out);
    caught.is_performed = 1;
    fuse_reply_ioctl(request, 0, &caught, sizeof caught);
}

unsigned FileSystem::poll_bits(OpenFile& open) {
    return is_dead(open) ? POLLERR | POLLPRI : open.file.poll(open);
}

void FileSystem::poll(fuse_req_t request, Handle& handle, fuse_pollhandle* poller) {
    if (poller != nullptr) {
        if (handle.poller != nullptr) fuse_pollhandle_destroy(handle.poller);
        handle.poller = poller;
        sleepers(handle.open.file).pollers.insert(&handle);
    }
    fuse_reply_poll(request, poll_bits(handle.open));
}

void FileSystem::flush(fuse_req_t request, Handle& handle) {
    const int pid = fuse_req_ctx(request)->pid;
    const int error = faults_.next(handle.open.file.path, "close");
    handle.open.pid = pid != 0 ? pid : handle.open.pid;
    if (error != 0) {
        recorder_.record({.act = "close", .path = handle.open.file.path, .result = -error, .pid = pid});
        handle.close_recorded = true;
    }
    fuse_reply_err(request, error);
}

// The record has only the last close: a child that closes its copy has not closed the file.
void FileSystem::release(fuse_req_t request, Handle* handle) {
    std::list<Handle> released;
    released.splice(released.end(), handles_, handle->place);
    OpenFile& open = handle->open;
    if (handle->poller != nullptr) {
        fuse_pollhandle_destroy(handle->poller);
        sleepers(open.file).pollers.erase(handle);
    }
    if (!handle->close_recorded && open.file.is_recorded())
        recorder_.record({.act = "close", .path = open.file.path, .pid = open.pid});
    open.file.release(open);
    faults_.note(open.file.path, "close");
    fuse_reply_err(request, 0);
}

FileSystem::Sleepers& FileSystem::sleepers(File& file) {
    file.woken = &woken_;
    return sleepers_[&file];
}

bool FileSystem::try_again(fuse_req_t request, const Waiting& waiting, int result) {
    OpenFile& open = waiting.open;
    std::string text;
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.read(open, waiting.size, 0, text);
    if (result == -EAGAIN) return false;
    fuse_req_interrupt_func(request, nullptr, nullptr);
    answer_read(request, open, result, text);
    return true;
}

void FileSystem::wake(fuse_req_t request, int result) {
    const auto waiting = waiting_.find(request);
    if (waiting == waiting_.end()) return;
    File& file = waiting->second.open.file;
    bool answered = true;
    Operations::perform(request, [&] { answered = try_again(request, waiting->second, result); });
    if (!answered) return;
    waiting_.erase(waiting);
    sleepers(file).reads.erase(request);
}

void FileSystem::notify(Handle& handle) {
    fuse_lowlevel_notify_poll(handle.poller);
    fuse_pollhandle_destroy(handle.poller);
    handle.poller = nullptr;
}

void FileSystem::settle() {
    for (auto* request : std::exchange(interrupted_, {})) {
        end_delay(request, -EINTR);
        wake(request, -EINTR);
    }
    for (auto* file : std::exchange(woken_, {})) {
        auto& waiting = sleepers(*file);
        for (auto* request : std::set(waiting.reads)) wake(request, 0);
        for (auto* handle : std::exchange(waiting.pollers, {})) notify(*handle);
    }
}

void FileSystem::release_all() {
    ending_ = true;
    if (!is_attached()) return;
    while (!delayed_.empty()) end_delay(delayed_.begin()->first, 0);
    while (!waiting_.empty()) wake(waiting_.begin()->first, -EINTR);
    for (auto& [file, waiting] : sleepers_) {
        for (auto* handle : std::exchange(waiting.pollers, {})) notify(*handle);
    }
}

}  // namespace VelmorSim
