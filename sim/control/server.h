// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>

#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/descriptor.h"
#include "common/timers.h"
#include "control/commands.h"
#include "control/condition.h"

namespace VelmorSim {

/** Answers the second terminals: one JSON line with a command from each, JSON lines back. */
class Server {
public:
    /** Throws std::system_error where the name is taken. */
    Server(const std::string& run, Commands& commands);

    void add_to(std::vector<pollfd>& events) const;
    void serve(const std::vector<pollfd>& events);
    /** Something of the device may have changed. */
    void settle();
    /** Tell everybody that the run is over. */
    void finish();

private:
    struct Client {
        Descriptor socket;
        std::string received{};
        std::optional<Condition> awaited{};
        std::optional<Timers::Id> deadline{};
        /** The watched names with what was last told. */
        std::vector<std::pair<std::string, std::string>> watched{};
        bool done = false;
    };

    void accept_client();
    void receive(Client& client);
    void command(Client& client, const Words& words);
    void settle(Client& client);
    static void tell(Client& client, const std::string& text);
    static void end(Client& client, bool good, const std::string& text);

    Commands& commands_;
    Descriptor listener_;
    std::list<Client> clients_;
};

}  // namespace VelmorSim
