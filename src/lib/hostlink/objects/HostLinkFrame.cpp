#include "hostlink/HostLinkFrame.h"

#include <algorithm>

#include "FewBytes.h"

namespace {

constexpr uint32_t emptyCapacity = 10;
constexpr size_t expectedMessage = 1024; // bytes when memory is asked for, so that most messages ask and clear once
constexpr int packetGrowth = 6;          // grows by 2·(packet size + 6)

} // namespace

HostLinkFrame::HostLinkFrame() : record{} {
    hostLinkFrameInit(&record, few, emptyCapacity);
}

HostLinkFrame::HostLinkFrame(const HostLinkFrame& other) : record(other.record), store(other.store) {
    record.data = hostlink::copied(other.record.data, other.record.size, other.few, store, few);
}

HostLinkFrame::HostLinkFrame(HostLinkFrame&& other) noexcept : record(other.record) {
    take(other);
}

HostLinkFrame& HostLinkFrame::operator=(const HostLinkFrame& other) {
    if (this != &other) *this = HostLinkFrame(other);
    return *this;
}

HostLinkFrame& HostLinkFrame::operator=(HostLinkFrame&& other) noexcept {
    if (this == &other) return *this;
    record = other.record;
    take(other);
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

void HostLinkFrame::resize(int n) {
    const auto capacity = static_cast<size_t>(std::max(static_cast<long>(record.capacity) + 2L * n, 0L));
    if (n < 0) {
        hostlink::shrink(record.data, record.size, capacity, store, few);
    } else {
        record.data = hostlink::grown(record.data, record.size, capacity, expectedMessage, store, few);
    }
    record.capacity = static_cast<uint32_t>(capacity);
}

// A frame that was moved from is an empty one without storage; it grows again with its next packet.
void HostLinkFrame::take(HostLinkFrame& other) noexcept {
    record.data = hostlink::taken(other.record.data, other.record.size, other.store, other.few, store, few);
    hostLinkFrameInit(&other.record, nullptr, 0);
}
