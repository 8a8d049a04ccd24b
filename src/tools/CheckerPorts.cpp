#include "CheckerPorts.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>
#include <terminal/SystemError.h>

using hostcheck::Time;

// A null pointer with a serial library that has no such function.
[[gnu::weak]] void uartEnd(Uart& port);

namespace {

constexpr Time slice = hostcheck::milliseconds(50); // a signal is noticed within it
constexpr unsigned long readSize = 4096;
constexpr int bitsWithoutParity = 10;
constexpr uint8_t spiMode = 0;

std::atomic<bool> signalled{false}; // set by whichever thread a signal finds

extern "C" void noteSignal(int /*signal*/) {
    signalled = true;
}

Time sinceStart() {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

std::unique_ptr<SerialBus> busOf(const HostcheckOptions& options) {
    if (options.link == "i2c") return std::make_unique<I2c>(options.device, options.i2cAddress);
    return std::make_unique<Spi>(options.device, options.spiSpeed, spiMode);
}

std::string lineFile(int gpio, const char* name) {
    return "/sys/class/gpio/gpio" + std::to_string(gpio) + "/" + name;
}

void tell(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush; // what the line was set up to before may do: the value's file tells
}

descriptor::Descriptor openValue(int gpio) {
    const std::string path = lineFile(gpio, "value");
    return descriptor::Descriptor(checked(::open(path.c_str(), O_RDONLY | O_CLOEXEC), "cannot open " + path));
}

char readValue(int file) {
    char value = '1';
    checked(static_cast<int>(::pread(file, &value, 1, 0)), "cannot read the interrupt line");
    return value;
}

} // namespace

void Interruption::takeSignals() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    ::prctl(PR_SET_TIMERSLACK, 1UL); // ns; the default of 50 us is seen in the times of answers
}

void Interruption::check() {
    if (signalled.exchange(false)) throw hostcheck::Interrupted();
}

SerialPort::SerialPort(const HostcheckOptions& options)
    : uart(std::make_unique<Uart>(options.device, options.baud, options.uartOptions, options.parity, true)),
      bitsOfAByte(bitsWithoutParity + (options.parity == "none" ? 0 : 1) + (options.uartOptions & 1)),
      baud(options.baud) {
    if (!uart->init()) throw std::runtime_error("cannot open " + options.device);
    reader = std::thread([port = uart.get(), shared = arrivals] { readOn(*port, *shared); });
}

// Another serial library may not be able to end a port that is being read: port and reader then stay until the process
// ends.
SerialPort::~SerialPort() {
    if (uartEnd == nullptr) {
        reader.detach();
        static_cast<void>(uart.release());
        return;
    }
    uartEnd(*uart);
    reader.join();
}

void SerialPort::readOn(Uart& port, Arrivals& arrivals) {
    while (true) {
        bool error = false;
        const ByteArray bytes = port.read(readSize, &error);
        const std::lock_guard<std::mutex> lock(arrivals.mutex);
        arrivals.come.insert(arrivals.come.end(), bytes.begin(), bytes.end());
        arrivals.isLost = error;
        arrivals.changed.notify_one();
        if (error) return;
    }
}

Time SerialPort::now() {
    return sinceStart();
}

void SerialPort::send(const ByteArray& bytes) {
    Interruption::check();
    if (!uart->write(bytes)) throw hostcheck::LineLost("cannot write to the port");
}

ByteArray SerialPort::receive(Time until) {
    std::unique_lock<std::mutex> lock(arrivals->mutex);
    while (arrivals->come.empty()) {
        Interruption::check();
        if (arrivals->isLost) throw hostcheck::LineLost("the port is lost");
        const Time time = now();
        if (time >= until) return {};
        arrivals->changed.wait_for(lock, std::min(until - time, slice));
    }
    return std::exchange(arrivals->come, {});
}

Time SerialPort::lineTime(size_t bytes) const {
    return Time(static_cast<int64_t>(bytes) * bitsOfAByte * Time(std::chrono::seconds(1)).count() / baud);
}

BusPort::BusPort(const HostcheckOptions& options) : device(busOf(options)) {
    if (!device->open()) throw std::runtime_error("cannot open " + options.device);
    tell("/sys/class/gpio/export", std::to_string(options.gpio));
    tell(lineFile(options.gpio, "direction"), "in");
    tell(lineFile(options.gpio, "edge"), "falling");
    edges = openValue(options.gpio);
    level = openValue(options.gpio);
    isPending = readValue(edges.get()) == '0'; // a line that is low already counts as an edge
}

Time BusPort::now() {
    return sinceStart();
}

bool BusPort::write(const ByteArray& bytes) {
    Interruption::check();
    return device->write(bytes);
}

ByteArray BusPort::read(size_t count) {
    Interruption::check();
    return device->read(static_cast<int>(count));
}

ByteArray BusPort::writeRead(const ByteArray& bytes, size_t count) {
    Interruption::check();
    return device->writeRead(bytes, static_cast<int>(count));
}

bool BusPort::lineLow() {
    return readValue(level.get()) == '0';
}

bool BusPort::waitForEdge(Time until) {
    while (!std::exchange(isPending, false)) {
        Interruption::check();
        const Time time = now();
        pollfd line{edges.get(), POLLPRI, 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::clamp(until - time, Time(0), slice));
        const int ready = ::poll(&line, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR) throwSystemError("cannot wait for the interrupt line");
        if (ready > 0) {
            readValue(edges.get());
            return true;
        }
        if (time >= until) return false;
    }
    return true;
}

void BusPort::pause(Time until) {
    while (now() < until) {
        Interruption::check();
        std::this_thread::sleep_for(std::min(until - now(), slice));
    }
}
