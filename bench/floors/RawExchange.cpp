#include "RawExchange.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace bench {

RawExchange::RawExchange(const std::string& path, Wake when)
    : wake(when), port(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)), end(eventfd(0, EFD_CLOEXEC)) {
    if (port < 0 || end < 0) throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    reader = std::thread([this] { readLoop(); });
}

RawExchange::~RawExchange() {
    const uint64_t one = 1;
    if (write(end, &one, sizeof one) == sizeof one) reader.join();
    close(end);
    close(port);
}

void RawExchange::readLoop() {
    for (;;) {
        pollfd entries[] = {{port, POLLIN, 0}, {end, POLLIN, 0}};
        if (poll(entries, 2, -1) < 0 || entries[1].revents != 0) return;
        const ssize_t count = read(port, pending.data() + held, pending.size() - held);
        if (count <= 0) return;
        held += static_cast<size_t>(count);
        if (held >= answer.size()) handOver();
    }
}

void RawExchange::handOver() {
    {
        const std::lock_guard lock(mutex);
        std::copy_n(pending.begin(), answer.size(), answer.begin());
        answered = true;
        if (wake == Wake::UnderTheLock) arrived.notify_all();
    }
    if (wake == Wake::Unlocked) arrived.notify_all();
    held = 0;
}

bool RawExchange::exchange(const std::vector<uint8_t>& packet) {
    if (write(port, packet.data(), packet.size()) != static_cast<ssize_t>(packet.size())) return false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    std::unique_lock lock(mutex);
    if (!arrived.wait_until(lock, deadline, [this] { return answered; })) return false;
    answered = false;
    return answer[4] >> 6 == 2;
}

} // namespace bench
