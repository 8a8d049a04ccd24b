#include "hostlinkclient/machines/SubscriptionTable.h"

#include <algorithm>

namespace hostlink {

namespace {

constexpr size_t mostStates = 255; // in one message

} // namespace

std::vector<SubscriptionTable::Told> SubscriptionTable::add(Id subscriber, const std::vector<uint16_t>& states) {
    std::vector<Told> told;
    subscribers[subscriber] = states;
    for (const uint16_t state : states) {
        Entry& entry = entries[state];
        const bool knows = entry.wire == Wire::Read && entry.last;
        entry.subscribers[subscriber] = knows;
        if (knows) told.push_back({subscriber, state, *entry.last, true});
    }
    return told;
}

void SubscriptionTable::remove(Id subscriber) {
    const auto found = subscribers.find(subscriber);
    if (found == subscribers.end()) return;
    for (const uint16_t state : found->second) entries[state].subscribers.erase(subscriber);
    subscribers.erase(found);
    if (!isUnderWay) forgetUnused();
}

// What the host has been asked for stays until it has been told to stop.
void SubscriptionTable::forgetUnused() {
    for (auto entry = entries.begin(); entry != entries.end();) {
        const bool used = !entry->second.subscribers.empty() || entry->second.wire == Wire::Subscribed ||
                          entry->second.wire == Wire::Read;
        entry = used ? std::next(entry) : entries.erase(entry);
    }
}

// What was read is news to those only who did not know it.
std::vector<SubscriptionTable::Told> SubscriptionTable::take(const std::vector<Item>& values, bool wasRead) {
    std::vector<Told> told;
    for (const Item& item : values) {
        const auto found = entries.find(item.tag);
        if (found == entries.end()) continue;
        Entry& entry = found->second;
        const bool isNews = !wasRead || !entry.last || !entry.last->meansSameAs(item.value);
        entry.last = item.value;
        for (auto& [subscriber, knows] : entry.subscribers) {
            if (isNews || !knows) told.push_back({subscriber, item.tag, item.value, wasRead});
            knows = true;
        }
    }
    return told;
}

std::vector<uint16_t> SubscriptionTable::statesIn(Wire wire, bool withSubscribers) const {
    std::vector<uint16_t> states;
    for (const auto& [state, entry] : entries) {
        if (entry.wire != wire || entry.subscribers.empty() == withSubscribers) continue;
        if (states.size() == mostStates || (entry.alone && !states.empty())) break;
        states.push_back(state);
        if (entry.alone) break;
    }
    return states;
}

std::optional<SubscriptionTable::Step> SubscriptionTable::nextStep() {
    if (isUnderWay) return std::nullopt;
    for (const Step& step : {Step{MSG_UnsubscribeState, statesIn(Wire::Read, false)},
                             Step{MSG_UnsubscribeState, statesIn(Wire::Subscribed, false)},
                             Step{MSG_SubscribeState, statesIn(Wire::Unasked, true)},
                             Step{MSG_GetState, statesIn(Wire::Subscribed, true)}}) {
        if (step.states.empty()) continue;
        std::optional<Step> next = step; // without memory for it none is under way
        isUnderWay = true;
        return next;
    }
    return std::nullopt;
}

void SubscriptionTable::stepEnded(const Step& step, Ended how) {
    isUnderWay = false;
    for (const uint16_t state : step.states) {
        Entry& entry = entries[state];
        // Nothing more can be done about a subscription that the host does not let go.
        if (step.id == MSG_UnsubscribeState && how != Ended::Failed) entry.wire = Wire::Unasked;
        if (step.id == MSG_UnsubscribeState || how == Ended::Failed) continue;
        if (how == Ended::Done)
            entry.wire = step.id == MSG_SubscribeState ? Wire::Subscribed : Wire::Read;
        else if (step.states.size() > 1)
            entry.alone = true;
        else
            entry.wire = Wire::Refused;
    }
    forgetUnused();
}

void SubscriptionTable::linkLost() {
    isUnderWay = false;
    for (auto& [state, entry] : entries) {
        // A subscription that nobody wants any more may still stand at the host.
        if (!entry.subscribers.empty()) entry.wire = Wire::Unasked;
        entry.alone = false;
    }
}

SubscriptionTable::Standing SubscriptionTable::standingOf(Id subscriber) const {
    const auto found = subscribers.find(subscriber);
    if (found == subscribers.end()) return Standing::Gone;
    Standing standing = Standing::Established;
    for (const uint16_t state : found->second) {
        const Wire wire = entries.at(state).wire;
        if (wire == Wire::Refused) return Standing::Refused;
        if (wire != Wire::Read) standing = Standing::Pending;
    }
    return standing;
}

std::optional<Value> SubscriptionTable::last(uint16_t state) const {
    const auto found = entries.find(state);
    return found == entries.end() ? std::nullopt : found->second.last;
}

} // namespace hostlink
