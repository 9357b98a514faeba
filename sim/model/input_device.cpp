// SPDX-License-Identifier: MIT
#include "model/input_device.h"

#include <poll.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace VelmorSim {

namespace {

constexpr std::int64_t million = 1000000;

template <class T>
void append(std::string& out, T value) {
    const auto start = out.size();
    out.resize(start + sizeof value);
    std::memcpy(out.data() + start, &value, sizeof value);
}

std::string bit_field(const std::set<unsigned>& set) {
    constexpr unsigned byte = 8;
    constexpr std::size_t word = sizeof(std::uint64_t);
    std::string field;
    for (const unsigned bit : set) {
        if (field.size() <= bit / byte) field.resize((bit / byte / word + 1) * word);
        field[bit / byte] = static_cast<char>(static_cast<unsigned char>(field[bit / byte]) | 1U << bit % byte);
    }
    return field;
}

/** Copies as many bytes as there is room for and, like the kernel, returns their count. */
int give(const std::string& bytes, std::size_t room, std::string& out) {
    out = bytes.substr(0, room);
    return static_cast<int>(out.size());
}

}  // namespace

int InputDevice::open(OpenFile& open) {
    queues_[&open];
    return 0;
}

void InputDevice::release(OpenFile& open) {
    queues_.erase(&open);
    if (grabbed_by_ == &open) grabbed_by_ = nullptr;
}

int InputDevice::read(OpenFile& open, std::size_t size, std::size_t /*offset*/, std::string& out) {
    const std::size_t record = open.narrow ? 16 : 24;
    if (size < record) return -EINVAL;
    auto& queue = queues_[&open];
    if (queue.empty()) return -EAGAIN;
    while (!queue.empty() && out.size() + record <= size) {
        const Event& event = queue.front();
        if (open.narrow) {
            append(out, static_cast<std::int32_t>(event.time / million));
            append(out, static_cast<std::int32_t>(event.time % million));
        } else {
            append(out, event.time / million);
            append(out, event.time % million);
        }
        append(out, event.type);
        append(out, event.code);
        append(out, event.value);
        queue.pop_front();
    }
    return 0;
}

int InputDevice::write(OpenFile& /*open*/, std::string_view text) {
    return static_cast<int>(text.size());
}

int InputDevice::ioctl(OpenFile& open, unsigned request, std::string_view in, std::size_t room, std::string& out) {
    constexpr unsigned group = 'E';
    constexpr unsigned first_bits = 0x20;
    constexpr unsigned first_axis = 0x40;
    if (_IOC_TYPE(request) != group) return -EINVAL;
    const unsigned number = _IOC_NR(request);
    switch (number) {
        case _IOC_NR(EVIOCGVERSION): {
            std::string version;
            append(version, EV_VERSION);
            give(version, room, out);
            return 0;
        }
        case _IOC_NR(EVIOCGID): give(std::string(sizeof(input_id), '\0'), room, out); return 0;
        case _IOC_NR(EVIOCGNAME(0)): return give(label_ + '\0', room, out);
        case _IOC_NR(EVIOCGPROP(0)): return give(std::string(sizeof(std::uint64_t), '\0'), room, out);
        case _IOC_NR(EVIOCGKEY(0)): {
            auto field = bit_field(down_);
            field.resize(std::max<std::size_t>(field.size(), KEY_CNT / 8));
            return give(field, room, out);
        }
        // There is no force feedback, repetition, location or serial number.
        case _IOC_NR(EVIOCGEFFECTS): give(std::string(sizeof(int), '\0'), room, out); return 0;
        // Linux says ENOSYS, which FUSE would turn into this.
        case _IOC_NR(EVIOCGREP): return -ENOTTY;
        case _IOC_NR(EVIOCGPHYS(0)):
        case _IOC_NR(EVIOCGUNIQ(0)): return -ENOENT;
        case _IOC_NR(EVIOCGLED(0)):
        case _IOC_NR(EVIOCGSND(0)):
        case _IOC_NR(EVIOCGSW(0)): return give(std::string(sizeof(std::uint64_t), '\0'), room, out);
        case _IOC_NR(EVIOCGRAB): return grab(open, in);
        default: break;
    }
    if (number >= first_bits && number < first_bits + EV_CNT) return give(bits(number - first_bits), room, out);
    if (number < first_axis || number >= first_axis + ABS_CNT || _IOC_DIR(request) != _IOC_READ) return -EINVAL;
    if (axes_.empty()) return -EINVAL;
    const auto axis = axes_.find(number - first_axis);
    std::string info;
    append(info, axis == axes_.end() ? input_absinfo{} : axis->second);
    give(info, room, out);
    return 0;
}

int InputDevice::grab(const OpenFile& open, std::string_view in) {
    std::int32_t wanted = 0;
    if (in.size() < sizeof wanted) return -EFAULT;
    std::memcpy(&wanted, in.data(), sizeof wanted);
    if (wanted != 0 && grabbed_by_ != nullptr) return -EBUSY;
    if (wanted == 0 && grabbed_by_ != &open) return -EINVAL;
    grabbed_by_ = wanted != 0 ? &open : nullptr;
    return 0;
}

std::string InputDevice::bits(unsigned type) const {
    std::set<unsigned> set;
    if (type == 0) {
        set.insert(EV_SYN);
        if (!axes_.empty()) set.insert(EV_ABS);
        if (!keys_.empty()) set.insert(EV_KEY);
    } else if (type == EV_ABS) {
        for (const auto& [axis, info] : axes_) set.insert(axis);
    } else if (type == EV_KEY) {
        set = keys_;
    }
    auto field = bit_field(set);
    field.resize(std::max(field.size(), sizeof(std::uint64_t)));
    return field;
}

unsigned InputDevice::poll(OpenFile& open) const {
    const auto queue = queues_.find(&open);
    return queue != queues_.end() && !queue->second.empty() ? POLLIN | POLLRDNORM | POLLOUT | POLLWRNORM
                                                            : POLLOUT | POLLWRNORM;
}

void InputDevice::move(unsigned axis, std::int32_t value) {
    if (axes_[axis].value == value) return;
    axes_[axis].value = value;
    happen(EV_ABS, axis, value);
    happen(EV_SYN, SYN_REPORT, 0);
}

void InputDevice::press(unsigned key, bool down) {
    if ((down_.contains(key)) == down) return;
    if (down) {
        down_.insert(key);
    } else {
        down_.erase(key);
    }
    happen(EV_KEY, key, down ? 1 : 0);
    happen(EV_SYN, SYN_REPORT, 0);
}

// As in Linux: room for eight packets, each of the axes, a SYN_REPORT and seven other events.
std::size_t InputDevice::most_events() const {
    return std::bit_ceil(8 * (axes_.size() + 8));
}

void InputDevice::happen(unsigned type, unsigned code, std::int32_t value) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const Event event{std::chrono::duration_cast<std::chrono::microseconds>(now).count(),
                      static_cast<std::uint16_t>(type), static_cast<std::uint16_t>(code), value};
    for (auto& [open, queue] : queues_) {
        if (grabbed_by_ != nullptr && grabbed_by_ != open) continue;
        queue.push_back(event);
        if (queue.size() < most_events()) continue;
        // As in Linux, a reader that is too slow is told, and keeps only the newest event.
        queue = {{event.time, EV_SYN, SYN_DROPPED, 0}, event};
    }
    wake();
}

}  // namespace VelmorSim
