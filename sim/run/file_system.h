// SPDX-License-Identifier: MIT
#pragma once

#define FUSE_USE_VERSION 312
#include <fuse3/fuse_lowlevel.h>
#include <unistd.h>

#include <ctime>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/descriptor.h"
#include "common/timers.h"
#include "run/caught_ioctl.h"
#include "run/inner_proc.h"
#include "tree/file.h"

namespace VelmorSim {

class Directory;
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
    /** The run ends: perform the delayed acts, and end every wait, with EINTR. */
    void release_all();
    bool is_attached() const { return session_ != nullptr; }
    /** Called after each act, before the next one. Set it before attach(). */
    std::function<void()> after_act;
    /** Where requests come in; -1 before attach(). */
    int descriptor() const { return is_attached() ? fuse_session_fd(session_) : -1; }

    /** What stat shows of it, without the file system's number. */
    struct stat stat_of(const Node& node) const;

    /** The "/proc" of the processes inside. The device's "/proc" links to its entries. */
    InnerProc inner_proc;
    /** Whether directories list device nodes as such. */
    bool lists_device_nodes = false;

private:
    /** A read that waits until there is something to read. */
    struct Waiting {
        OpenFile& open;
        std::size_t size;
    };
    /** An act that is delayed. */
    struct Delayed {
        Timers::Id timer;
        std::function<void(int result)> perform;
    };
    /** An open file, as FUSE refers to it. */
    struct Handle {
        OpenFile open;
        fuse_pollhandle* poller = nullptr;
        bool close_recorded = false;
        /** Where it is in `handles_`. */
        std::list<Handle>::iterator place{};
        /** The ids of the processes that repeat an ioctl on it. */
        std::set<int> repeaters{};
    };
    /** Who waits for a file to wake them. */
    struct Sleepers {
        std::set<fuse_req_t> reads;
        std::set<Handle*> pollers;
    };
    struct Ioctl {
        unsigned request;
        std::string in;
        /** How many bytes the caller takes. */
        std::size_t room;
        int pid;
    };
    /** The entries of an open directory when it was last read from the start. */
    using Listing = std::vector<std::pair<std::string, struct stat>>;
    struct Operations;

    struct stat stat_of_link(std::uint64_t inode) const;

    void lookup(fuse_req_t request, fuse_ino_t parent, const char* name);
    void getattr(fuse_req_t request, fuse_ino_t inode);
    void setattr(fuse_req_t request, fuse_ino_t inode, const struct stat& wanted, int which);
    void readlink(fuse_req_t request, fuse_ino_t inode) const;
    void opendir(fuse_req_t request, fuse_file_info info);
    void readdir(fuse_req_t request, fuse_ino_t inode, std::size_t size, off_t offset, Listing& listing);
    Listing list(const Directory& directory);
    void open(fuse_req_t request, File& file, fuse_file_info info, int result);
    void refuse_creation(fuse_req_t request, fuse_ino_t parent, const std::string& name, int error, bool record);
    // `result` is 0, or minus the errno with which the act fails at once.
    void read(fuse_req_t request, Handle& handle, std::size_t size, off_t offset, int result);
    void write(fuse_req_t request, Handle& handle, const std::string& text, int result);
    void ioctl(fuse_req_t request, Handle& handle, const Ioctl& call, int result);
    void caught_ioctl(fuse_req_t request, Handle& handle, CaughtIoctl caught, int result);
    int perform_ioctl(OpenFile& open, const Ioctl& call, int result, std::string& out);
    void poll(fuse_req_t request, Handle& handle, fuse_pollhandle* poller);
    void flush(fuse_req_t request, Handle& handle);
    void release(fuse_req_t request, Handle* handle);

    /**
     * Perform an act now, or after the path's delay. The request is the one that it answers. A signal that comes during
     * the delay makes the act fail with EINTR.
     */
    template <class Perform>
    void act(fuse_req_t request, const std::string& path, const char* op, Perform perform);
    void end_delay(fuse_req_t request, int result);
    /** The act takes place, for the faults and the waits. Returns `result`, or minus the errno of a fault. */
    int begin(const std::string& path, const char* op, int result);
    /** A caller that waits for the filter is not woken by a signal that it handles. Look for one during the delay. */
    void look_for_signal(fuse_req_t request, const CaughtIoctl& caught);
    /** Answers the read unless it must still wait. */
    bool try_again(fuse_req_t request, const Waiting& waiting, int result);
    /** The same for a read that waits; forgets it once it is answered. */
    void wake(fuse_req_t request, int result);
    /** Who waits for this file. It reports from now on when it wakes them. */
    Sleepers& sleepers(File& file);
    void notify(Handle& handle);
    static bool is_dead(const OpenFile& open) { return open.incarnation != open.file.incarnation; }
    static unsigned poll_bits(OpenFile& open);
    void answer_read(fuse_req_t request, const OpenFile& open, int result, const std::string& text) const;

    Model& model_;
    Recorder& recorder_;
    Faults& faults_;
    fuse_session* session_ = nullptr;
    /** Of the request that is being served. */
    std::vector<char> buffer_;
    std::list<Handle> handles_;
    std::map<fuse_req_t, Waiting> waiting_;
    std::map<fuse_req_t, Delayed> delayed_;
    std::unordered_map<File*, Sleepers> sleepers_;
    /** The files that have woken those who wait. */
    std::vector<File*> woken_;
    /** The requests whose processes have got a signal. */
    std::vector<fuse_req_t> interrupted_;
    bool ending_ = false;
    std::time_t started_ = std::time(nullptr);
    // The program sees them as root.
    uid_t user_ = geteuid();
    gid_t group_ = getegid();
};

}  // namespace VelmorSim
