// The one place that knows every link by name.
#include <cstring>

#include "DummyPhysicalLayer.h"
#include "I2cPhysicalLayer.h"
#include "SpiPhysicalLayer.h"
#include "UartPhysicalLayer.h"
#include "hostlink/HostLinkPhysicalLayer.h"

namespace {

template <typename Link> HostLinkPhysicalLayer* make(const HostLinkPhysicalLayer::Properties& properties) {
    return new Link(properties);
}

struct NamedLink {
    const char* name;
    HostLinkPhysicalLayer* (*make)(const HostLinkPhysicalLayer::Properties&);
};

constexpr NamedLink links[] = {
    {"dummy", make<DummyPhysicalLayer>},
    {"i2c", make<I2cPhysicalLayer>},
    {"uart", make<UartPhysicalLayer>},
    {"spi", make<SpiPhysicalLayer>},
};

} // namespace

HostLinkPhysicalLayer* HostLinkPhysicalLayer::create(const char* name, const Properties& properties) {
    if (name == nullptr) return nullptr;
    for (const NamedLink& link : links) {
        if (std::strcmp(name, link.name) == 0) return link.make(properties);
    }
    return nullptr;
}
