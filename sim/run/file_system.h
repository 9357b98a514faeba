// SPDX-License-Identifier: MIT
#pragma once

#define FUSE_USE_VERSION 312
#include <fuse3/fuse_lowlevel.h>
#include <unistd.h>

#include <ctime>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "common/descriptor.h"
#include "run/inner_proc.h"
#include "tree/file.h"

namespace VelmorSim {

class Faults;
class Model;
class Recorder;

/**
 * Serves the model's tree through FUSE. One thread serves everything, so the model needs no locks. The request of a
 * read that must wait is kept and answered later.
 */
class FileSystem {
public:
    FileSystem(Model& model, Recorder& recorder, Faults& faults)
        : model_(model), recorder_(recorder), faults_(faults) {}
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    ~FileSystem();

    /** Serve this open and mounted /dev/fuse. Throws std::runtime_error. */
    void attach(Descriptor fuse);
    /** Serve nothing any more: every request fails. */
    void detach();
    /** Serve at most `most` of the requests that have come. Does not wait. */
    void serve(int most);
    /** Call when the device may have changed: wakes readers and pollers. */
    void settle();
    /** The run ends: end every wait, with EINTR. */
    void release_all();
    bool is_attached() const { return session_ != nullptr; }
    /** Where requests come in; -1 before attach(). */
    int descriptor() const { return is_attached() ? fuse_session_fd(session_) : -1; }

    /** The "/proc" of the processes inside. The device's "/proc" links to its entries. */
    InnerProc inner_proc;

private:
    struct Waiting {
        fuse_req_t request;
        OpenFile* open;
        std::size_t size;
        bool interrupted;
    };
    /** An open file, as FUSE refers to it. */
    struct Handle {
        OpenFile open;
        fuse_pollhandle* poller = nullptr;
        unsigned polled = 0;
        bool close_recorded = false;
    };
    struct Operations;

    struct stat stat_of(const Node& node) const;
    struct stat stat_of_link(std::uint64_t inode) const;

    void lookup(fuse_req_t request, fuse_ino_t parent, const char* name);
    void getattr(fuse_req_t request, fuse_ino_t inode);
    void readlink(fuse_req_t request, fuse_ino_t inode) const;
    void readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset);
    void open(fuse_req_t request, fuse_ino_t inode, fuse_file_info info);
    void refuse_creation(fuse_req_t request, fuse_ino_t parent, const std::string& name, int error, bool record);
    void read(fuse_req_t request, Handle& handle, std::size_t size, off_t offset);
    void write(fuse_req_t request, Handle& handle, const std::string& text);
    void ioctl(fuse_req_t request, Handle& handle, unsigned command, const std::string& in, std::size_t room);
    void poll(fuse_req_t request, Handle& handle, fuse_pollhandle* poller);
    void flush(fuse_req_t request, Handle& handle);
    void release(fuse_req_t request, Handle* handle);

    /** Perform it now, or after the path's delay. The request is the one that it answers. */
    void act(fuse_req_t request, const std::string& path, const char* op, std::function<void()> perform);
    /** Answers the read unless it must still wait. */
    bool try_again(const Waiting& waiting);
    static bool is_dead(const OpenFile& open) { return open.incarnation != open.file.incarnation; }
    static unsigned poll_bits(OpenFile& open);
    void answer_read(fuse_req_t request, const OpenFile& open, int result, const std::string& text) const;

    Model& model_;
    Recorder& recorder_;
    Faults& faults_;
    fuse_session* session_ = nullptr;
    /** Of the request that is being served. */
    std::vector<char> buffer_;
    std::list<std::unique_ptr<Handle>> handles_;
    std::list<Waiting> waiting_;
    bool ending_ = false;
    std::time_t started_ = std::time(nullptr);
    // The program sees them as root.
    uid_t user_ = geteuid();
    gid_t group_ = getegid();
};

}  // namespace VelmorSim
