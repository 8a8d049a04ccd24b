#include "HostLinkHost.h"

#include <string.h>

#include "FramePool.h"
#include "Handover.h"
#include "OutQueue.h"

namespace {

constexpr uint32_t shortestMessage = 3; // its header
constexpr uint32_t longestMessage = 65535;
constexpr uint32_t packetsInAFrame = 256; // a packet id has 8 bits
constexpr uint32_t packetOverhead = HOSTLINK_PACKET_HEADER_SIZE + HOSTLINK_PACKET_TRAILER_SIZE;

bool isStored(const HostLinkHostSetup* setup) {
    return setup->frames != nullptr && setup->openFrames != 0 && setup->messages != nullptr &&
           setup->queue != nullptr && setup->packet != nullptr && setup->events.message != nullptr;
}

bool canEverBeSent(const HostLinkHostSetup& setup, uint32_t length) {
    if (length > longestMessage || length > hostlink::longestQueued(setup.queueSize)) return false;
    return length <= packetsInAFrame * (setup.packetSize - packetOverhead);
}

} // namespace

void hostLinkHostDefaults(HostLinkHostSetup* setup) {
    memset(setup, 0, sizeof *setup);
    setup->responseTimeout = 1000;
    setup->retryDelay = 10;
    setup->repeatWindow = 500;
    setup->attempts = 4; // as many as the module makes
}

uint32_t hostLinkHostInit(HostLinkHost* host, const HostLinkHostSetup* setup) {
    if (host == nullptr || setup == nullptr || !isStored(setup)) return HOSTLINK_NO_STORAGE;
    if (setup->packetSize < HOSTLINK_HOST_SHORTEST_PACKET) return HOSTLINK_TOO_SHORT;
    if (setup->messageSize < shortestMessage) return HOSTLINK_NO_ROOM;
    if (setup->queueSize < HOSTLINK_HOST_QUEUE_SIZE(1, shortestMessage)) return HOSTLINK_NO_ROOM;
    memset(host, 0, sizeof *host);
    memset(setup->frames, 0, setup->openFrames * sizeof setup->frames[0]);
    host->setup = *setup;
    return HOSTLINK_SUCCESS;
}

uint32_t hostLinkHostSend(HostLinkHost* host, const uint8_t* message, uint32_t length, uint32_t* ticket) {
    if (length == 0) return HOSTLINK_TOO_SHORT;
    if (!canEverBeSent(host->setup, length)) return HOSTLINK_HOST_TOO_LONG;
    if (host->pool.delivering != 0 && hostlink::isResetUntold(*host)) {
        if (ticket != nullptr) *ticket = 0;
        return HOSTLINK_SUCCESS;
    }
    if (!hostlink::queueMessage(*host, message, length)) return HOSTLINK_NO_ROOM;
    if (ticket != nullptr) *ticket = host->queue.accepted;
    return HOSTLINK_SUCCESS;
}

uint8_t hostLinkHostDeliver(HostLinkHost* host) {
    const HostLinkHostEvents& events = host->setup.events;
    if (hostlink::takeReset(*host)) {
        if (events.reset != nullptr) events.reset(events.context);
        return 1;
    }
    const HostLinkHostFrame* frame = hostlink::nextComplete(*host);
    if (frame == nullptr) return 0;
    host->pool.delivering = 1;
    events.message(events.context, hostlink::payloadOf(*host, *frame), frame->size);
    host->pool.delivering = 0;
    hostlink::releaseNextComplete(*host);
    return 1;
}

uint32_t hostLinkHostQueued(const HostLinkHost* host) {
    return host->queue.accepted - hostlink::taken(host->queue.finished);
}

uint8_t hostLinkHostModuleAnswers(const HostLinkHost* host) {
    return hostlink::taken(host->sender.heard);
}
