// SPDX-License-Identifier: MIT
#include "run/file_system.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <iterator>
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
    }
    static void lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
        self(request).lookup(request, parent, name);
    }
    static void getattr(fuse_req_t request, fuse_ino_t inode, fuse_file_info* /*info*/) {
        self(request).getattr(request, inode);
    }
    static void setattr(fuse_req_t request, fuse_ino_t inode, struct stat* /*wanted*/, int /*which*/,
                        fuse_file_info* /*info*/) {
        self(request).getattr(request, inode);
    }
    static void readlink(fuse_req_t request, fuse_ino_t inode) { self(request).readlink(request, inode); }
    static void readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset,
                        fuse_file_info* /*info*/) {
        self(request).readdir(request, inode, size, offset);
    }
    static void open(fuse_req_t request, fuse_ino_t inode, fuse_file_info* info) {
        self(request).open(request, inode, *info);
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
        self(request).act(request, file.open.file.path, "read",
                          [request, &file, size, offset] { self(request).read(request, file, size, offset); });
    }
    static void write(fuse_req_t request, fuse_ino_t /*inode*/, const char* bytes, std::size_t size, off_t /*offset*/,
                      fuse_file_info* info) {
        Handle& file = *handle(info);
        self(request).act(request, file.open.file.path, "write", [request, &file, text = std::string(bytes, size)] {
            self(request).write(request, file, text);
        });
    }
    static void ioctl(fuse_req_t request, fuse_ino_t /*inode*/, unsigned command, void* /*argument*/,
                      fuse_file_info* info, unsigned flags, const void* in, std::size_t in_size, std::size_t out_size) {
        if (info == nullptr || (flags & FUSE_IOCTL_DIR) != 0) {
            fuse_reply_err(request, ENOTTY);
            return;
        }
        Handle& file = *handle(info);
        self(request).act(
            request, file.open.file.path, "ioctl",
            [request, &file, command, out_size, bytes = std::string(static_cast<const char*>(in), in_size)] {
                self(request).ioctl(request, file, command, bytes, out_size);
            });
    }
    static void poll(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info, fuse_pollhandle* poller) {
        self(request).poll(request, *handle(info), poller);
    }
    static void flush(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        Handle& file = *handle(info);
        self(request).act(request, file.open.file.path, "close",
                          [request, &file] { self(request).flush(request, file); });
    }
    static void release(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* info) {
        self(request).release(request, handle(info));
    }
    static void access(fuse_req_t request, fuse_ino_t /*inode*/, int /*mask*/) { fuse_reply_err(request, 0); }
    static void interrupted(fuse_req_t /*request*/, void* waiting) {
        static_cast<Waiting*>(waiting)->interrupted = true;
    }

    static fuse_lowlevel_ops all() {
        fuse_lowlevel_ops operations{};
        operations.init = init;
        operations.lookup = guarded<lookup>;
        operations.getattr = guarded<getattr>;
        operations.setattr = guarded<setattr>;
        operations.readlink = guarded<readlink>;
        operations.readdir = guarded<readdir>;
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
        if (handle->poller != nullptr) fuse_pollhandle_destroy(handle->poller);
    }
    detach();
    std::free(buffer_.mem);  // NOLINT: the FUSE library allocated it with malloc
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
        const int result = fuse_session_receive_buf(session_, &buffer_);
        if (result == -EINTR) continue;
        if (result <= 0) return;
        fuse_session_process_buf(session_, &buffer_);
        settle();
    }
}

void FileSystem::act(fuse_req_t request, const std::string& path, const char* op, std::function<void()> perform) {
    const auto delay = faults_.delay(path, op);
    if (delay.count() == 0 || ending_) {
        perform();
        return;
    }
    model_.timers.after(delay, [this, request, perform = std::move(perform)] {
        Operations::perform(request, perform);
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
        attributes.st_nlink = 2;
        for (const auto& [name, entry] : directory->children()) attributes.st_nlink += S_ISDIR(entry->mode()) ? 1U : 0U;
    }
    attributes.st_blksize = 4096;
    attributes.st_mtime = attributes.st_ctime = attributes.st_atime = started_;
    attributes.st_uid = user_;
    attributes.st_gid = group_;
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

void FileSystem::readlink(fuse_req_t request, fuse_ino_t inode) const {
    if (InnerProc::is_link(inode)) {
        fuse_reply_readlink(request, inner_proc.target(inode).c_str());
    } else if (const auto* link = dynamic_cast<const Link*>(model_.tree.by_inode(inode))) {
        fuse_reply_readlink(request, link->target.c_str());
    } else {
        fuse_reply_err(request, EINVAL);
    }
}

void FileSystem::readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset) {
    const auto* directory = dynamic_cast<Directory*>(model_.tree.by_inode(inode));
    if (directory == nullptr) {
        fuse_reply_err(request, ENOTDIR);
        return;
    }
    std::vector<std::pair<std::string, struct stat>> entries;
    entries.emplace_back(".", stat_of(*directory));
    entries.emplace_back("..", stat_of(*directory->parent));
    for (const auto& [name, node] : directory->children()) entries.emplace_back(name, stat_of(*node));
    if (directory->path == "/proc") {
        for (const auto& name : inner_proc.names()) {
            if (directory->child(name) != nullptr) continue;
            if (const auto link = inner_proc.link(name)) entries.emplace_back(name, stat_of_link(*link));
        }
    }
    std::string out;
    for (auto i = static_cast<std::size_t>(offset); i < entries.size(); i++) {
        const auto& [name, attributes] = entries[i];
        const auto needed = fuse_add_direntry(request, nullptr, 0, name.c_str(), nullptr, 0);
        if (out.size() + needed > size) break;
        const auto start = out.size();
        out.resize(start + needed);
        fuse_add_direntry(request, &out[start], needed, name.c_str(), &attributes, static_cast<off_t>(i + 1));
    }
    fuse_reply_buf(request, out.data(), out.size());
}

void FileSystem::open(fuse_req_t request, fuse_ino_t inode, fuse_file_info info) {
    auto* file = dynamic_cast<File*>(model_.tree.by_inode(inode));
    if (file == nullptr) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    const int pid = fuse_req_ctx(request)->pid;
    act(request, file->path, "open", [this, request, file, info, pid]() mutable {
        auto handle =
            std::make_unique<Handle>(Handle{.open = OpenFile{.file = *file, .flags = info.flags, .pid = pid}});
        handle->open.incarnation = file->incarnation;
        if (file->is_stream()) handle->open.narrow = inner_proc.is_narrow(pid);
        int result = -faults_.next(file->path, "open");
        const int access = info.flags & O_ACCMODE;
        // The kernel's attributes apply their permission bits to everyone, even to root.
        if (result == 0 && access != O_WRONLY && (file->mode() & readable) == 0) result = -EACCES;
        if (result == 0 && access != O_RDONLY && (file->mode() & writable) == 0) result = -EACCES;
        if (result == 0) result = file->open(handle->open);
        if (file->is_recorded() || result < 0) {
            recorder_.record(
                {.act = "open", .path = file->path, .mode = mode_text(info.flags), .result = result, .pid = pid});
        }
        if (result < 0) {
            fuse_reply_err(request, -result);
            return;
        }
        info.direct_io = 1;
        info.nonseekable = file->is_stream() ? 1 : 0;
        info.fh = reinterpret_cast<std::uint64_t>(handle.get());
        handles_.push_back(std::move(handle));
        fuse_reply_open(request, &info);
    });
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

void FileSystem::read(fuse_req_t request, Handle& handle, std::size_t size, off_t offset) {
    OpenFile& open = handle.open;
    std::string text;
    int result = -faults_.next(open.file.path, "read");
    const bool fault = result != 0;
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.read(open, size, static_cast<std::size_t>(offset), text);
    if (result == -EAGAIN && !fault && (open.flags & O_NONBLOCK) == 0 && !ending_) {
        waiting_.push_back({request, &open, size, false});
        fuse_req_interrupt_func(request, Operations::interrupted, &waiting_.back());
        return;
    }
    answer_read(request, open, result, text);
}

void FileSystem::write(fuse_req_t request, Handle& handle, const std::string& text) {
    OpenFile& open = handle.open;
    const int pid = fuse_req_ctx(request)->pid;
    int result = -faults_.next(open.file.path, "write");
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

void FileSystem::ioctl(fuse_req_t request, Handle& handle, unsigned command, const std::string& in, std::size_t room) {
    OpenFile& open = handle.open;
    std::string out;
    int result = -faults_.next(open.file.path, "ioctl");
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.ioctl(open, command, in, room, out);
    recorder_.record({.act = "ioctl",
                      .path = open.file.path,
                      .request = command,
                      .in = in,
                      .out = out,
                      .result = result,
                      .pid = fuse_req_ctx(request)->pid,
                      .meaning = open.file.meaning_of(command, in)});
    if (result < 0) {
        fuse_reply_err(request, -result);
    } else {
        fuse_reply_ioctl(request, result, out.empty() ? nullptr : out.data(), out.size());
    }
}

unsigned FileSystem::poll_bits(OpenFile& open) {
    return is_dead(open) ? POLLERR | POLLPRI : open.file.poll(open);
}

void FileSystem::poll(fuse_req_t request, Handle& handle, fuse_pollhandle* poller) {
    handle.polled = poll_bits(handle.open);
    if (poller != nullptr) {
        if (handle.poller != nullptr) fuse_pollhandle_destroy(handle.poller);
        handle.poller = poller;
    }
    fuse_reply_poll(request, handle.polled);
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
    OpenFile& open = handle->open;
    if (!handle->close_recorded && open.file.is_recorded())
        recorder_.record({.act = "close", .path = open.file.path, .pid = open.pid});
    open.file.release(open);
    if (handle->poller != nullptr) fuse_pollhandle_destroy(handle->poller);
    handles_.remove_if([handle](const auto& each) { return each.get() == handle; });
    fuse_reply_err(request, 0);
}

bool FileSystem::try_again(const Waiting& waiting) {
    OpenFile& open = *waiting.open;
    std::string text;
    int result = waiting.interrupted || ending_ ? -EINTR : 0;
    if (result == 0 && is_dead(open)) result = -ENODEV;
    if (result == 0) result = open.file.read(open, waiting.size, 0, text);
    if (result == -EAGAIN) return false;
    fuse_req_interrupt_func(waiting.request, nullptr, nullptr);
    answer_read(waiting.request, open, result, text);
    return true;
}

void FileSystem::settle() {
    for (auto waiting = waiting_.begin(); waiting != waiting_.end();) {
        bool answered = true;
        Operations::perform(waiting->request, [&] { answered = try_again(*waiting); });
        waiting = answered ? waiting_.erase(waiting) : std::next(waiting);
    }
    for (const auto& handle : handles_) {
        if (handle->poller == nullptr) continue;
        if (poll_bits(handle->open) == handle->polled && !ending_) continue;
        fuse_lowlevel_notify_poll(handle->poller);
        fuse_pollhandle_destroy(handle->poller);
        handle->poller = nullptr;
    }
}

void FileSystem::release_all() {
    ending_ = true;
    if (session_ != nullptr) settle();
}

}  // namespace VelmorSim
