// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>

#include "common/descriptor.h"

namespace VelmorSim {

/** A message between the simulator and the processes inside. */
struct Message {
    enum class Kind : int {
        /** Carries a descriptor: the mounted /dev/fuse. */
        fuse,
        /** Carries a descriptor: the inner "/proc". */
        proc,
        /** Carries a descriptor: the listener for the system calls that the filter stops. `number` is st_dev there. */
        listener,
        /** `text` holds a CaughtIoctl. To the inside: repeat it. Back: what has become of it. */
        ioctl,
        /** The program cannot be run; `number` is the errno. */
        not_run,
        /** `text` says why the device cannot start. */
        failed,
        /** A container's masks forbid the "/proc" of a new PID namespace: start again without one. */
        no_proc,
        /** The program has ended; `number` is its wait status. */
        ended,
        /** To the inside: `number` is a signal for the program. */
        signal,
        /** To the inside: end everything. */
        leave,
    };
    Kind kind = Kind::failed;
    int number = 0;
    std::array<char, 512> text{};
    Descriptor descriptor{};
};

/** One end of the connection between them. */
class Channel {
public:
    /** Connect the two with each other; what they had open is closed. Throws std::system_error. */
    static void open(Channel& one, Channel& other);

    /** Send the message and close its descriptor here. False if the other end has gone. */
    bool send(Message message) const;
    /** The next message, or nothing if none has come. Closes this end if the other one has gone. */
    std::optional<Message> receive();

    bool is_open() const { return end_.is_open(); }
    int descriptor() const { return end_.get(); }

private:
    Descriptor end_;
};

}  // namespace VelmorSim
