// SPDX-License-Identifier: MIT
#include "tree/attribute.h"

#include <poll.h>

#include <cerrno>
#include <utility>

namespace VelmorSim {

int Attribute::read(OpenFile& open, std::size_t size, std::size_t offset, std::string& out) {
    if (offset == 0 || !open.snapshot) {
        std::string text;
        open.seen = changes_;
        if (raw_) {
            text = *raw_;
        } else if (const int result = show(text); result < 0) {
            return result;
        }
        open.snapshot = std::move(text);
    }
    if (offset < open.snapshot->size()) out = open.snapshot->substr(offset, size);
    return 0;
}

int Attribute::write(OpenFile& /*open*/, std::string_view text) {
    const int result = store(text);
    if (result < 0) return result;
    raw_.reset();
    return static_cast<int>(text.size());
}

unsigned Attribute::poll(OpenFile& open) const {
    const unsigned always = File::poll(open);
    return open.seen == changes_ ? always : always | POLLERR | POLLPRI;
}

std::string Attribute::get() const {
    std::string text;
    if (raw_) {
        text = *raw_;
    } else {
        show(text);
    }
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

void Attribute::show_raw(std::string text) {
    raw_ = std::move(text);
    notify();
}

int Attribute::store(std::string_view /*text*/) {
    return -EIO;
}

}  // namespace VelmorSim
