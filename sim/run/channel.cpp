// SPDX-License-Identifier: MIT
#include "run/channel.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>

namespace VelmorSim {

namespace {

/** The part that is sent as bytes; the descriptor is ancillary data. */
constexpr std::size_t message_size = offsetof(Message, descriptor);

}  // namespace

void Channel::open(Channel& one, Channel& other) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::system_category(), "socketpair");
    one.end_ = Descriptor(ends[0]);
    other.end_ = Descriptor(ends[1]);
}

bool Channel::send(Message message) const {
    iovec part{&message, message_size};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    if (message.descriptor.is_open()) {
        packet.msg_control = control.data();
        packet.msg_controllen = control.size();
        cmsghdr* head = CMSG_FIRSTHDR(&packet);
        head->cmsg_level = SOL_SOCKET;
        head->cmsg_type = SCM_RIGHTS;
        head->cmsg_len = CMSG_LEN(sizeof(int));
        const int descriptor = message.descriptor.get();
        std::memcpy(CMSG_DATA(head), &descriptor, sizeof descriptor);
    }
    return sendmsg(end_.get(), &packet, MSG_NOSIGNAL) == message_size;
}

std::optional<Message> Channel::receive() {
    Message message;
    iovec part{&message, message_size};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &part;
    packet.msg_iovlen = 1;
    packet.msg_control = control.data();
    packet.msg_controllen = control.size();
    ssize_t length = -1;
    do {
        length = recvmsg(end_.get(), &packet, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    } while (length < 0 && errno == EINTR);
    if (length < 0 && errno == EAGAIN) return std::nullopt;
    if (length != message_size) {
        end_ = Descriptor();
        return std::nullopt;
    }
    const cmsghdr* head = CMSG_FIRSTHDR(&packet);
    int descriptor = -1;
    if (head != nullptr && head->cmsg_level == SOL_SOCKET && head->cmsg_type == SCM_RIGHTS)
        std::memcpy(&descriptor, CMSG_DATA(head), sizeof descriptor);
    message.descriptor = Descriptor(descriptor);
    return message;
}

}  // namespace VelmorSim
