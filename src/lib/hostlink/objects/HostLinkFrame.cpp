#include "hostlink/HostLinkFrame.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t initialCapacity = 10;
constexpr size_t expectedMessage = 1024; // bytes set aside with the first growth, so that most messages ask once
constexpr int packetGrowth = 6;          // grows by 2·(packet size + 6)

} // namespace

HostLinkFrame::HostLinkFrame() : record{}, store(initialCapacity) {
    hostLinkFrameInit(&record, store.data(), static_cast<uint32_t>(store.size()));
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
    const size_t held = std::min<size_t>(record.size, store.size());
    return {store.begin(), store.begin() + static_cast<std::ptrdiff_t>(held)};
}

void HostLinkFrame::resize(int n) {
    const long wanted = static_cast<long>(store.size()) + 2L * n;
    const auto size = static_cast<size_t>(std::max(wanted, 0L));
    if (size > store.capacity() && size < expectedMessage) store.reserve(expectedMessage);
    store.resize(size);
    attach();
}

void HostLinkFrame::attach() {
    record.data = store.data();
    record.capacity = static_cast<uint32_t>(store.size());
}

// A frame that was moved from is an empty one without storage; it grows again with its next packet.
void HostLinkFrame::reset() noexcept {
    store.clear();
    hostLinkFrameInit(&record, nullptr, 0);
}
