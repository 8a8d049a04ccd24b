#include "FramePool.h"

#include <stddef.h>

#include "Handover.h"

namespace hostlink {

namespace {

enum : uint8_t { Free, Open, Complete };

HostLinkHostFrame* findOpen(const HostLinkHost& host, uint8_t frameId) {
    HostLinkHostFrame* const end = host.setup.frames + host.setup.openFrames;
    for (HostLinkHostFrame* frame = host.setup.frames; frame != end; ++frame) {
        if (taken(frame->state) == Open && frame->frameId == frameId) return frame;
    }
    return nullptr;
}

void abandon(HostLinkHost& host, HostLinkHostFrame& frame) {
    hand<uint8_t>(frame.state, Free);
    ++host.counts.abandoned;
}

// A free place, else the open one that has waited for longest; null when all are complete.
HostLinkHostFrame* placeForNew(HostLinkHost& host) {
    HostLinkHostFrame* oldest = nullptr;
    uint32_t longest = 0;
    for (HostLinkHostFrame* frame = host.setup.frames; frame != host.setup.frames + host.setup.openFrames; ++frame) {
        const uint8_t state = taken(frame->state);
        if (state == Free) return frame;
        const uint32_t age = host.pool.touched - frame->order;
        if (state != Open || (oldest != nullptr && age <= longest)) continue;
        oldest = frame;
        longest = age;
    }
    if (oldest != nullptr) abandon(host, *oldest);
    return oldest;
}

HostLinkHostFrame* begin(HostLinkHost& host, uint8_t frameId) {
    HostLinkHostFrame* frame = placeForNew(host);
    if (frame == nullptr) return nullptr;
    frame->size = 0;
    frame->frameId = frameId;
    frame->nextPacketId = 0;
    hand<uint8_t>(frame->state, Open);
    return frame;
}

// The frame that the packet belongs to; null when there is none, and none can be begun.
HostLinkHostFrame* frameOf(HostLinkHost& host, const uint8_t* packet) {
    const uint8_t frameId = hostLinkPacketGetFrameId(packet);
    HostLinkHostFrame* const open = findOpen(host, frameId);
    if (hostLinkPacketGetPacketId(packet) != 0) return open;
    if (open != nullptr) abandon(host, *open);
    return begin(host, frameId);
}

uint8_t* placeOf(const HostLinkHost& host, const HostLinkHostFrame& frame) {
    return host.setup.messages + static_cast<size_t>(&frame - host.setup.frames) * host.setup.messageSize;
}

// False when the message has no room for it.
bool append(HostLinkHost& host, HostLinkHostFrame& frame, const uint8_t* packet, uint16_t length) {
    HostLinkFrameRecord record;
    hostLinkFrameInit(&record, placeOf(host, frame), host.setup.messageSize);
    record.size = frame.size;
    if (hostLinkFrameAddPacket(&record, packet, length) != HOSTLINK_SUCCESS) return false;
    frame.size = record.size;
    ++frame.nextPacketId;
    return true;
}

void complete(HostLinkHost& host, HostLinkHostFrame& frame) {
    frame.order = host.pool.completed;
    hand<uint8_t>(frame.state, Complete);
    ++host.pool.completed;
    ++host.counts.messages;
}

} // namespace

Addition addToPool(HostLinkHost& host, const uint8_t* packet, uint16_t length) {
    HostLinkHostFrame* frame = frameOf(host, packet);
    if (frame == nullptr) return Addition::Refused;
    const bool isNext = hostLinkPacketGetPacketId(packet) == frame->nextPacketId;
    if (!isNext || !append(host, *frame, packet, length)) {
        abandon(host, *frame);
        return Addition::Refused;
    }
    frame->order = ++host.pool.touched;
    if (hostLinkPacketIsLast(packet) != 0) complete(host, *frame);
    return Addition::Taken;
}

void resetPool(HostLinkHost& host) {
    for (HostLinkHostFrame* frame = host.setup.frames; frame != host.setup.frames + host.setup.openFrames; ++frame) {
        if (taken(frame->state) == Open) abandon(host, *frame);
    }
    hand(host.pool.resetAfter, host.pool.completed);
    hand(host.pool.resets, static_cast<uint8_t>(host.pool.resets + 1));
}

const HostLinkHostFrame* nextComplete(const HostLinkHost& host) {
    for (const HostLinkHostFrame* frame = host.setup.frames; frame != host.setup.frames + host.setup.openFrames;
         ++frame) {
        if (taken(frame->state) == Complete && frame->order == host.pool.delivered) return frame;
    }
    return nullptr;
}

const uint8_t* payloadOf(const HostLinkHost& host, const HostLinkHostFrame& frame) {
    return placeOf(host, frame);
}

void releaseNextComplete(HostLinkHost& host) {
    const HostLinkHostFrame* next = nextComplete(host);
    if (next == nullptr) return;
    HostLinkHostFrame& frame = host.setup.frames[next - host.setup.frames];
    ++host.pool.delivered;
    hand<uint8_t>(frame.state, Free);
}

bool isResetUntold(const HostLinkHost& host) {
    return taken(host.pool.resets) != host.pool.resetsTold;
}

bool takeReset(HostLinkHost& host) {
    const uint8_t resets = taken(host.pool.resets);
    if (resets == host.pool.resetsTold || taken(host.pool.resetAfter) != host.pool.delivered) return false;
    host.pool.resetsTold = resets;
    return true;
}

} // namespace hostlink
