#include "HostLinkHostBus.h"

#include <string.h>

#include "Acknowledgement.h"
#include "Sender.h"

using namespace hostlink;

namespace {

enum : uint8_t {
    Resting,
    Writing,
    Reading,
    Selected // SPI, and not known yet which of the two
};

constexpr uint16_t zerosOfARead = 2; // SPI: a write begins with a start mark, of which noise spoils one byte at most

void clearReply(HostLinkHostBus& bus) {
    bus.reply = nullptr;
    bus.replyLength = 0;
    bus.replyIsPacket = 0;
}

void replyWith(HostLinkHostBus& bus, const uint8_t* bytes, uint16_t length) {
    bus.reply = bytes;
    bus.replyLength = length;
}

void replyWithResponse(HostLinkHostBus& bus, uint8_t frameId, AcknowledgeType type) {
    hostLinkFrameRspSerialize(bus.answer, frameId, type);
    replyWith(bus, bus.answer, HOSTLINK_RSP_FRAME_SIZE);
}

void announce(HostLinkHostBus& bus, uint8_t frameId, uint16_t length) {
    hostLinkFrameIrqSerialize(bus.answer, frameId, length);
    replyWith(bus, bus.answer, HOSTLINK_IRQ_FRAME_SIZE);
}

// While the host asks, the line is low for `interruptRepeat` and high for `interruptGap`, in turn. A span begins with
// the look that sees it, so that who looks seldom sees the gap all the same.
enum Asking : uint8_t { NotAsking, LineLow, LineInGap };

// The module asks: an IRQ frame with the number of bytes that it is going to read.
void takeIrq(HostLinkHostBus& bus, const uint8_t* packet, uint16_t length, uint32_t now) {
    notePacket(*bus.host, packet);
    bus.lineSince = now;
    if (bus.asking == LineInGap) bus.asking = LineLow;
    const uint8_t frameId = hostLinkPacketGetFrameId(packet);
    if (!isPacketReady(*bus.host, now)) return replyWithResponse(bus, frameId, AcknowledgeType::None);
    uint16_t ready;
    const uint8_t* own = readyPacket(*bus.host, &ready);
    if (ready > hostLinkFrameIrqDeserialize(packet, length)) return announce(bus, frameId, ready);
    replyWith(bus, own, ready);
    bus.replyIsPacket = 1;
}

Answer takeBytes(HostLinkHostBus& bus, uint32_t now) {
    const uint8_t* packet = bus.setup.received;
    if (hostLinkPacketVerify(packet, bus.receivedCount) != HOSTLINK_SUCCESS) return refuseBytes(*bus.host);
    const uint16_t length = hostLinkPacketGetLength(packet); // a write may carry more bytes than its packet
    if (hostLinkPacketGetFrameType(packet) != FRT_Irq) return takePacket(*bus.host, packet, length, now);
    takeIrq(bus, packet, length, now);
    return {false, 0, AcknowledgeType::None};
}

void endWrite(HostLinkHostBus& bus, uint32_t now) {
    bus.phase = Resting;
    if (bus.receivedCount == 0) return;
    clearReply(bus);
    const Answer answer = takeBytes(bus, now);
    if (answer.any) replyWithResponse(bus, answer.frameId, answer.type);
}

void startOut(HostLinkHostBus& bus) {
    bus.out = bus.reply;
    bus.outLeft = bus.replyLength;
}

uint8_t nextOut(HostLinkHostBus& bus) {
    if (bus.outLeft == 0) return HOSTLINK_HOST_IDLE_BYTE;
    --bus.outLeft;
    return *bus.out++;
}

// The module has the packet, or a part of it, from now on.
void handOut(HostLinkHostBus& bus, uint32_t now) {
    if (bus.replyIsPacket == 0) return;
    bus.replyIsPacket = 0;
    packetBegun(*bus.host);
    packetSent(*bus.host, now);
}

void keep(HostLinkHostBus& bus, uint8_t byte) {
    if (bus.receivedCount < bus.setup.receivedSize) bus.setup.received[bus.receivedCount++] = byte;
}

uint32_t spanOf(const HostLinkHostBus& bus) {
    return bus.asking == LineLow ? bus.setup.interruptRepeat : bus.setup.interruptGap;
}

} // namespace

void hostLinkHostBusDefaults(HostLinkHostBusSetup* setup) {
    memset(setup, 0, sizeof *setup);
    setup->interruptRepeat = 250;
    setup->interruptGap = 1;
}

uint32_t hostLinkHostBusInit(HostLinkHostBus* bus, HostLinkHost* host, const HostLinkHostBusSetup* setup) {
    if (bus == nullptr || host == nullptr || setup == nullptr || setup->received == nullptr) return HOSTLINK_NO_STORAGE;
    if (setup->receivedSize < HOSTLINK_IRQ_FRAME_SIZE) return HOSTLINK_TOO_SHORT;
    memset(bus, 0, sizeof *bus);
    bus->host = host;
    bus->setup = *setup;
    return HOSTLINK_SUCCESS;
}

void hostLinkHostBusWrite(HostLinkHostBus* bus, const uint8_t* bytes, uint32_t count, uint32_t now) {
    hostLinkHostBusWriteBegins(bus, now);
    bus->receivedCount = count < bus->setup.receivedSize ? static_cast<uint16_t>(count) : bus->setup.receivedSize;
    if (count != 0) memcpy(bus->setup.received, bytes, bus->receivedCount);
    endWrite(*bus, now);
}

void hostLinkHostBusRead(HostLinkHostBus* bus, uint8_t* bytes, uint32_t count, uint32_t now) {
    hostLinkHostBusReadBegins(bus, now);
    for (uint32_t i = 0; i < count; ++i) bytes[i] = nextOut(*bus);
    hostLinkHostBusStops(bus, now);
}

void hostLinkHostBusWriteBegins(HostLinkHostBus* bus, uint32_t now) {
    hostLinkHostBusStops(bus, now);
    bus->phase = Writing;
    bus->receivedCount = 0;
}

void hostLinkHostBusByteReceived(HostLinkHostBus* bus, uint8_t byte) {
    keep(*bus, byte);
}

void hostLinkHostBusReadBegins(HostLinkHostBus* bus, uint32_t now) {
    hostLinkHostBusStops(bus, now);
    bus->phase = Reading;
    startOut(*bus);
    handOut(*bus, now);
}

uint8_t hostLinkHostBusByteRequested(HostLinkHostBus* bus) {
    return nextOut(*bus);
}

void hostLinkHostBusStops(HostLinkHostBus* bus, uint32_t now) {
    if (bus->phase == Writing) endWrite(*bus, now);
    bus->phase = Resting;
}

uint8_t hostLinkHostBusSelected(HostLinkHostBus* bus) {
    bus->phase = Selected;
    bus->receivedCount = 0;
    startOut(*bus);
    return nextOut(*bus);
}

uint8_t hostLinkHostBusExchanged(HostLinkHostBus* bus, uint8_t byte) {
    if (bus->phase != Reading) keep(*bus, byte);
    if (bus->phase == Selected) {
        if (byte != 0) {
            bus->phase = Writing;
        } else if (bus->receivedCount == zerosOfARead) {
            bus->phase = Reading;
        }
    }
    return bus->phase == Writing ? uint8_t{HOSTLINK_HOST_IDLE_BYTE} : nextOut(*bus);
}

void hostLinkHostBusDeselected(HostLinkHostBus* bus, uint32_t now) {
    if (bus->phase == Reading) handOut(*bus, now);
    hostLinkHostBusStops(bus, now);
}

void hostLinkHostBusAdvance(HostLinkHostBus* bus, uint32_t now) {
    const bool replyIsOwn = bus->reply == bus->host->setup.packet;
    if (advanceHost(*bus->host, now) && replyIsOwn) clearReply(*bus);
}

uint8_t hostLinkHostBusLine(HostLinkHostBus* bus, uint32_t now) {
    const bool asks = isPacketReady(*bus->host, now);
    if (!asks || bus->asking == NotAsking) bus->lineSince = now;
    if (!asks) {
        bus->asking = NotAsking;
    } else if (bus->asking == NotAsking) {
        bus->asking = LineLow;
    } else if (bus->setup.interruptRepeat != 0 && now - bus->lineSince >= spanOf(*bus)) {
        bus->asking = bus->asking == LineLow ? LineInGap : LineLow;
        bus->lineSince = now;
    }
    return bus->asking == LineLow ? 1 : 0;
}

uint32_t hostLinkHostBusWait(const HostLinkHostBus* bus, uint32_t now) {
    if (bus->asking == NotAsking) return senderWait(*bus->host, now);
    if (bus->setup.interruptRepeat == 0) return HOSTLINK_HOST_NEVER;
    const uint32_t since = now - bus->lineSince;
    return since < spanOf(*bus) ? spanOf(*bus) - since : 0;
}
