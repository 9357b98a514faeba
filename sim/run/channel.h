// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>

#include "common/descriptor.h"

namespace VelmorSim {

/** What the simulator and the processes that it starts tell each other. */
struct Message {
    enum class Kind : int {
        /** With a descriptor: the mounted /dev/fuse. */
        fuse,
        /** With a descriptor: the inner "/proc". */
        proc,
        /** With a descriptor: the listener for the restart system call. */
        listener,
        /** `number`: the errno; the program cannot be run. */
        not_run,
        /** `text` says why the device cannot start. */
        failed,
        /** No new "/proc" for a PID namespace of its own (a container's masks): to be tried without. */
        no_proc,
        /** `number`: its wait status. */
        ended,
        /** To the inside: `number` is a signal for the program. */
        signal,
        /** To the inside: everything is recorded, go. */
        leave,
    };
    Kind kind = Kind::failed;
    int number = 0;
    std::array<char, 512> text{};
    Descriptor descriptor{};
};

/** One end of the talk between them. */
class Channel {
public:
    /** Make these the two ends. Throws std::system_error. */
    static void open(Channel& one, Channel& other);

    /** Send it, and close its descriptor here. False when nobody listens. */
    bool send(Message message) const;
    /** The next message, or nothing when there is none now. Closes when the other side has gone. */
    std::optional<Message> receive();

    bool is_open() const { return end_.is_open(); }
    int descriptor() const { return end_.get(); }

private:
    Descriptor end_;
};

}  // namespace VelmorSim
