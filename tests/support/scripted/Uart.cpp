#include <serialcomm/Uart.h>

#include "ScriptedPortUse.h"

struct Uart::Impl {
    ScriptedPortUse use;
};

Uart::Uart(const std::string& path, int baudRate, int options, const std::string& parity, bool exclusive)
    : impl(new Impl{{path, {baudRate, options, parity, exclusive}}}) {}

Uart::~Uart() = default;

bool Uart::init() {
    return impl->use.init();
}

ByteArray Uart::read(unsigned long size, bool* error) {
    return impl->use.read(size, error);
}

bool Uart::write(const ByteArray& data) {
    return impl->use.write(data);
}
