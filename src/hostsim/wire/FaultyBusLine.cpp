#include "FaultyBusLine.h"

#include <utility>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace faultywire {

using hostsim::HostOnBus;
using hostsim::Time;

namespace {

// The packet at the beginning of what was read; empty when there is none.
ByteArray packetIn(const ByteArray& bytes) {
    if (!HostLinkPacket::verify(bytes)) return {};
    return ByteArray(bytes.begin(), bytes.begin() + hostLinkPacketGetLength(bytes.data()));
}

} // namespace

void FaultyBusLine::write(const ByteArray& bytes, Time now) {
    const int type = HostLinkPacket::verify(bytes) ? HostLinkPacket::frameType(bytes) : -1;
    refusal.clear();
    answerFault = WireFault::None;
    WireFault fault = WireFault::None;
    if (type == FRT_Message) {
        fault = chance.drawOf({WireFault::Silence, WireFault::Nack});
        answerFault = chance.drawOf({WireFault::LostAnswer, WireFault::LateAnswer});
    } else if (type == FRT_Response) {
        fault = chance.drawOf({WireFault::LostAnswer});
    }
    if (fault == WireFault::None) fault = chance.drawByteFault();
    due = now + chance.faults().lateBy;

    Entry entry = chance.damage(EntryKind::ToHost, bytes, fault);
    if (fault != WireFault::None && !hitsByte(fault)) entry.arrived.clear();
    const ByteArray arrived = entry.arrived;
    journal.add(std::move(entry));
    if (!arrived.empty()) {
        host.write(arrived, now);
        return;
    }
    answerFault = fault; // nobody but this line answers
    if (fault == WireFault::Nack) {
        refusal = HostLinkRspFrame::create(hostLinkPacketGetFrameId(bytes.data()), AcknowledgeType::Nack);
    }
}

ByteArray FaultyBusLine::read(size_t count, Time now) {
    const bool isLate = answerFault == WireFault::LateAnswer && now < due;
    const bool isLost = answerFault == WireFault::LostAnswer || answerFault == WireFault::Silence;
    ByteArray whole =
        isLate || answerFault == WireFault::Silence ? ByteArray(count, HostOnBus::idleByte) : answer(count, now);
    const ByteArray packet = packetIn(whole);
    if (isLate || isLost) {
        Entry entry{EntryKind::ToModule, {}, answerFault, 0, packet, {}};
        journal.add(std::move(entry));
        return ByteArray(count, HostOnBus::idleByte);
    }
    if (packet.empty()) return whole;
    Entry entry = chance.damage(EntryKind::ToModule, packet, chance.drawByteFault());
    ByteArray seen = entry.arrived;
    seen.resize(count, HostOnBus::idleByte);
    entry.arrived = seen;
    journal.add(std::move(entry));
    return seen;
}

ByteArray FaultyBusLine::answer(size_t count, Time now) {
    if (refusal.empty()) return host.read(count, now);
    ByteArray bytes = refusal;
    bytes.resize(count, HostOnBus::idleByte);
    return bytes;
}

} // namespace faultywire
