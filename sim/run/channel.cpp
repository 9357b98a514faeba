// SPDX-License-Identifier: MIT
#include "run/channel.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace VelmorSim {

bool send_message(int channel, const Message& message) {
    Message copy = message;
    iovec part{&copy, sizeof copy};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    if (message.descriptor >= 0) {
        packet.msg_control = control.data();
        packet.msg_controllen = control.size();
        cmsghdr* head = CMSG_FIRSTHDR(&packet);
        head->cmsg_level = SOL_SOCKET;
        head->cmsg_type = SCM_RIGHTS;
        head->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(head), &message.descriptor, sizeof(int));
    }
    return sendmsg(channel, &packet, MSG_NOSIGNAL) == sizeof message;
}

std::optional<Message> receive_message(int channel, bool wait, bool& gone) {
    Message message{};
    iovec part{&message, sizeof message};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    packet.msg_control = control.data();
    packet.msg_controllen = control.size();
    ssize_t length = -1;
    do {
        length = recvmsg(channel, &packet, MSG_CMSG_CLOEXEC | (wait ? 0 : MSG_DONTWAIT));
    } while (length < 0 && errno == EINTR);
    if (length < 0 && errno == EAGAIN) return std::nullopt;
    if (length != sizeof message) {
        gone = true;
        return std::nullopt;
    }
    message.descriptor = -1;
    const cmsghdr* head = CMSG_FIRSTHDR(&packet);
    if (head != nullptr && head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_RIGHTS)
        std::memcpy(&message.descriptor, CMSG_DATA(head), sizeof(int));
    return message;
}

}  // namespace VelmorSim
