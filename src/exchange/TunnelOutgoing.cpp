#include "TunnelOutgoing.h"

#include <algorithm>

#include "ChunkSize.h"

namespace hostlink::exchange {

namespace {

constexpr Time firstProbe = std::chrono::milliseconds(50);
constexpr Time longestProbe = std::chrono::seconds(1);
constexpr unsigned wellBeforeLarger = 8;
constexpr Time aMomentOfABusyMachine = std::chrono::milliseconds(5);
constexpr unsigned mostTooMany = 8;
constexpr int mostOfAGuess = 2;
constexpr int bestPacketOnABadLine = 128;
constexpr size_t bestChunkOnABadLine = 54;
constexpr unsigned mostDoublings = 2; // a line that is bad gets no better by waiting

} // namespace

TunnelPace paceFor(int maxPacketSize, Time packetTimeout) {
    TunnelPace pace;
    for (Time* const pause : {&pace.shortestTimeout, &pace.retryPause, &pace.quietPause, &pace.firstCheckOnABadLine})
        *pause = *pause * packetTimeout.count() / usualPacketTimeout.count();
    pace.shortestTimeout = std::max(pace.shortestTimeout, aMomentOfABusyMachine);
    // With less a message is mostly overhead, with more it seldom arrives whole where one byte in a hundred is damaged;
    // so a packet of 128 bytes is as good as two of 64, and no larger one is better.
    const int packet = std::min(maxPacketSize, bestPacketOnABadLine);
    pace.smallestChunk = fittingChunk(packet, tunnelOverheadBytes, bestChunkOnABadLine);
    pace.largestChunk = std::max(fittingChunk(maxPacketSize, tunnelOverheadBytes, usualChunk), pace.smallestChunk);
    pace.buffer = std::max(pace.buffer, 4 * pace.largestChunk);
    return pace;
}

TunnelOutgoing::TunnelOutgoing(const TunnelPace& tunnelPace, uint32_t firstPosition, bool opens, Time now)
    : pace(tunnelPace),
      position(firstPosition),
      isOpen(!opens),
      window(pace.largestChunk),
      chunkNow(pace.largestChunk),
      heardAt(now) {
    if (opens) sendAt = now;
}

size_t TunnelOutgoing::room() const {
    return finishing || waiting.size() >= pace.buffer ? 0 : pace.buffer - waiting.size();
}

void TunnelOutgoing::append(const uint8_t* data, size_t size, Time now) {
    waiting.insert(waiting.end(), data, data + size);
    wake(now);
}

void TunnelOutgoing::finish(Time now) {
    finishing = true;
    wake(now);
}

// Something to ask where there was nothing.
void TunnelOutgoing::wake(Time now) {
    if (!isOpen || outstanding || sendAt) return;
    heardAt = now; // nobody was asked before
    sendAt = now;
}

// Whether there is anything that the other end has to answer.
bool TunnelOutgoing::asking() const {
    return !isOpen || !waiting.empty() || (finishing && !finishAcknowledged);
}

std::optional<TunnelRequest> TunnelOutgoing::next(Time now) {
    if (outstanding || !sendAt || now < *sendAt || !asking()) return std::nullopt;
    sendAt.reset();
    outstanding = true;
    sentAt = now;
    if (attempt++ > 0) ++repeats;
    TunnelRequest request{0, TunnelCommand::Open, position, nullptr, 0};
    if (isOpen) {
        // A full other end is asked with as little as there is sense in.
        const size_t most = window == 0 ? pace.smallestChunk : std::min(window, chunkNow);
        request.size = std::min(waiting.size(), most);
        request.data = waiting.data();
        request.command = waiting.empty() ? TunnelCommand::Finish : TunnelCommand::Data;
    }
    outstandingSize = request.command == TunnelCommand::Finish ? 1 : request.size;
    return request;
}

void TunnelOutgoing::sent(Delivery delivery, Time now) {
    if (!outstanding) return; // the answer was faster
    sentAt = now;
    if (delivery == Delivery::Accepted)
        answerBy = now + timeout();
    else
        lost(now + pace.retryPause);
}

void TunnelOutgoing::acknowledged(uint32_t upTo, uint16_t roomThere, Time now) {
    const uint32_t taken = upTo - position;
    const size_t all = waiting.size() + (finishing && !finishAcknowledged ? 1 : 0);
    if (taken > all) { // of another time
        answeredTwice();
        return;
    }
    heardAt = now;
    const bool blocked = window == 0;
    window = roomThere;
    if (!isOpen && taken == 0) {
        isOpen = true;
        sample(now);
        progress(0, now);
    } else if (taken > 0) {
        sample(now);
        progress(taken, now);
    } else if (blocked && window > 0) {
        progress(0, now);
    } else if (window == 0 && outstanding) {
        outstanding = false;
        attempt = 0;
        answerBy.reset();
        probeAfter = std::clamp(2 * probeAfter, firstProbe, longestProbe);
        sendAt = now + probeAfter;
    } else {
        answeredTwice();
    }
}

// What stands at `position` from now on is asked for the first time.
void TunnelOutgoing::progress(uint32_t taken, Time now) {
    const size_t bytes = std::min<size_t>(taken, waiting.size());
    finishAcknowledged = finishing && taken == waiting.size() + 1;
    waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(bytes));
    position += taken;
    outstanding = false;
    tooMany = attempt > 1 ? std::min(tooMany + attempt - 1, mostTooMany) : 0;
    attempt = 0;
    answerBy.reset();
    sendAt.reset();
    if (window > 0) probeAfter = Time{0};
    if (asking()) sendAt = now + (window == 0 && !waiting.empty() ? firstProbe : Time{0});
}

// Only of requests that were sent once: of the others nobody knows which one has been answered. A line on which none is
// would never be known, though: there the first answer of all is taken for that to the last of them.
void TunnelOutgoing::sample(Time now) {
    if (attempt != 1 && smoothed) return;
    const Time took = now - sentAt;
    smoothed = smoothed ? (7 * *smoothed + took) / 8 : took;
    if (++wellInARow < wellBeforeLarger) return;
    wellInARow = 0;
    chunkNow = std::min(2 * chunkNow, pace.largestChunk);
}

// The answer was on its way when the request was repeated: answers take longer than was thought. Where all requests are
// repeated nothing else would tell. Or it was the answer that was repeated: on a bad line that says nothing, so nobody
// waits much longer for it.
void TunnelOutgoing::answeredTwice() {
    if (tooMany == 0) return;
    --tooMany;
    const Time longest = mostOfAGuess * pace.shortestTimeout;
    if (smoothed && *smoothed < longest) smoothed = std::min(*smoothed + *smoothed / 4, longest);
}

Time TunnelOutgoing::timeout() const {
    const Time usual =
        smoothed ? std::clamp(4 * *smoothed, pace.shortestTimeout, pace.longestTimeout) : pace.firstTimeout;
    const unsigned doublings = std::min(attempt > 0 ? attempt - 1 : 0, mostDoublings);
    return std::min(usual * (1U << doublings), pace.longestTimeout);
}

void TunnelOutgoing::lost(Time at) {
    outstanding = false;
    answerBy.reset();
    sendAt = at;
    wellInARow = 0;
    chunkNow = std::max(std::min(chunkNow, std::max(outstandingSize, pace.smallestChunk)) / 2, pace.smallestChunk);
}

void TunnelOutgoing::damaged(Time now) {
    heardAt = now;
    if (outstanding) lost(now);
}

void TunnelOutgoing::advance(Time now) {
    if (answerBy && now >= *answerBy) lost(now);
}

void TunnelOutgoing::takeAsFinished() {
    finishAcknowledged = true;
    outstanding = false;
    sendAt.reset();
    answerBy.reset();
}

std::optional<Time> TunnelOutgoing::deadline() const {
    if (!asking()) return std::nullopt;
    Time due = heardAt + pace.patience;
    if (sendAt && !outstanding) due = std::min(due, *sendAt);
    if (answerBy) due = std::min(due, *answerBy);
    return due;
}

} // namespace hostlink::exchange
