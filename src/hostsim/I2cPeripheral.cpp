#include "I2cPeripheral.h"

namespace hostsim {

// The handler, as a firmware writes it.
void I2cPeripheral::interrupt(Cause cause, uint32_t now) {
    ++handled;
    switch (cause) {
    case Cause::AddressedForWrite: hostLinkHostBusWriteBegins(&bus, now); break;
    case Cause::ByteReceived: hostLinkHostBusByteReceived(&bus, dataRegister); break;
    case Cause::AddressedForRead: hostLinkHostBusReadBegins(&bus, now); break;
    case Cause::ByteRequested: dataRegister = hostLinkHostBusByteRequested(&bus); break;
    case Cause::Stopped: hostLinkHostBusStops(&bus, now); break;
    }
}

void I2cPeripheral::write(const ByteArray& bytes, uint32_t now) {
    interrupt(Cause::AddressedForWrite, now);
    for (const unsigned char byte : bytes) {
        dataRegister = byte;
        interrupt(Cause::ByteReceived, now);
    }
    interrupt(Cause::Stopped, now);
}

ByteArray I2cPeripheral::read(size_t count, uint32_t now) {
    ByteArray bytes(count);
    interrupt(Cause::AddressedForRead, now);
    for (unsigned char& byte : bytes) {
        interrupt(Cause::ByteRequested, now);
        byte = dataRegister;
    }
    interrupt(Cause::Stopped, now);
    return bytes;
}

} // namespace hostsim
