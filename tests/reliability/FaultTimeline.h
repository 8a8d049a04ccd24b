/// @file
/// Asks a record what had happened when.
#pragma once

#include <algorithm>

#include <hostlink/HostLinkPacket.h>

#include "Record.h"

namespace truth {

using faultywire::Entry;
using faultywire::EntryKind;
using faultywire::WireFault;

inline int typeOf(const ByteArray& packet) {
    return HostLinkPacket::verify(packet) ? HostLinkPacket::frameType(packet) : -1;
}

class FaultTimeline {
public:
    explicit FaultTimeline(const Record& run) : record(run) {}

    /// Whether an entry of the wire from `from` to `to` fulfils the condition.
    template <typename Condition> bool any(Moment from, Moment to, Condition condition) const {
        const auto& journal = record.journal;
        auto entry = std::lower_bound(journal.begin(), journal.end(), from,
                                      [](const Entry& left, Moment right) { return left.at < right; });
        for (; entry != journal.end() && entry->at <= to; ++entry)
            if (entry->fault != WireFault::None && condition(*entry)) return true;
        return false;
    }
    bool anyFault(Moment from, Moment to) const {
        return any(from, to, [](const Entry&) { return true; });
    }
    bool byteFault(Moment from, Moment to) const {
        return any(from, to, [](const Entry& entry) { return faultywire::hitsByte(entry.fault); });
    }
    bool byteFault(Moment from, Moment to, EntryKind direction) const {
        return any(from, to,
                   [&](const Entry& entry) { return entry.kind == direction && faultywire::hitsByte(entry.fault); });
    }
    bool happened(Moment from, Moment to, WireFault fault, EntryKind direction) const {
        return any(from, to, [&](const Entry& entry) { return entry.kind == direction && entry.fault == fault; });
    }
    /// How long the machine let nobody run meanwhile.
    Duration stalled(Moment from, Moment to) const {
        Moment::duration sum{0};
        for (const auto& [begin, end] : record.stalls)
            if (begin < to && end > from) sum += end - begin;
        return std::chrono::duration_cast<Duration>(sum);
    }
    bool reopened(Moment from, Moment to) const {
        return std::any_of(record.reopened.begin(), record.reopened.end(),
                           [&](Moment at) { return from <= at && at <= to; });
    }

private:
    const Record& record;
};

} // namespace truth
