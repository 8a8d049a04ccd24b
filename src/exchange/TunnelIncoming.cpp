#include "TunnelIncoming.h"

#include <algorithm>

namespace hostlink::exchange {

namespace {

constexpr size_t largestRoom = UINT16_MAX;

} // namespace

void TunnelIncoming::take(const TunnelRequest& request) {
    const uint32_t skip = expected - request.position; // bytes that are here already
    if (request.command == TunnelCommand::Finish) {
        if (skip == 0 && !end) {
            end = true;
            ++expected;
        }
        return;
    }
    if (end || skip >= request.size) return; // repeated, or of another time
    const size_t taken = std::min(request.size - skip, capacity - bytes.size());
    bytes.insert(bytes.end(), request.data + skip, request.data + skip + taken);
    expected += static_cast<uint32_t>(taken);
    starved = room() == 0;
}

bool TunnelIncoming::written(size_t count) {
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
    const bool tell = starved && room() > 0;
    if (tell) starved = false;
    return tell;
}

uint16_t TunnelIncoming::room() const {
    const size_t free = capacity - bytes.size();
    return free < std::max<size_t>(capacity / 4, 1) ? 0 : static_cast<uint16_t>(std::min(free, largestRoom));
}

} // namespace hostlink::exchange
