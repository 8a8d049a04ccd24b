#include "I2c.h"

#include <array>
#include <cerrno>
#include <cstdio>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "BusDevice.h"
#include "SerialLog.h"

using namespace serialcomm;

namespace {

// Below and above, the I2C bus specification reserves the address for other purposes; what i2cdetect calls a valid
// address. The reserved group 0x03 to 0x07 is in use in practice and is let through as there.
constexpr int lowestAddress = 0x03;
constexpr int highestAddress = 0x77;

// The most that i2c-dev takes in one message; a longer plain read or write it would cut without a word.
constexpr std::size_t messageLimit = 8192;

std::string addressText(int address) {
    std::array<char, 16> text{};
    if (std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned>(address)) < 0) return "?";
    return text.data();
}

} // namespace

struct I2c::Impl {
    Impl(const std::string& path, int slave)
        : bus("i2c", path, "address " + addressText(slave), "I2c " + path + " address " + addressText(slave)),
          address(slave) {}

    std::string configure(int fd) const;
    bool mayRead(int size) const { return bus.isPossible("read", size, messageLimit); }
    bool mayWrite(const ByteArray& data) const {
        return bus.isPossible("write", static_cast<long long>(data.size()), messageLimit);
    }

    BusDevice bus;
    const int address;
};

std::string I2c::Impl::configure(int fd) const {
    // A driver that does not tell what it can do is given the benefit of the doubt; the transfers will show.
    unsigned long functions = 0;
    if (::ioctl(fd, I2C_FUNCS, &functions) == 0 && (functions & I2C_FUNC_I2C) == 0) {
        return "the bus does SMBus commands only; plain I2C transfers are needed";
    }
    if (repeatInterrupted([&] { return ::ioctl(fd, I2C_SLAVE, static_cast<long>(address)); }) >= 0) return {};
    const int error = errno;
    if (error == ENOTTY) return "not an I2C bus; give the path of a bus device such as /dev/i2c-1";
    if (error == EBUSY) return "is in use by a kernel driver";
    return "cannot set the address: " + errorText(error);
}

I2c::I2c(const std::string& path, int address) : impl(std::make_unique<Impl>(path, address)) {}

I2c::~I2c() = default;

bool I2c::open() {
    if (impl->address < lowestAddress || impl->address > highestAddress) {
        return impl->bus.refuse("not a device address; use 0x03 to 0x77");
    }
    return impl->bus.open([this](int fd) { return impl->configure(fd); });
}

ByteArray I2c::read(int size) {
    if (!impl->mayRead(size) || !impl->bus.isOpenTo("read") || size == 0) return {};
    ByteArray data(static_cast<std::size_t>(size));
    const ssize_t got = repeatInterrupted([&] { return ::read(impl->bus.fd(), data.data(), data.size()); });
    if (!impl->bus.isComplete("read", got, data.size())) return {};
    impl->bus.tapped.read(data);
    return data;
}

bool I2c::write(const ByteArray& data) {
    if (!impl->mayWrite(data) || !impl->bus.isOpenTo("write")) return false;
    if (data.empty()) return true;
    impl->bus.tapped.written(data);
    const ssize_t sent = repeatInterrupted([&] { return ::write(impl->bus.fd(), data.data(), data.size()); });
    return impl->bus.isComplete("write", sent, data.size());
}

ByteArray I2c::writeRead(const ByteArray& data, int size) {
    if (!impl->mayWrite(data) || !impl->mayRead(size) || !impl->bus.isOpenTo("write and read")) return {};
    if (data.empty()) return read(size);
    if (size == 0) {
        write(data);
        return {};
    }
    ByteArray sent = data; // the kernel's structure has no const buffer
    ByteArray received(static_cast<std::size_t>(size));
    const auto address = static_cast<__u16>(impl->address);
    std::array<i2c_msg, 2> messages{{{address, 0, static_cast<__u16>(sent.size()), sent.data()},
                                     {address, I2C_M_RD, static_cast<__u16>(received.size()), received.data()}}};
    i2c_rdwr_ioctl_data transaction{messages.data(), messages.size()};
    impl->bus.tapped.written(data);
    const int done = repeatInterrupted([&] { return ::ioctl(impl->bus.fd(), I2C_RDWR, &transaction); });
    if (!impl->bus.isComplete("write and read", done, messages.size())) return {};
    impl->bus.tapped.read(received);
    return received;
}
