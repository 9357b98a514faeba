// SPDX-License-Identifier: MIT
#include "control/server.h"

#include <fnmatch.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

#include "common/json_text.h"
#include "control/address.h"
#include "model/model.h"

namespace VelmorSim {

namespace {

constexpr std::size_t longest_command = 1U << 16U;
/** How far, in bytes, a watch may fall behind the changes. */
constexpr std::size_t most_behind = 16U << 20U;

/** The word itself, unless it is a pattern that matches names of values. */
std::vector<std::string> matching_names(Model& model, const std::string& word) {
    std::vector<std::string> names;
    if (model.value(word) == nullptr) {
        for (const auto& [name, value] : model.values()) {
            if (fnmatch(word.c_str(), name.c_str(), 0) == 0) names.push_back(name);
        }
    }
    if (names.empty()) names.push_back(word);
    return names;
}

}  // namespace

Server::Server(const std::string& run, Commands& commands) : commands_(commands) {
    constexpr int queue = 16;
    const Address address(run);
    listener_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener_.is_open() || bind(listener_.get(), address.socket(), address.length) != 0 ||
        listen(listener_.get(), queue) != 0)
        throw std::system_error(errno, std::system_category(), "cannot name the run " + run);
}

void Server::add_to(std::vector<pollfd>& events) const {
    events.push_back({listener_.get(), POLLIN, 0});
    for (const auto& client : clients_)
        events.push_back(
            {client.socket.get(), static_cast<short>(client.unsent.empty() ? POLLIN : POLLIN | POLLOUT), 0});
}

void Server::serve(const std::vector<pollfd>& events) {
    for (const auto& event : events) {
        if (event.revents == 0) continue;
        if (event.fd == listener_.get()) accept_client();
        for (auto& client : clients_) {
            if (client.socket.get() != event.fd) continue;
            if ((event.revents & POLLOUT) != 0) flush(client);
            if ((event.revents & ~POLLOUT) == 0) continue;
            receive(client);
            report();
        }
    }
}

void Server::accept_client() {
    Descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (is_own(socket.get())) clients_.push_back({.socket = std::move(socket)});
}

void Server::receive(Client& client) {
    std::array<char, 4096> bytes{};
    const auto length = recv(client.socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    // The event may be that of a client that had this descriptor before.
    if (length < 0 && errno == EAGAIN) return;
    if (length <= 0) {
        client.gone = true;
        return;
    }
    if (client.has_command) return;
    client.received.append(bytes.data(), static_cast<std::size_t>(length));
    const auto end_of_line = client.received.find('\n');
    if (end_of_line == std::string::npos) {
        if (client.received.size() > longest_command) {
            client.has_command = true;
            end(client, false, "a command may have " + std::to_string(longest_command) + " bytes at most");
        }
        return;
    }
    client.has_command = true;
    client.received.resize(end_of_line);
    Words words;
    try {
        words = parse_json(client.received).get<Words>();
    } catch (const std::exception&) {
        end(client, false, "the command is not a JSON list of words");
        return;
    }
    try {
        command(client, words);
    } catch (const std::exception& error) {
        end(client, false, error.what());
    }
}

void Server::command(Client& client, const Words& words) {
    if (words.empty()) throw std::invalid_argument("the command is empty");
    if (words[0] == "watch") {
        if (words.size() < 2) throw std::invalid_argument(R"("watch" should be "watch PATTERN...")");
        for (std::size_t i = 1; i < words.size(); i++) {
            for (const auto& name : matching_names(commands_.model(), words[i]))
                client.watched.emplace_back(name, commands_.model().known_value(name).get());
        }
        for (const auto& [name, value] : client.watched) tell(client, value_line(name, value));
        client.most_unsent = client.unsent.size() + most_behind;
        return;
    }
    if (Wait::is_command(words[0])) {
        client.awaited.emplace(commands_, words);
        client.deadline = commands_.model().timers.after(client.awaited->longest(), [&client] {
            client.deadline.reset();
            const bool is_over = client.awaited->is_over();
            end(client, is_over, is_over ? "" : client.awaited->failure("timed out"));
            client.awaited.reset();
        });
        return;
    }
    end(client, true, commands_.run(words));
}

void Server::report(Client& client) {
    if (client.awaited && client.awaited->is_over()) {
        client.awaited.reset();
        end(client, true, "");
    }
    for (auto& [name, told] : client.watched) {
        const auto* value = commands_.model().value(name);
        const auto now = value == nullptr ? std::string() : value->get();
        if (now == told) continue;
        told = now;
        tell(client, value_line(name, now));
    }
    // Closing the connection tells the terminal that lines are missing.
    if (client.unsent.size() > client.most_unsent) client.gone = true;
}

void Server::report() {
    for (auto& client : clients_) {
        if (!client.done && !client.gone) report(client);
    }
}

void Server::settle() {
    report();
    for (auto client = clients_.begin(); client != clients_.end();) {
        if (!client->gone && !(client->done && client->unsent.empty())) {
            ++client;
            continue;
        }
        if (client->deadline) commands_.model().timers.cancel(*client->deadline);
        client = clients_.erase(client);
    }
}

void Server::finish() {
    listener_ = Descriptor();
    for (auto& client : clients_) {
        if (!client.has_command) client.gone = true;
        if (!client.done)
            end(client, !client.awaited, client.awaited ? client.awaited->failure("the run ended while") : "");
    }
    settle();
    // Terminals that read get the rest of their answers. One that does not read must not hold up the end.
    const auto latest = Timers::Clock::now() + std::chrono::seconds(1);
    while (!clients_.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(latest - Timers::Clock::now());
        std::vector<pollfd> events;
        add_to(events);
        if (left.count() <= 0 || poll(events.data(), events.size(), static_cast<int>(left.count())) <= 0) return;
        serve(events);
        settle();
    }
}

void Server::send_line(Client& client, const nlohmann::json& line) {
    client.unsent += line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    flush(client);
}

// Sends what the socket takes now. A terminal that does not read must not stop the device.
void Server::flush(Client& client) {
    std::size_t done = 0;
    while (done < client.unsent.size()) {
        const auto sent =
            send(client.socket.get(), &client.unsent[done], client.unsent.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0) {
            if (errno != EAGAIN) client.gone = true;
            break;
        }
        done += static_cast<std::size_t>(sent);
    }
    client.unsent.erase(0, done);
}

void Server::tell(Client& client, const std::string& text) {
    send_line(client, {{"text", text}});
}

void Server::end(Client& client, bool good, const std::string& text) {
    send_line(client, {{"good", good}, {"text", text}});
    client.done = true;
}

}  // namespace VelmorSim
