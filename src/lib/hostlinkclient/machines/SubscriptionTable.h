/// @file
/// Who is subscribed to what, and what the host has been asked for.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include <hostlink/HostLinkNumbers.h>
#include <items/Items.h>

namespace hostlink {

/// Several subscribers to a state cost one subscription at the host; it ends with the last of them. Pure; one thread at
/// a time.
class SubscriptionTable {
public:
    using Id = uint64_t;

    /// A subscriber is to be told.
    struct Told {
        Id subscriber;
        uint16_t state;
        Value value;
        bool wasRead;
    };

    /// What the host is to be asked next: subscribe, unsubscribe or get.
    struct Step {
        MessageId id;
        std::vector<uint16_t> states;
    };

    /// How a step ended.
    enum class Ended {
        Done,
        Unsupported, ///< several states are asked for one by one then
        Failed       ///< to be asked again
    };

    /// @return what the new subscriber can be told at once
    std::vector<Told> add(Id subscriber, const std::vector<uint16_t>& states);
    void remove(Id subscriber);

    /// The host has told values, or they were read.
    std::vector<Told> take(const std::vector<Item>& values, bool wasRead);

    /// The next step; none while one is under way, or when there is nothing to do.
    std::optional<Step> nextStep();
    void stepEnded(const Step& step, Ended how);
    /// A new host, or the same with a new link: everything has to be asked for again.
    void linkLost();

    enum class Standing {
        Pending,
        Established,
        Refused, ///< the host does not support a subscription to one of its states
        Gone
    };
    Standing standingOf(Id subscriber) const;
    std::optional<Value> last(uint16_t state) const;

private:
    enum class Wire { Unasked, Subscribed, Read, Refused };
    struct Entry {
        std::map<Id, bool> subscribers; // and whether each knows a value
        std::optional<Value> last;
        Wire wire = Wire::Unasked;
        bool alone = false; // asked for by itself, since the host has refused it together with others
    };

    std::vector<uint16_t> statesIn(Wire wire, bool withSubscribers) const;
    void forgetUnused();

    std::map<uint16_t, Entry> entries;
    std::map<Id, std::vector<uint16_t>> subscribers;
    bool isUnderWay = false;
};

} // namespace hostlink
