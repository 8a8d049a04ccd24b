#include "CheckerPorts.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <utility>

#include <sys/prctl.h>

#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

using hostcheck::Time;

// A null pointer with a serial library that has no such function.
[[gnu::weak]] void uartEnd(Uart& uart);

namespace {

constexpr Time shortestWait = hostcheck::milliseconds(1);
constexpr unsigned mostLateLooks = 10;
constexpr Time usualDelay = hostcheck::milliseconds(10); // of a wait's end, on a machine with other things to do
constexpr unsigned long readSize = 4096;
constexpr int bitsWithoutParity = 10;
constexpr uint8_t spiMode = 0;

std::atomic<bool> signalled{false}; // set by whichever thread a signal finds

extern "C" void noteSignal(int /*signal*/) {
    signalled = true;
}

std::unique_ptr<SerialBus> busOf(const HostcheckOptions& options) {
    if (options.link == "i2c") return std::make_unique<I2c>(options.device, options.i2cAddress);
    return std::make_unique<Spi>(options.device, options.spiSpeed, spiMode);
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

Time timeOnLine(const HostcheckOptions& options, size_t bytes) {
    const int bitsOfAByte = bitsWithoutParity + (options.parity == "none" ? 0 : 1) + (options.uartOptions & 1);
    return Time(static_cast<int64_t>(bytes) * bitsOfAByte * Time(std::chrono::seconds(1)).count() / options.baud);
}

bool OwnDelays::noteOver(Time due) {
    noteDone();
    const Time late = lastNoted - due;
    if (late <= usualDelay) return false;
    total += late;
    return true;
}

void OwnDelays::noteDone() {
    lastNoted = CheckerClock::ofMachine();
}

SerialPort::SerialPort(const HostcheckOptions& checkOptions)
    : CheckerPort(checkOptions.clock),
      options(checkOptions),
      uart(std::make_unique<Uart>(options.device, options.baud, options.uartOptions, options.parity, true)) {
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

void SerialPort::send(const ByteArray& bytes) {
    Interruption::check();
    const Time due = ownDelays.dueAfter(lineTime(bytes.size()));
    if (!uart->write(bytes)) throw hostcheck::LineLost("cannot write to the port");
    ownDelays.noteOver(due);
}

// A wait that has lasted longer than it should tells nothing about the host: it is looked once more. So it is with each
// of the first looks that the machine makes late.
ByteArray SerialPort::receive(Time until) {
    std::unique_lock<std::mutex> lock(arrivals->mutex);
    bool wasLate = false;
    for (unsigned lateLooks = 0; arrivals->come.empty(); lateLooks += wasLate ? 1 : 0) {
        Interruption::check();
        if (arrivals->isLost) throw hostcheck::LineLost("the port is lost");
        const Time left = until - now();
        if (left <= Time(0) && (!wasLate || lateLooks > mostLateLooks)) return {};
        const Time span = std::clamp(left, shortestWait, Interruption::within);
        const Time due = ownDelays.dueAfter(span);
        arrivals->changed.wait_for(lock, span);
        wasLate = ownDelays.noteOver(due);
    }
    return std::exchange(arrivals->come, {});
}

BusPort::BusPort(const HostcheckOptions& options) : CheckerPort(options.clock), device(busOf(options)) {
    if (!device->open()) throw std::runtime_error("cannot open " + options.device);
    line = openLine(options);
}

namespace {

// The host may hold the clock of a bus for long: that is no delay of this machine's.
class BusCall {
public:
    explicit BusCall(OwnDelays& ownDelays) : delays(ownDelays) {
        Interruption::check();
        delays.noteRunning();
    }
    ~BusCall() { delays.noteDone(); }
    BusCall(const BusCall&) = delete;
    BusCall& operator=(const BusCall&) = delete;

private:
    OwnDelays& delays;
};

} // namespace

bool BusPort::write(const ByteArray& bytes) {
    const BusCall call(ownDelays);
    return device->write(bytes);
}

ByteArray BusPort::read(size_t count) {
    const BusCall call(ownDelays);
    return device->read(static_cast<int>(count));
}

ByteArray BusPort::writeRead(const ByteArray& bytes, size_t count) {
    const BusCall call(ownDelays);
    return device->writeRead(bytes, static_cast<int>(count));
}

bool BusPort::waitForEdge(Time until) {
    while (true) {
        Interruption::check();
        const Time left = until - now();
        const Time span = std::clamp(left, Time(0), Interruption::within);
        const Time due = ownDelays.dueAfter(span);
        const bool hasFallen = line->waitForEdge(span);
        ownDelays.noteOver(due);
        if (hasFallen) return true;
        if (left <= Time(0)) return false;
    }
}

void BusPort::pause(Time until) {
    for (Time left = until - now(); left > Time(0); left = until - now()) {
        Interruption::check();
        const Time span = std::min(left, Interruption::within);
        const Time due = ownDelays.dueAfter(span);
        std::this_thread::sleep_for(span);
        ownDelays.noteOver(due);
    }
}
