#include "Repetition.h"

namespace hostlink {

namespace {

// FNV-1a, 32 bits: its offset basis and prime.
constexpr uint32_t digestBasis = 0x811C9DC5;
constexpr uint32_t digestPrime = 0x01000193;

uint32_t digestOf(const uint8_t* packet, uint16_t length) {
    uint32_t digest = digestBasis;
    for (uint32_t i = 0; i < length; ++i) digest = (digest ^ packet[i]) * digestPrime;
    return digest;
}

bool beginsALife(const uint8_t* packet) {
    return hostLinkPacketGetFrameId(packet) == 0 && hostLinkPacketGetPacketId(packet) == 0;
}

// Ids go round: of the other 255, the 127 next ones count as drawn after `taken`, the rest as drawn before it.
bool isFromAnotherRound(uint8_t id, uint8_t taken) {
    const auto drawnAfter = static_cast<uint8_t>(id - taken);
    return drawnAfter >= 128 && (id == 0 || drawnAfter != 255);
}

} // namespace

bool isRepetition(const HostLinkHostLast& last, const uint8_t* packet, uint16_t length, uint32_t now, uint16_t window) {
    if (last.length != length || beginsALife(packet)) return false;
    return now - last.at < window && last.digest == digestOf(packet, length);
}

void rememberTaken(HostLinkHostLast& last, const uint8_t* packet, uint16_t length, uint32_t now) {
    last.digest = digestOf(packet, length);
    last.at = now;
    last.length = length;
    last.frameId = hostLinkPacketGetFrameId(packet);
}

void noteHeard(HostLinkHostLast& last, const uint8_t* packet) {
    if (isFromAnotherRound(hostLinkPacketGetFrameId(packet), last.frameId)) last.length = 0;
}

void forgetOld(HostLinkHostLast& last, uint32_t now, uint16_t window) {
    if (now - last.at >= window) last.length = 0;
}

} // namespace hostlink
