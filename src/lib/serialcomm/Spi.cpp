#include "Spi.h"

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "BusDevice.h"
#include "SerialLog.h"

using namespace serialcomm;

namespace {

constexpr uint8_t highestMode = 3;
constexpr uint8_t bitsPerWord = 8;

constexpr const char* bufferSizePath = "/sys/module/spidev/parameters/bufsiz";
// What the spidev driver has unless its parameter says otherwise.
constexpr std::size_t usualBufferSize = 4096;

// The most bytes that spidev takes at once in each direction.
std::size_t driverBufferSize() {
    const Descriptor file(repeatInterrupted([] { return ::open(bufferSizePath, O_RDONLY | O_CLOEXEC); }));
    if (!file) return usualBufferSize;
    std::array<char, 16> text{}; // stays terminated: one byte less is read
    if (repeatInterrupted([&] { return ::read(file.get(), text.data(), text.size() - 1); }) <= 0) {
        return usualBufferSize;
    }
    const unsigned long size = std::strtoul(text.data(), nullptr, 10);
    return size == 0 ? usualBufferSize : size;
}

// A request that sets something on the device, with its value.
struct Setting {
    unsigned long request;
    const void* value;
    const char* name;
};

// Speed and bits per word of 0 mean what `open` set; cs_change of 0 keeps the chip selected up to the last transfer.
spi_ioc_transfer transferOf(const unsigned char* sent, unsigned char* received, std::size_t size) {
    spi_ioc_transfer transfer{};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(sent);     // no buffer: zeros are clocked out
    transfer.rx_buf = reinterpret_cast<uintptr_t>(received); // no buffer: what comes in is dropped
    transfer.len = static_cast<__u32>(size);
    return transfer;
}

} // namespace

struct Spi::Impl {
    Impl(const std::string& path, int hertz, uint8_t clockMode)
        : bus("spi", path, std::to_string(hertz) + " Hz mode " + std::to_string(clockMode), "Spi " + path),
          speed(hertz),
          mode(clockMode) {}

    std::string configure(int fd) const;
    bool mayRead(int size) const { return bus.isPossible("read", size, limit); }
    bool mayWrite(const ByteArray& data) const {
        return bus.isPossible("write", static_cast<long long>(data.size()), limit);
    }

    BusDevice bus;
    const int speed;
    const uint8_t mode;
    std::size_t limit = usualBufferSize; // set by open
};

std::string Spi::Impl::configure(int fd) const {
    const auto hertz = static_cast<uint32_t>(speed);
    for (const Setting& setting : {Setting{SPI_IOC_WR_MODE, &mode, "the mode"},
                                   {SPI_IOC_WR_BITS_PER_WORD, &bitsPerWord, "8 bits per word"},
                                   {SPI_IOC_WR_MAX_SPEED_HZ, &hertz, "the speed"}}) {
        if (repeatInterrupted([&] { return ::ioctl(fd, setting.request, setting.value); }) >= 0) continue;
        const int error = errno;
        if (error == ENOTTY) return "not an SPI device; give the path of one such as /dev/spidev0.0";
        return std::string("cannot set ") + setting.name + ": " + errorText(error);
    }
    return {};
}

Spi::Spi(const std::string& path, int speed, uint8_t mode) : impl(std::make_unique<Impl>(path, speed, mode)) {}

Spi::~Spi() = default;

bool Spi::open() {
    if (impl->speed <= 0) return impl->bus.refuse("speed " + std::to_string(impl->speed) + " is not possible; give Hz");
    if (impl->mode > highestMode) {
        return impl->bus.refuse("mode " + std::to_string(impl->mode) + " is not known; use 0 to 3");
    }
    if (!impl->bus.open([this](int fd) { return impl->configure(fd); })) return false;
    impl->limit = driverBufferSize();
    return true;
}

ByteArray Spi::read(int size) {
    if (!impl->mayRead(size) || !impl->bus.isOpenTo("read") || size == 0) return {};
    ByteArray received(static_cast<std::size_t>(size));
    const spi_ioc_transfer transfer = transferOf(nullptr, received.data(), received.size());
    const int done = repeatInterrupted([&] { return ::ioctl(impl->bus.fd(), SPI_IOC_MESSAGE(1), &transfer); });
    if (!impl->bus.isComplete("read", done, received.size())) return {};
    impl->bus.tapped.read(received);
    return received;
}

bool Spi::write(const ByteArray& data) {
    if (!impl->mayWrite(data) || !impl->bus.isOpenTo("write")) return false;
    if (data.empty()) return true;
    impl->bus.tapped.written(data);
    const spi_ioc_transfer transfer = transferOf(data.data(), nullptr, data.size());
    const int done = repeatInterrupted([&] { return ::ioctl(impl->bus.fd(), SPI_IOC_MESSAGE(1), &transfer); });
    return impl->bus.isComplete("write", done, data.size());
}

ByteArray Spi::writeRead(const ByteArray& data, int size) {
    if (!impl->mayWrite(data) || !impl->mayRead(size) || !impl->bus.isOpenTo("write and read")) return {};
    if (data.empty()) return read(size);
    if (size == 0) {
        write(data);
        return {};
    }
    ByteArray received(static_cast<std::size_t>(size));
    const std::array<spi_ioc_transfer, 2> transfers{transferOf(data.data(), nullptr, data.size()),
                                                    transferOf(nullptr, received.data(), received.size())};
    impl->bus.tapped.written(data);
    const int done = repeatInterrupted([&] { return ::ioctl(impl->bus.fd(), SPI_IOC_MESSAGE(2), transfers.data()); });
    if (!impl->bus.isComplete("write and read", done, data.size() + received.size())) return {};
    impl->bus.tapped.read(received);
    return received;
}
