#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

#include "ScriptedBus.h"

SerialBus::~SerialBus() = default;

struct I2c::Impl {
    ScriptedBus& bus;
};

I2c::I2c(const std::string& path, int address) : impl(new Impl{ScriptedBus::at(path)}) {
    impl->bus.constructed("I2c " + path + " " + std::to_string(address));
}
I2c::~I2c() {
    impl->bus.destroyed();
}
bool I2c::open() {
    return impl->bus.open();
}
ByteArray I2c::read(int size) {
    return impl->bus.read(size);
}
bool I2c::write(const ByteArray& data) {
    return impl->bus.write(data);
}
ByteArray I2c::writeRead(const ByteArray& data, int size) {
    return impl->bus.writeRead(data, size);
}

struct Spi::Impl {
    ScriptedBus& bus;
};

Spi::Spi(const std::string& path, int speed, uint8_t mode) : impl(new Impl{ScriptedBus::at(path)}) {
    impl->bus.constructed("Spi " + path + " " + std::to_string(speed) + " " + std::to_string(mode));
}
Spi::~Spi() {
    impl->bus.destroyed();
}
bool Spi::open() {
    return impl->bus.open();
}
ByteArray Spi::read(int size) {
    return impl->bus.read(size);
}
bool Spi::write(const ByteArray& data) {
    return impl->bus.write(data);
}
ByteArray Spi::writeRead(const ByteArray& data, int size) {
    return impl->bus.writeRead(data, size);
}
