// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <utility>

#include "common/descriptor.h"
#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "model/modem_lines.h"
#include "tree/file.h"

namespace VelmorSim {

namespace {

// The numbers of the ttymxc nodes.
constexpr std::int64_t uart_major = 207;
constexpr std::int64_t first_uart = 16;

constexpr std::array<std::pair<speed_t, int>, 8> speeds = {{{B1200, 1200},
                                                            {B2400, 2400},
                                                            {B4800, 4800},
                                                            {B9600, 9600},
                                                            {B19200, 19200},
                                                            {B38400, 38400},
                                                            {B57600, 57600},
                                                            {B115200, 115200}}};

/** A node that a pseudo-terminal replaces, because line settings need a terminal of the machine's kernel. */
class SerialNode : public File {
public:
    SerialNode() : File(S_IFREG | 0660) {}

    int read(OpenFile& /*open*/, std::size_t /*size*/, std::size_t /*offset*/, std::string& /*out*/) override {
        return -EIO;
    }
    int write(OpenFile& /*open*/, std::string_view /*text*/) override { return -EIO; }
};

/** The far end of a serial line. */
class Serial {
public:
    Serial() : far_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        std::array<char, 64> name{};
        if (!far_.is_open() || grantpt(descriptor()) != 0 || unlockpt(descriptor()) != 0 ||
            ptsname_r(descriptor(), name.data(), name.size()) != 0)
            return;
        // Held open, so that the line survives when the application closes it.
        near_ = Descriptor(open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios line{};
        if (!near_.is_open() || tcgetattr(near_.get(), &line) != 0) return;
        cfmakeraw(&line);
        cfsetspeed(&line, B9600);
        tcsetattr(near_.get(), TCSANOW, &line);
        node_ = name.data();
    }

    ModemLines lines;

    int descriptor() const { return far_.get(); }
    /** The pseudo-terminal's path, or empty if the machine has none. */
    const std::string& node() const { return node_; }
    const std::string& sent() const { return sent_; }

    // One read at a time: a program that never stops sending waits for the device's other work.
    void receive() {
        constexpr std::size_t most = 4096;
        std::array<char, most> bytes{};
        const auto length = read(descriptor(), bytes.data(), bytes.size());
        if (length > 0) sent_.append(bytes.data(), static_cast<std::size_t>(length));
        if (sent_.size() > most) sent_.erase(0, sent_.size() - most);
    }

    /** Send it to the program. Returns what would be right instead, or an empty text. */
    std::string send(const std::string& text) const {
        const auto sent = write(descriptor(), text.data(), text.size());
        if (sent == static_cast<ssize_t>(text.size())) return "";
        if (sent <= 0) return "sent later: the program has not read the lines before";
        return "shorter: the program has not read the lines before, so only " + std::to_string(sent) +
               " bytes were sent";
    }

    std::string speed() const {
        termios line{};
        if (tcgetattr(near_.get(), &line) != 0) return "0";
        const auto* const found = std::find_if(speeds.begin(), speeds.end(),
                                               [&](const auto& each) { return each.first == cfgetospeed(&line); });
        return std::to_string(found == speeds.end() ? 0 : found->second);
    }

private:
    Descriptor far_;
    Descriptor near_;
    std::string node_;
    std::string sent_;
};

}  // namespace

const Kind serial_kind("serial", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    auto& serial = model.part<Serial>();
    if (serial.node().empty()) return;
    auto& node = model.tree.add<SerialNode>(path);
    node.stand_in = serial.node();
    struct stat terminal {};
    if (stat(serial.node().c_str(), &terminal) == 0)
        model.modem_lines[{terminal.st_dev, terminal.st_ino}] = &serial.lines;
    serial.lines.name(model, name);
    if (const auto number = number_behind(path, "/dev/ttymxc")) {
        const auto port = "ttymxc" + std::to_string(*number);
        model.tree.class_device("/sys/class/tty/" + port, "/sys/devices/virtual/tty/" + port,
                                {.node = port, .major = uart_major, .minor = first_uart + *number});
    }
    model.readers[serial.descriptor()] = [&serial] { serial.receive(); };
    model.name(
        name + ".line", [] { return std::string(); },
        [&serial](std::string_view text) { return serial.send(std::string(text) + "\r\n"); });
    model.name(
        name + ".sent", [&serial] { return serial.sent(); }, nullptr);
    model.name(
        name + ".speed", [&serial] { return serial.speed(); }, nullptr);
});

}  // namespace VelmorSim
