// SPDX-License-Identifier: MIT
#include "families/recording.h"

#include <gmock/gmock.h>
#include <unistd.h>
#include <algorithm>
#include <fstream>
#include <iterator>

#include "support/calls.h"

namespace families {

namespace {

constexpr char started[] = "/sys/the/board/has/started";

/** The acts of the board's start depend on what the PWMs were set to. */
void reset_pwms() {
    for (const std::string pwm : {"/sys/devices/platform/mxc_pwm.1/", "/sys/devices/platform/mxc_pwm.2/"}) {
        std::ofstream(pwm + "duty") << 0;
        std::ofstream(pwm + "period") << 1000000;
        std::ofstream(pwm + "duty") << 500000;
    }
}

}  // namespace

Recording record(const std::string& before, const testing_support::Scenario& call,
                 const testing_support::Recorder& recorder) {
    reset_pwms();
    set_hardware(before);
    const auto start_and_call = [&call] {
        testing_support::query_es();
        const std::ifstream mark(started);
        return call();
    };
    Recording recording = {testing_support::run_in_child(recorder, start_and_call), {}};
    const auto mark = std::ranges::find(recording.acts, std::string("open ") + started + " r = ENOENT");
    EXPECT_NE(mark, recording.acts.end());
    recording.start.assign(recording.acts.begin(), mark);
    recording.acts.erase(recording.acts.begin(), mark == recording.acts.end() ? mark : std::next(mark));
    return recording;
}

void give_lines_back() {
    const std::string gpio = "/sys/class/gpio/";
    for (int pin = 37; pin <= 43; ++pin) {
        if (access((gpio + "gpio" + std::to_string(pin)).c_str(), F_OK) != 0) continue;
        std::ofstream(gpio + "unexport") << pin << std::flush;
    }
}

}  // namespace families
