#include "Player.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "command/decode/PacketFinder.h"

namespace command {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds look{50}; // how soon an end is noticed

} // namespace

Player::Player(PlayPort& to, const std::vector<Step>& steps, Expectations& expected, const PlayOptions& options,
               std::function<bool()> isOver)
    : port(to), script(steps), expectations(expected), settings(options), over(std::move(isOver)), last(Clock::now()) {}

// From the step before it, whoever's that was.
nanoseconds Player::pauseBefore(const Step& step) const {
    const auto index = static_cast<std::size_t>(&step - script.data());
    if (index == 0) return nanoseconds(0);
    const uint64_t before = script[index - 1].time;
    return nanoseconds(step.time > before ? static_cast<int64_t>(step.time - before) : 0);
}

void Player::take(const ByteArray& bytes) {
    unread.insert(unread.end(), bytes.begin(), bytes.end());
    std::size_t done = 0;
    for (const Stretch& stretch : findPackets(unread)) {
        if (stretch.kind == Stretch::Kind::CutOff) break;
        // The first byte of a start mark may be the last that has come.
        const bool endsInMark = stretch.bytes.back() == 0xFF && stretch.at + stretch.bytes.size() == unread.size();
        done = stretch.at + stretch.bytes.size() - (endsInMark && stretch.kind == Stretch::Kind::Lost ? 1 : 0);
        if (stretch.kind != Stretch::Kind::Packet) continue;
        const std::size_t same = expectations.same();
        port.taken(expectations.came(stretch.bytes));
        if (expectations.same() > same) last = Clock::now();
    }
    unread.erase(unread.begin(), unread.begin() + static_cast<ByteArray::difference_type>(done));
}

void Player::listen(Clock::time_point until) {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    take(port.read(std::clamp(left, milliseconds(0), look)));
}

void Player::lose(const Step& missed) {
    lostExchange = missed.turn.exchange;
    expectations.giveUp(missed);
    last = Clock::now();
    ++missing;
}

// What belongs to an exchange that did not take place.
bool Player::isLost(const Step& step) const {
    return step.turn.exchange != 0 && step.turn.exchange == lostExchange;
}

bool Player::isOver() const {
    return missing >= settings.mostMissing || over();
}

// A packet of which the host does not say that it is there does not come.
bool Player::isAskedFor(const Step& step) {
    if (!step.turn.needsRequest) return true;
    const auto until = last + pauseBefore(step) + settings.patience;
    while (!isOver()) {
        const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
        if (port.awaitRequest(std::clamp(left, milliseconds(0), look))) return true;
        if (Clock::now() < until) continue;
        const auto isItsPacket = [&](const Step& one) {
            return !one.isOurs && one.turn.exchange == step.turn.exchange;
        };
        const auto packet = std::find_if(script.begin(), script.end(), isItsPacket);
        if (packet == script.end()) return true;
        if (const Step* missed = expectations.missingBefore(packet->order + 1)) lose(*missed);
        return false;
    }
    return false;
}

// False when it is over before.
bool Player::awaitBefore(const Step* step, std::size_t order) {
    while (const Step* missed = expectations.missingBefore(order)) {
        if (isLost(*missed)) {
            expectations.giveUp(*missed);
            continue;
        }
        const auto until = last + pauseBefore(*missed) + settings.patience;
        listen(until);
        if (isOver()) return false;
        if (Clock::now() >= until && expectations.missingBefore(order) == missed) lose(*missed);
    }
    if (step == nullptr || !settings.inRecordedTime) return !isOver();
    const auto when = last + pauseBefore(*step);
    while (Clock::now() < when && !isOver()) listen(when);
    return !isOver();
}

std::string Player::play() {
    last = Clock::now();
    for (const Step& step : script) {
        if (!step.isOurs || isLost(step)) continue;
        if (!awaitBefore(&step, step.order)) break;
        if (isLost(step) || !isAskedFor(step)) continue;
        if (!port.say(step)) return "the other side takes nothing";
        last = Clock::now();
    }
    if (missing < settings.mostMissing) awaitBefore(nullptr, std::numeric_limits<std::size_t>::max());
    if (missing >= settings.mostMissing) return "given up after " + std::to_string(missing) + " that did not come";
    return "";
}

} // namespace command
