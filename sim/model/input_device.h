// SPDX-License-Identifier: MIT
#pragma once

#include <linux/input.h>

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "tree/file.h"

namespace VelmorSim {

/** An input event node: axes, which EVIOCGABS reads, and a queue of events for each open file. */
class InputDevice : public File {
public:
    explicit InputDevice(std::string label) : File(S_IFREG | 0660), label_(std::move(label)) {}

    bool is_stream() const override { return true; }
    int open(OpenFile& open) override;
    void release(OpenFile& open) override;
    int read(OpenFile& open, std::size_t size, std::size_t offset, std::string& out) override;
    int write(OpenFile& open, std::string_view text) override;
    int ioctl(OpenFile& open, unsigned request, std::string_view in, std::size_t room, std::string& out) override;
    unsigned poll(OpenFile& open) const override;

    void add_axis(unsigned axis, const input_absinfo& info) { axes_[axis] = info; }
    void add_key(unsigned key) { keys_.insert(key); }
    const input_absinfo& axis(unsigned axis) const { return axes_.at(axis); }
    void move(unsigned axis, std::int32_t value);
    void press(unsigned key, bool down);

    const std::string& label() const { return label_; }
    /** The codes of this event type that it has, one bit each; for type 0 the types. */
    std::string bits(unsigned type) const;
    std::size_t most_events() const;

private:
    struct Event {
        std::int64_t time;  // us since the epoch
        std::uint16_t type;
        std::uint16_t code;
        std::int32_t value;
    };

    int grab(const OpenFile& open, std::string_view in);
    void happen(unsigned type, unsigned code, std::int32_t value);

    std::string label_;
    std::map<unsigned, input_absinfo> axes_;
    std::set<unsigned> keys_;
    std::set<unsigned> down_;
    std::map<const OpenFile*, std::deque<Event>> queues_;
    /** The only open file that gets events, or null. */
    const OpenFile* grabbed_by_ = nullptr;
};

}  // namespace VelmorSim
