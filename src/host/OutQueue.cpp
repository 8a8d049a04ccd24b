#include "OutQueue.h"

#include <string.h>

#include "Handover.h"

namespace hostlink {

namespace {

constexpr uint32_t lengthSize = 2;

void storeLength(uint8_t* at, uint16_t length) {
    at[0] = static_cast<uint8_t>(length);
    at[1] = static_cast<uint8_t>(length >> 8);
}

uint16_t loadLength(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

// Where the record at the tail begins.
uint32_t frontAt(const HostLinkHost& host) {
    const uint32_t tail = host.queue.tail;
    if (host.setup.queueSize - tail < lengthSize || loadLength(host.setup.queue + tail) == 0) return 0;
    return tail;
}

// Where the ring goes on behind a record that ends at `end`.
uint32_t wrapped(const HostLinkHost& host, uint32_t end) {
    return end == host.setup.queueSize ? 0 : end;
}

// A place in the storage; `found` when the record has room there and does not fill the ring to the last byte, which
// would look empty.
struct Place {
    uint32_t at;
    bool found;
};

Place placeFor(const HostLinkHost& host, uint32_t size) {
    const uint32_t head = host.queue.head;
    const uint32_t tail = taken(host.queue.tail);
    if (head < tail) return {head, size < tail - head};
    if (size <= host.setup.queueSize - head && wrapped(host, head + size) != tail) return {head, true};
    return {0, size < tail};
}

void markEnd(HostLinkHost& host) {
    if (host.setup.queueSize - host.queue.head >= lengthSize) storeLength(host.setup.queue + host.queue.head, 0);
}

} // namespace

uint32_t longestQueued(uint32_t queueSize) {
    return queueSize / 2 - lengthSize;
}

bool queueMessage(HostLinkHost& host, const uint8_t* message, uint32_t length) {
    const uint32_t size = length + lengthSize;
    const Place place = placeFor(host, size);
    if (!place.found) return false;
    if (place.at != host.queue.head) markEnd(host);
    storeLength(host.setup.queue + place.at, static_cast<uint16_t>(length));
    memcpy(host.setup.queue + place.at + lengthSize, message, length);
    ++host.queue.accepted;
    hand(host.queue.head, wrapped(host, place.at + size));
    return true;
}

QueuedMessage frontMessage(const HostLinkHost& host) {
    if (host.queue.tail == taken(host.queue.head)) return {nullptr, 0};
    const uint8_t* record = host.setup.queue + frontAt(host);
    return {record + lengthSize, loadLength(record)};
}

void finishFront(HostLinkHost& host, HostLinkHostOutcome outcome) {
    const uint32_t at = frontAt(host);
    const uint32_t ticket = host.queue.finished + 1;
    hand(host.queue.finished, ticket);
    hand(host.queue.tail, wrapped(host, at + lengthSize + loadLength(host.setup.queue + at)));
    if (host.setup.events.outcome != nullptr) host.setup.events.outcome(host.setup.events.context, ticket, outcome);
}

} // namespace hostlink
