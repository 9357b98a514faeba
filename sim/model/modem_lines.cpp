// SPDX-License-Identifier: MIT
#include "model/modem_lines.h"

#include <array>
#include <string_view>
#include <utility>

#include "model/model.h"

namespace VelmorSim {

namespace {

constexpr std::array<std::pair<const char*, int>, 6> modem_line_names = {{{"cts", TIOCM_CTS},
                                                                          {"dsr", TIOCM_DSR},
                                                                          {"cd", TIOCM_CAR},
                                                                          {"ri", TIOCM_RNG},
                                                                          {"rts", TIOCM_RTS},
                                                                          {"dtr", TIOCM_DTR}}};
constexpr int driven = TIOCM_RTS | TIOCM_DTR;

}  // namespace

void ModemLines::name(Model& model, const std::string& port) {
    for (const auto& [line, bit] : modem_line_names) {
        ComputedValue::Setter set;
        if ((bit & driven) == 0) {
            set = [this, bit = bit](std::string_view text) -> std::string {
                if (text != "0" && text != "1") return "0 or 1";
                state_ = text == "1" ? state_ | bit : state_ & ~bit;
                return {};
            };
        }
        model.name(
            std::string(port).append(".").append(line),
            [this, bit = bit] { return std::string((state_ & bit) != 0 ? "1" : "0"); }, std::move(set));
    }
}

void ModemLines::drive(unsigned request, int bits) {
    bits &= driven;
    switch (request) {
        case TIOCMBIS: state_ |= bits; break;
        case TIOCMBIC: state_ &= ~bits; break;
        default: state_ = (state_ & ~driven) | bits;
    }
}

}  // namespace VelmorSim
