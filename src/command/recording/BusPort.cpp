// The bus of a host, on which the recorded module is played.
//
// Threads: the player's carries out all transactions. The line is watched by a link of the library's, whose threads
// only count what they see (`Requests`); its end waits for them.
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include <hostlink/HostLinkLib.h>
#include <hostlink/physicalLayers/SyncSerialLayer.h>
#include <serialcomm/I2c.h>
#include <serialcomm/Spi.h>

#include "BusPacket.h"
#include "PlayPort.h"
#include "command/UsageError.h"

namespace command {

namespace {

constexpr std::chrono::microseconds rereadDelay{1500}; // as a link waits for a host that is not ready
constexpr uint8_t spiMode = 0;

// How often the host has asked. Any thread.
class Requests {
public:
    void add() {
        {
            const std::lock_guard lock(mutex);
            ++untold;
        }
        more.notify_all();
    }
    bool take(std::chrono::milliseconds within) {
        std::unique_lock lock(mutex);
        if (!more.wait_for(lock, within, [this] { return untold > 0; })) return false;
        --untold;
        return true;
    }

private:
    std::mutex mutex; // guards the one below
    std::size_t untold = 0;
    std::condition_variable more;
};

// What a link asks when the line has fallen: it is told that there is an empty message, and that it asked is all that
// is wanted of it.
class Bell : public SerialBus {
public:
    explicit Bell(Requests& rung) : requests(rung) {}

    bool open() override { return true; }
    ByteArray read(int /*size*/) override { return message; }
    bool write(const ByteArray& /*data*/) override { return true; }
    ByteArray writeRead(const ByteArray& /*data*/, int /*size*/) override {
        requests.add();
        return message;
    }

private:
    const ByteArray message{0xFF, 0xFE, 13, 0, 0x23, 0, 0, 0, 0, 0, 0, 0, 0};
    Requests& requests;
};

// The line as a link watches it, by whichever interface of the kernel, and no bus.
class LineWatcher : public SyncSerialLayer {
public:
    LineWatcher(const Properties& properties, Requests& requests) : SyncSerialLayer(properties), bell(requests) {
        bus = &bell;
    }
    ~LineWatcher() override { endCalls(); }

private:
    Bell bell;
};

void setUnlessEmpty(HostLinkPhysicalLayer::Properties& properties, DeviceProperties key, const std::string& text) {
    if (!text.empty()) properties.setString(key, text);
}

HostLinkPhysicalLayer::Properties lineOf(const WireOptions& wire) {
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, wire.i2c ? *wire.i2c : *wire.spi);
    if (wire.gpio) properties.setInt(GpioNumber, *wire.gpio);
    setUnlessEmpty(properties, GpioChip, wire.gpioChip.value_or(""));
    setUnlessEmpty(properties, GpioLine, wire.gpioLine.value_or(""));
    setUnlessEmpty(properties, GpioBias, wire.bias.value_or(""));
    properties.setInt(GpioDebounce, wire.debounce.value_or(0));
    return properties;
}

std::unique_ptr<SerialBus> busOf(const WireOptions& wire) {
    if (wire.i2c) return std::make_unique<I2c>(*wire.i2c, *wire.address);
    return std::make_unique<Spi>(*wire.spi, wire.speed.value_or(hostlink::Spi{}.speed), spiMode);
}

class BusPort : public PlayPort {
public:
    explicit BusPort(const WireOptions& wire)
        : name(wire.i2c ? *wire.i2c : *wire.spi),
          isSplit(wire.twoTransactions.value_or(false)),
          bus(busOf(wire)),
          line(lineOf(wire), requests) {
        if (!bus->open()) throw UsageError("cannot open " + name + "; --log-level error says why");
        if (!line.init()) throw UsageError("cannot watch the interrupt line; --log-level error says why");
    }

    const std::string& path() const override { return name; }

    bool say(const Step& step) override {
        asked = &step;
        isAnswered = step.turn.readSize == 0;
        if (isAnswered) return bus->write(step.bytes);
        transact();
        return true; // one that fails is a host that does not answer
    }

    ByteArray read(std::chrono::milliseconds within) override {
        const auto until = std::chrono::steady_clock::now() + within;
        while (unread.empty() && std::chrono::steady_clock::now() < until) lookAgain(within);
        return std::exchange(unread, {});
    }

    bool awaitRequest(std::chrono::milliseconds within) override { return requests.take(within); }
    bool isGone() const override { return false; } // a bus stays, whoever is on it

private:
    int readSize() const { return static_cast<int>(asked->turn.readSize); }

    void transact() {
        if (!isSplit)
            take(bus->writeRead(asked->bytes, readSize()));
        else if (bus->write(asked->bytes))
            take(bus->read(readSize()));
    }

    bool isIrq() const { return HostLinkPacket::frameType(asked->bytes) == FRT_Irq; }

    // What has no packet in it is a host that is not ready; an IRQ frame that is answered like a packet has brought
    // none.
    void take(const ByteArray& bytes) {
        const ByteArray packet = packetAtBegin(bytes);
        isRefused = isIrq() && isRefusal(packet);
        isAnswered = !packet.empty() && !(isIrq() && isResponse(packet));
        if (isAnswered) unread.insert(unread.end(), packet.begin(), packet.end());
    }

    void lookAgain(std::chrono::milliseconds within) {
        if (asked == nullptr || isAnswered) {
            std::this_thread::sleep_for(within);
            return;
        }
        // A host that had nothing to say when it was asked, and asks to be, wants to be asked once more.
        if (isIrq() && requests.take(std::chrono::milliseconds(0))) return transact();
        std::this_thread::sleep_for(rereadDelay);
        if (isRefused) return transact();
        take(bus->read(readSize()));
    }

    const std::string name;
    const bool isSplit; // into two transactions
    const std::unique_ptr<SerialBus> bus;
    const Step* asked = nullptr; // said last
    bool isAnswered = false;
    bool isRefused = false;
    ByteArray unread;
    Requests requests;
    LineWatcher line; // the last: its threads use the requests
};

} // namespace

std::unique_ptr<PlayPort> openBus(const WireOptions& wire) {
    wire.wire(); // says what is missing
    return std::make_unique<BusPort>(wire);
}

} // namespace command
