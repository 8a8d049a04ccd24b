#include "CaptureSink.h"

#include <cerrno>
#include <chrono>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <capture/PcapngWriter.h>

#include "command/UsageError.h"

namespace command {

namespace {

constexpr mode_t asUsual = 0666;

uint64_t nanosecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

} // namespace

CaptureSink::CaptureSink(const std::string& path)
    : name(path), file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, asUsual)) {
    if (!file) throw UsageError("cannot write " + path + ": " + std::generic_category().message(errno));
    capture::Bytes head;
    capture::appendSection(head, "hostlink");
    put(head);
    if (!wrong.empty()) throw UsageError(wrong);
}

uint32_t CaptureSink::add(const capture::Interface& interface) {
    const std::lock_guard lock(mutex);
    capture::Bytes block;
    capture::appendInterface(block, interface);
    put(block);
    return interfaces++;
}

void CaptureSink::write(uint32_t interface, capture::Direction direction, const capture::Bytes& bytes) {
    const std::lock_guard lock(mutex); // also around the time: packets stand in its order
    capture::Packet packet;
    packet.time = nanosecondsNow();
    packet.direction = direction;
    packet.bytes = bytes;
    putPacket(packet, interface);
}

void CaptureSink::write(const capture::Packet& packet, uint32_t interface) {
    const std::lock_guard lock(mutex);
    putPacket(packet, interface);
}

void CaptureSink::putPacket(const capture::Packet& packet, uint32_t interface) {
    capture::Bytes block;
    std::string_view comment;
    if (!packet.comments.empty()) comment = packet.comments.front();
    capture::appendPacket(
        block, {interface, packet.time, packet.direction, packet.bytes.data(), packet.bytes.size(), comment});
    put(block);
    ++written;
}

void CaptureSink::put(const capture::Bytes& block) {
    for (std::size_t done = 0; done < block.size() && wrong.empty();) {
        const ssize_t count = descriptor::repeatInterrupted(
            [&] { return ::write(file.get(), block.data() + done, block.size() - done); });
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else
            wrong = "cannot write " + name + ": " + std::generic_category().message(errno);
    }
}

uint64_t CaptureSink::packets() const {
    const std::lock_guard lock(mutex);
    return written;
}

std::string CaptureSink::problem() const {
    const std::lock_guard lock(mutex);
    return wrong;
}

} // namespace command
