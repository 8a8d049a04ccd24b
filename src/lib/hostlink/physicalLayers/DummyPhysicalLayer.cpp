#include "DummyPhysicalLayer.h"

#include "hostlink/link/LinkLogger.h"
#include "hostlink/link/Trace.h"

DummyPhysicalLayer::DummyPhysicalLayer(const Properties& properties) : HostLinkPhysicalLayer(properties) {}

bool DummyPhysicalLayer::init() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    return true;
}

void DummyPhysicalLayer::shutdown() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
}

int DummyPhysicalLayer::nextFrameId() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    return 0;
}

WriteDataResponse DummyPhysicalLayer::writeData(const ByteArray& packet) {
    HOSTLINK_TRACE_ENTER(logger, scope, packet.size());
    return Error;
}
