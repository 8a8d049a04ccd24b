#include "UartHost.h"

#include <algorithm>

namespace hostsim {

UartHost::UartHost(HostEndpoint& host, const UartOptions& options) : endpoint(host), reader(options.packetTimeout) {}

void UartHost::receive(const ByteArray& bytes, Time now) {
    endpoint.mutableCounts().bytesReceived += bytes.size();
    reader.add(endpoint.faults().toHost(bytes), now);
    while (const auto packet = reader.next()) take(*packet, now);
    endpoint.mutableCounts().bytesSkipped = reader.skipped();
}

void UartHost::take(const ByteArray& packet, Time now) {
    Answer answer = endpoint.takePacket(packet, now);
    if (answer.frame.empty()) return;
    const Time earliest = answers.empty() ? now : answers.back().due;
    answers.push_back({std::max(earliest, now + answer.delay), std::move(answer.frame)});
}

void UartHost::advance(Time now) {
    auto packet = reader.expire(now);
    while (packet) {
        take(*packet, now);
        packet = reader.next();
    }
    endpoint.mutableCounts().bytesSkipped = reader.skipped();
    endpoint.sending().advance(now);
}

ByteArray UartHost::nextWrite(Time now) {
    while (writes.empty() && makeWrites(now)) {
    } // noise may leave nothing of a packet
    if (writes.empty()) return {};
    ByteArray bytes = std::move(writes.front());
    writes.pop_front();
    return bytes;
}

// False when there is nothing to send by now.
bool UartHost::makeWrites(Time now) {
    if (!answers.empty()) {
        if (now < answers.front().due) return false;
        endpoint.noteAnswerSent(answers.front().frame);
        putOnLine(answers.front().frame, {});
        answers.pop_front();
        return true;
    }
    const ByteArray* packet = endpoint.sending().packet(now);
    if (packet == nullptr) return false;
    putOnLine(*packet, endpoint.faults().garbage(endpoint.sending().packetNumber()));
    endpoint.sending().packetSent(now);
    return true;
}

void UartHost::putOnLine(const ByteArray& packet, const ByteArray& before) {
    ByteArray bytes = before;
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    bytes = endpoint.faults().toModule(bytes);
    endpoint.mutableCounts().bytesSent += bytes.size();
    if (bytes.empty()) return;
    if (!endpoint.faults().splitsWrites()) {
        writes.push_back(std::move(bytes));
        return;
    }
    for (const unsigned char byte : bytes) writes.push_back({byte});
}

std::optional<Time> UartHost::nextDeadline(Time now) const {
    std::optional<Time> next = reader.nextDeadline();
    const auto consider = [&next](std::optional<Time> time) {
        if (time && (!next || *time < *next)) next = time;
    };
    consider(endpoint.sending().nextDeadline(now));
    if (!writes.empty()) consider(now);
    if (!answers.empty())
        consider(answers.front().due);
    else if (endpoint.sending().packet(now) != nullptr)
        consider(now);
    return next;
}

} // namespace hostsim
