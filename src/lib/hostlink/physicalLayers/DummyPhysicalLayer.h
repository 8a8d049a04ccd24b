/// @file
/// A link without a host.
#pragma once

#include "../HostLinkPhysicalLayer.h"

/// Opens nothing, sends nothing, receives nothing: lets the stack be built, started and stopped on a machine without
/// the host. Every write is answered with `Error`. Stateless; any thread.
class HOSTLINK_EXPORT DummyPhysicalLayer : public HostLinkPhysicalLayer {
public:
    explicit DummyPhysicalLayer(const Properties& properties);

    /// Always true.
    bool init() override;
    void shutdown() override;
    /// Always 0.
    int nextFrameId() override;
    /// Always `Error`, also for an empty packet.
    WriteDataResponse writeData(const ByteArray& packet) override;
};
