// SPDX-License-Identifier: MIT
#include "run/signals.h"

namespace VelmorSim {

void Signals::take() {
    sigemptyset(&set_);
    for (std::size_t i = 0; i < all.size(); i++) {
        sigaction(all.at(i), nullptr, &actions_.at(i));
        if (all.at(i) != SIGPIPE) sigaddset(&set_, all.at(i));
    }
    // The device must go on when the reader of its messages has gone.
    std::signal(SIGPIPE, SIG_IGN);  // NOLINT(cert-err33-c)
    sigprocmask(SIG_BLOCK, &set_, &mask_);
}

void Signals::give_back() const {
    for (std::size_t i = 0; i < all.size(); i++) sigaction(all.at(i), &actions_.at(i), nullptr);
    sigprocmask(SIG_SETMASK, &mask_, nullptr);
}

}  // namespace VelmorSim
