/// @file
/// What really happened on the wire and behind it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>

#include "WireFault.h"

namespace faultywire {

using Moment = std::chrono::steady_clock::time_point;

enum class EntryKind : char {
    ToHost = 'h',        ///< a packet went from the module to the host
    ToModule = 'm',      ///< a packet went from the host to the module
    HostReceived = 'r',  ///< the host has put a message together
    HostConfirmed = 'c', ///< a message of the host was acknowledged to its last packet
};

struct Entry {
    EntryKind kind = EntryKind::ToHost;
    Moment at{};
    WireFault fault = WireFault::None; ///< what happened to the packet
    size_t position = 0;               ///< of the byte that was hit
    ByteArray sent;                    ///< the packet as its sender made it; the message
    ByteArray arrived;                 ///< what came out at the other end; empty when nothing did
};

/// Entries in the order in which they happened. Not locked.
class WireJournal {
public:
    /// Off at the beginning: nothing is kept.
    void keep(bool on) { keeping = on; }
    void add(Entry entry);
    /// Hands out what there is and forgets it.
    std::vector<Entry> take();

private:
    bool keeping = false;
    std::vector<Entry> entries;
};

/// One line without blanks at its ends, for a control connection; the clock is the system's, so that another process
/// on this machine can put the entries between its own.
std::string asText(const std::vector<Entry>& entries);
/// Throws std::invalid_argument when it is not that.
std::vector<Entry> entriesFromText(const std::string& text);

} // namespace faultywire
