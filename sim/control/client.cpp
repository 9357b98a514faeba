// SPDX-License-Identifier: MIT
#include "control/client.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/descriptor.h"
#include "control/address.h"

namespace VelmorSim {

namespace {

int complain(const std::string& text) {
    std::cerr << "velmor-sim: " << text << "\n";
    return 1;
}

}  // namespace

int send_command(const std::string& run, const Words& words) {
    std::string name = run;
    if (name.empty()) {
        const auto names = running();
        if (names.empty()) return complain("no device is running; start one with \"velmor-sim run -- PROGRAM\"");
        if (names.size() > 1) {
            std::string all;
            for (const auto& each : names) all += "\n  " + each;
            return complain("more than one device is running; choose one with --name or " + std::string(name_variable) +
                            ":" + all);
        }
        name = names[0];
    }
    const Descriptor socket = reach(name);
    const auto line = nlohmann::json(words).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    static_cast<void>(send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL));

    std::string received;
    std::array<char, 65536> bytes{};
    for (auto length = recv(socket.get(), bytes.data(), bytes.size(), 0); length > 0;
         length = recv(socket.get(), bytes.data(), bytes.size(), 0)) {
        received.append(bytes.data(), static_cast<std::size_t>(length));
        for (auto end = received.find('\n'); end != std::string::npos; end = received.find('\n')) {
            const auto answer = nlohmann::json::parse(received.substr(0, end), nullptr, false);
            received.erase(0, end + 1);
            const auto text = answer.is_object() ? answer.value("text", "") : std::string();
            const bool is_last = answer.is_object() && answer.contains("good");
            if (is_last && !answer.value("good", false)) return complain(text);
            std::cout << text << std::flush;
            if (is_last || !std::cout) return 0;
        }
    }
    const auto names = running();
    if (std::find(names.begin(), names.end(), name) == names.end()) return complain("the run ended before it answered");
    return complain("output is missing: it was not read fast enough, and the run has closed the connection");
}

}  // namespace VelmorSim
