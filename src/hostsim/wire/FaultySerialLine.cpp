#include "FaultySerialLine.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace faultywire {

using hostsim::Time;

namespace {

bool isOfType(const ByteArray& packet, int type) {
    return HostLinkPacket::verify(packet) && HostLinkPacket::frameType(packet) == type;
}

} // namespace

void FaultySerialLine::fromModule(const ByteArray& bytes, Time now) {
    uncut.insert(uncut.end(), bytes.begin(), bytes.end());
    while (HostLinkPacket::verify(uncut)) {
        const auto end = uncut.begin() + hostLinkPacketGetLength(uncut.data());
        const ByteArray packet(uncut.begin(), end);
        uncut.erase(uncut.begin(), end);
        cross(packet, now);
    }
}

void FaultySerialLine::cross(const ByteArray& packet, Time now) {
    const bool isMessage = isOfType(packet, FRT_Message);
    WireFault fault =
        isMessage ? chance.drawOf({WireFault::Silence, WireFault::Nack}) : chance.drawOf({WireFault::LostAnswer});
    if (fault == WireFault::None) fault = chance.drawByteFault();
    Entry entry = chance.damage(EntryKind::ToHost, packet, fault);
    if (fault != WireFault::None && !hitsByte(fault)) entry.arrived.clear();
    const ByteArray arrived = entry.arrived;
    journal.add(std::move(entry));
    if (fault == WireFault::Nack) {
        late.push_back({now, HostLinkRspFrame::create(hostLinkPacketGetFrameId(packet.data()), AcknowledgeType::Nack),
                        WireFault::None});
    }
    if (!arrived.empty()) host.receive(arrived, now);
}

// False when the host has nothing to send by now. It sends one packet a write.
bool FaultySerialLine::takeFromHost(Time now) {
    const ByteArray packet = host.nextWrite(now);
    if (packet.empty()) return false;
    const bool isAnswer = isOfType(packet, FRT_Response);
    if (!isAnswer) {
        put(packet, chance.drawByteFault());
        return true;
    }
    WireFault fault = chance.drawOf({WireFault::LostAnswer, WireFault::LateAnswer});
    if (fault == WireFault::None) fault = chance.drawByteFault();
    Time due = now;
    if (fault == WireFault::LateAnswer) { // noted now, when the module begins to miss it
        due += chance.faults().lateBy;
        journal.add({EntryKind::ToModule, {}, fault, 0, packet, {}});
        fault = WireFault::None;
    }
    if (!late.empty()) due = std::max(due, late.back().due);
    late.push_back({due, packet, fault});
    return true;
}

void FaultySerialLine::put(const ByteArray& packet, WireFault fault) {
    Entry entry = chance.damage(EntryKind::ToModule, packet, fault);
    if (fault == WireFault::LostAnswer) entry.arrived.clear();
    ready.insert(ready.end(), entry.arrived.begin(), entry.arrived.end());
    journal.add(std::move(entry));
}

ByteArray FaultySerialLine::toModule(Time now) {
    while (takeFromHost(now)) {
    }
    while (!late.empty() && late.front().due <= now) {
        put(late.front().packet, late.front().fault);
        late.pop_front();
    }
    return std::exchange(ready, {});
}

std::optional<Time> FaultySerialLine::nextDeadline(Time now) const {
    std::optional<Time> next = host.nextDeadline(now);
    if (!late.empty() && (!next || late.front().due < *next)) next = late.front().due;
    return next;
}

} // namespace faultywire
