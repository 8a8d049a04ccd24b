/// @file
/// A link that notes what goes through it.
#pragma once

#include <functional>
#include <memory>

#include <hostlink/HostLinkPhysicalLayer.h>

#include "Record.h"

namespace truth {

/// Stands between the transport and a link of the library and changes nothing.
class ObservedLink : public HostLinkPhysicalLayer {
public:
    /// @param delivered gets each packet that the link delivers, on its thread
    /// @param written   gets each packet that was written, on the writer's thread
    ObservedLink(std::unique_ptr<HostLinkPhysicalLayer> observed, const Properties& properties,
                 const std::function<void(const ByteArray&)>& delivered, std::function<void(Attempt)> written);

    bool init() override;
    void shutdown() override { link->shutdown(); }
    int nextFrameId() override { return link->nextFrameId(); }
    WriteDataResponse writeData(const ByteArray& packet) override;

    bool isUp() const { return up; }

private:
    std::function<void(Attempt)> written;
    bool up = false;
    std::unique_ptr<HostLinkPhysicalLayer> link; // goes first: its threads call this object
};

} // namespace truth
