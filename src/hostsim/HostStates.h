/// @file
/// The states that a host holds.
#pragma once

#include <cstdint>
#include <map>
#include <set>

#include <hostlinkclient/Value.h>

namespace hostsim {

/// State values with their encodings, and which of them the module wants to be told about. One thread at a time.
class HostStates {
public:
    /// What a host holds when it comes up: versions, power on, a stopped player at volume 30.
    static HostStates afterPowerOn();

    /// The value held; "Nil" for a state that has none.
    hostlink::Value get(uint16_t id) const;
    /// Holds a value in the encoding in which it came; true when the state had another value, the same number in
    /// another encoding among them, or none.
    bool set(uint16_t id, const hostlink::Value& value);

    void subscribe(uint16_t id) { subscribed.insert(id); }
    void unsubscribe(uint16_t id) { subscribed.erase(id); }
    void unsubscribeAll() { subscribed.clear(); }
    bool isSubscribed(uint16_t id) const { return subscribed.count(id) != 0; }

private:
    std::map<uint16_t, hostlink::Value> values;
    std::set<uint16_t> subscribed;
};

} // namespace hostsim
