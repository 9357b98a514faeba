// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>

#include <cstddef>
#include <list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/descriptor.h"
#include "common/timers.h"
#include "control/commands.h"
#include "control/wait.h"

namespace VelmorSim {

/**
 * Serves second terminals: each connection carries one command, as a JSON line, and gets JSON lines back. Bytes after
 * the command are ignored.
 */
class Server {
public:
    /** Listen under this name. Throws std::system_error if it is taken. */
    Server(const std::string& run, Commands& commands);

    void add_to(std::vector<pollfd>& events) const;
    void serve(const std::vector<pollfd>& events);
    /** Call when the device may have changed: reports new values, and ends the waits that are over. */
    void settle();
    /** The run is over: end every command that is still running. */
    void finish();

private:
    struct Client {
        Descriptor socket;
        std::string received{};
        /** The rest of what it sends is ignored. */
        bool has_command = false;
        std::optional<Wait> awaited{};
        std::optional<Timers::Id> deadline{};
        /** The watched names, each with the value that was last sent. */
        std::vector<std::pair<std::string, std::string>> watched{};
        /** Output that the socket has not taken yet. */
        std::string unsent{};
        /** A watch with more unsent output than this is closed. */
        std::size_t most_unsent = 0;
        /** The command has ended; what is unsent is still to be sent. */
        bool done = false;
        /** Drop it, whatever is unsent. */
        bool gone = false;
    };

    void accept_client();
    void receive(Client& client);
    void command(Client& client, const Words& words);
    /** Send each client what is new to it. */
    void report();
    void report(Client& client);
    static void send_line(Client& client, const nlohmann::json& line);
    static void flush(Client& client);
    static void tell(Client& client, const std::string& text);
    static void end(Client& client, bool good, const std::string& text);

    Commands& commands_;
    Descriptor listener_;
    std::list<Client> clients_;
};

}  // namespace VelmorSim
