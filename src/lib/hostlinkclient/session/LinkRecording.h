/// @file
/// What only a link knows, on its way into a recording.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <capture/RecordedWire.h>
#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/LinkCounters.h>

#include "hostlinkclient/Recorder.h"
#include "hostlinkclient/session/WireData.h"

namespace hostlink {

/// The recorder that a client has: its own; else that of the process, where the environment asks for one
/// (`HOSTLINK_RECORD`, the folder of a ring; `HOSTLINK_RECORD_MIB`, its size), which all clients without one share;
/// else none.
std::optional<Recorder> recorderFor(const std::optional<Recorder>& own);

/// Records verdicts and edges of one wire, and its packets where the serial library does not tell its bytes. Any
/// thread.
class LinkRecording {
public:
    LinkRecording(const Recorder& into, const Wire::Data& wire);
    LinkRecording(const LinkRecording&) = delete;
    LinkRecording& operator=(const LinkRecording&) = delete;

    /// Before the link writes it.
    void packetOut(const ByteArray& packet) const;
    void verdict(WriteDataResponse response) const;
    void packetIn(const ByteArray& packet) const;
    /// From now on, edges that are counted there.
    void recordEdges(LinkCounts& counts);

private:
    void record(capture::Direction direction, const ByteArray& bytes, std::string_view comment) const;

    const Recorder recorder;
    const char* const kind;
    const std::string device;
    const capture::Form form;
};

} // namespace hostlink
