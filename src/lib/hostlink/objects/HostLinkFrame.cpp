#include "hostlink/HostLinkFrame.h"

#include <algorithm>
#include <utility>

namespace {

constexpr uint32_t initialCapacity = 10;
constexpr size_t expectedMessage = 1024; // bytes with the first growth, so that most messages ask and clear once
constexpr int packetGrowth = 6;          // grows by 2·(packet size + 6)

} // namespace

HostLinkFrame::HostLinkFrame() : record{}, store(initialCapacity) {
    hostLinkFrameInit(&record, store.data(), initialCapacity);
}

HostLinkFrame::HostLinkFrame(const HostLinkFrame& other) : record(other.record), store(other.store) {
    attach();
}

HostLinkFrame::HostLinkFrame(HostLinkFrame&& other) noexcept : record(other.record), store(std::move(other.store)) {
    attach();
    other.reset();
}

HostLinkFrame& HostLinkFrame::operator=(const HostLinkFrame& other) {
    if (this != &other) *this = HostLinkFrame(other);
    return *this;
}

HostLinkFrame& HostLinkFrame::operator=(HostLinkFrame&& other) noexcept {
    if (this == &other) return *this;
    record = other.record;
    store = std::move(other.store);
    attach();
    other.reset();
    return *this;
}

HostLinkFrame::~HostLinkFrame() = default;

uint32_t HostLinkFrame::addPacket(const ByteArray& packet) {
    const auto count = static_cast<uint32_t>(packet.size());
    const uint32_t code = hostLinkFrameAddPacket(&record, packet.data(), count);
    if (code != HOSTLINK_NO_ROOM) return code;
    resize(static_cast<int>(count) + packetGrowth);
    return hostLinkFrameAddPacket(&record, packet.data(), count);
}

bool HostLinkFrame::complete() const {
    return hostLinkFrameComplete(&record) == 1;
}

ByteArray HostLinkFrame::data() const {
    const uint32_t held = std::min(record.size, record.capacity);
    return {record.data, record.data + held};
}

// The store's bytes behind the capacity are zero and wait for the frame to grow.
void HostLinkFrame::resize(int n) {
    const auto capacity = static_cast<size_t>(std::max(static_cast<long>(record.capacity) + 2L * n, 0L));
    if (n < 0) {
        store.resize(capacity);
    } else if (capacity > store.size()) {
        store.resize(std::max(capacity, expectedMessage));
    }
    record.capacity = static_cast<uint32_t>(capacity);
    attach();
}

void HostLinkFrame::attach() {
    record.data = store.data();
}

// A frame that was moved from is an empty one without storage; it grows again with its next packet.
void HostLinkFrame::reset() noexcept {
    store.clear();
    hostLinkFrameInit(&record, nullptr, 0);
}
