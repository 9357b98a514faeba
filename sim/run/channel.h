// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>

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
    /** Received with it; the receiver owns it. */
    int descriptor = -1;
};

/** Send it, with the message's descriptor where there is one. False when nobody listens. */
bool send_message(int channel, const Message& message);
/** The next message; nothing when there is none now, or the other side has gone (`gone`). */
std::optional<Message> receive_message(int channel, bool wait, bool& gone);

}  // namespace VelmorSim
