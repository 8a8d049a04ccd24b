#include "UartReader.h"

#include <mutex>
#include <utility>

#include <serialcomm/UartEnding.h>

#include "command/UsageError.h"

// A null pointer with a serial library that has no such function.
[[gnu::weak]] void uartEnd(Uart& uart);

namespace command {

struct UartReader::Taker {
    std::mutex mutex; // guards the function, which is called with it
    Take take;
};

UartReader::UartReader(const std::string& device, int baud, const std::string& parity, Take take)
    : port(std::make_unique<Uart>(device, baud, 0, parity, true)), taker(std::make_shared<Taker>()) {
    taker->take = std::move(take);
    if (!port->init()) throw UsageError("cannot open " + device + "; --log-level error says why");
    reader = std::thread([uart = port.get(), to = taker] { run(*uart, *to); });
}

// Another serial library may not be able to end a port that is being read: port and reader then stay until the process
// ends.
UartReader::~UartReader() {
    {
        const std::lock_guard lock(taker->mutex);
        taker->take = nullptr;
    }
    if (uartEnd == nullptr) {
        reader.detach();
        static_cast<void>(port.release());
        return;
    }
    uartEnd(*port);
    reader.join();
}

void UartReader::run(Uart& port, Taker& taker) {
    constexpr unsigned long most = 4096;
    for (bool error = false; !error;) {
        const ByteArray bytes = port.read(most, &error);
        const std::lock_guard lock(taker.mutex);
        if (taker.take) taker.take(bytes);
    }
}

} // namespace command
