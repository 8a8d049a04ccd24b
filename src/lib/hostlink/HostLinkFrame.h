/// @file
/// Reassembly of one incoming frame.
#pragma once

#include "ByteArray.h"
#include "HostLinkExport.h"
#include "HostLinkLib.h"

/// Gathers the payloads of packets in order of arrival. An ordinary value: one thread at a time.
class HOSTLINK_EXPORT HostLinkFrame {
public:
    HostLinkFrame();
    HostLinkFrame(const HostLinkFrame& other);
    HostLinkFrame(HostLinkFrame&& other) noexcept;
    HostLinkFrame& operator=(const HostLinkFrame& other);
    HostLinkFrame& operator=(HostLinkFrame&& other) noexcept;
    ~HostLinkFrame();

    /// Adds one packet's payload; grows as needed.
    /// @return 0: added; else the frame is unchanged: a code of `hostLinkPacketVerify`, or `HOSTLINK_NO_ROOM`, when the
    ///         record has no room even so
    uint32_t addPacket(const ByteArray& packet);

    /// Whether the packet added most recently was the last of its frame.
    bool complete() const;

    /// Copy of the gathered payload.
    ByteArray data() const;

    /// Grows the store by 2·n zero bytes; a negative n shrinks it by 2·|n|, at most to nothing. The payload size stays.
    void resize(int n);

private:
    void take(HostLinkFrame& other) noexcept;

    HostLinkFrameRecord record; // data is where the bytes are: in `few` or in the store
    ByteArray store;            // as large as the capacity, or larger
    unsigned char few[256];     // what a small message needs
};
