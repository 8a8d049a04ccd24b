#include "Expectations.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include <hostlink/HostLinkPacket.h>

namespace command {

namespace {

constexpr std::size_t frameIdAt = 5;
// Further on than that, a packet that is the same is another one.
constexpr std::size_t farthest = 8;

ByteArray withoutFrameId(ByteArray packet) {
    packet[frameIdAt] = 0;
    return packet;
}

} // namespace

Expectations::Expectations(const std::vector<Step>& steps, bool withFrameIds, Tell tell)
    : exact(withFrameIds), told(std::move(tell)) {
    for (const Step& step : steps)
        if (!step.isOurs) laneOf(step.bytes).steps.push_back(&step);
}

Expectations::Lane& Expectations::laneOf(const ByteArray& packet) {
    switch (HostLinkPacket::frameType(packet)) {
    case FRT_Response: return lanes[2];
    case FRT_Irq: return lanes[1];
    default: return lanes[0];
    }
}

bool Expectations::isSame(const ByteArray& one, const ByteArray& other) const {
    return one == other || (!exact && withoutFrameId(one) == withoutFrameId(other));
}

std::optional<std::size_t> Expectations::find(const Lane& lane, const ByteArray& packet) const {
    const std::size_t end = std::min(lane.steps.size(), lane.next + farthest);
    for (std::size_t i = lane.next; i < end; ++i)
        if (isSame(lane.steps[i]->bytes, packet)) return i;
    return {};
}

const Step* Expectations::came(const ByteArray& packet) {
    Lane& lane = laneOf(packet);
    if (lane.next == lane.steps.size()) {
        ++extra;
        return nullptr;
    }
    if (const auto found = find(lane, packet)) {
        while (lane.next < *found) miss(lane);
        ++equal;
        return lane.steps[lane.next++];
    }
    ++differences;
    const Step* expected = lane.steps[lane.next++];
    told({expected, packet});
    return expected;
}

void Expectations::miss(Lane& lane) {
    ++differences;
    told({lane.steps[lane.next++], {}});
}

const Step* Expectations::missingBefore(std::size_t order) const {
    const Step* first = nullptr;
    for (const Lane& lane : lanes) {
        if (lane.next == lane.steps.size()) continue;
        const Step* step = lane.steps[lane.next];
        if (step->order < order && (first == nullptr || step->order < first->order)) first = step;
    }
    return first;
}

void Expectations::giveUp(const Step& missing) {
    miss(laneOf(missing.bytes));
}

std::size_t Expectations::answersLeft() const {
    const auto& [messages, asking, answers] = lanes;
    const bool isRestThere = messages.next == messages.steps.size() && asking.next == asking.steps.size();
    return isRestThere ? answers.steps.size() - answers.next : 0;
}

std::size_t Expectations::expected() const {
    return std::accumulate(lanes.begin(), lanes.end(), std::size_t{0},
                           [](std::size_t sum, const Lane& lane) { return sum + lane.steps.size(); });
}

} // namespace command
