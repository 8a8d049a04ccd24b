// This library has no buses: whoever opens one is refused.
#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

SerialBus::~SerialBus() = default;

struct I2c::Impl {};

I2c::I2c(const std::string&, int) {}
I2c::~I2c() = default;
bool I2c::open() {
    return false;
}
ByteArray I2c::read(int) {
    return {};
}
bool I2c::write(const ByteArray&) {
    return false;
}
ByteArray I2c::writeRead(const ByteArray&, int) {
    return {};
}

struct Spi::Impl {};

Spi::Spi(const std::string&, int, uint8_t) {}
Spi::~Spi() = default;
bool Spi::open() {
    return false;
}
ByteArray Spi::read(int) {
    return {};
}
bool Spi::write(const ByteArray&) {
    return false;
}
ByteArray Spi::writeRead(const ByteArray&, int) {
    return {};
}
