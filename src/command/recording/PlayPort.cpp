#include "PlayPort.h"

#include <array>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>
#include <terminal/PseudoTerminal.h>

#include "UartReader.h"

namespace command {

namespace {

constexpr std::chrono::seconds writePatience{5};

class Terminal : public PlayPort {
public:
    explicit Terminal(const std::string& link) : terminal(link), name(link.empty() ? terminal.path() : link) {}

    const std::string& path() const override { return name; }
    bool say(const Step& step) override {
        const ByteArray& bytes = step.bytes;
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::write(terminal.descriptor(), bytes.data() + sent, bytes.size() - sent);
            if (count > 0)
                sent += static_cast<std::size_t>(count);
            else if (errno != EAGAIN || !waitFor(POLLOUT, writePatience))
                return false;
        }
        return true;
    }
    ByteArray read(std::chrono::milliseconds within) override {
        std::array<unsigned char, 4096> bytes;
        if (!waitFor(POLLIN, within)) return {};
        const ssize_t count = ::read(terminal.descriptor(), bytes.data(), bytes.size());
        return count > 0 ? ByteArray(bytes.begin(), bytes.begin() + count) : ByteArray();
    }
    bool isGone() const override { return false; } // programs come and go

private:
    // Whatever closes the terminal meanwhile has the mark taken off that it may have left.
    bool waitFor(short events, std::chrono::milliseconds time) {
        std::array<pollfd, 2> entries{{{terminal.descriptor(), events, 0}, {terminal.noticeDescriptor(), POLLIN, 0}}};
        if (::poll(entries.data(), entries.size(), static_cast<int>(time.count())) <= 0) return false;
        if (entries[1].revents != 0) terminal.handleNotice();
        return entries[0].revents != 0;
    }

    PseudoTerminal terminal;
    const std::string name;
};

class SerialPort : public PlayPort {
public:
    SerialPort(const std::string& device, int baud, const std::string& parity)
        : name(device), port(device, baud, parity, [this](const ByteArray& bytes) { take(bytes); }) {}

    const std::string& path() const override { return name; }
    bool say(const Step& step) override { return port.write(step.bytes); }
    ByteArray read(std::chrono::milliseconds within) override {
        std::unique_lock lock(mutex);
        came.wait_for(lock, within, [this] { return !unread.empty() || lost; });
        return std::exchange(unread, {});
    }
    bool isGone() const override {
        const std::lock_guard lock(mutex);
        return lost;
    }

private:
    void take(const ByteArray& bytes) {
        const std::lock_guard lock(mutex);
        unread.insert(unread.end(), bytes.begin(), bytes.end());
        lost = bytes.empty();
        came.notify_all();
    }

    const std::string name;
    mutable std::mutex mutex; // guards the two below
    std::condition_variable came;
    ByteArray unread;
    bool lost = false;
    UartReader port; // the last: its thread uses all the others
};

} // namespace

std::unique_ptr<PlayPort> makeTerminal(const std::string& link) {
    return std::make_unique<Terminal>(link);
}

std::unique_ptr<PlayPort> openSerialPort(const WireOptions& wire) {
    const hostlink::Uart usual;
    return std::make_unique<SerialPort>(wire.uart.value_or(""), wire.baud.value_or(usual.baud),
                                        wire.parity.value_or(usual.parity));
}

} // namespace command
