/// @file
/// A serial port that is read all the time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <hostlink/ByteArray.h>
#include <serialcomm/Uart.h>

namespace command {

/// A thread of its own reads: the port waits for ever.
class UartReader {
public:
    /// On the reader's thread; no bytes: the port is gone, and nothing comes any more.
    using Take = std::function<void(const ByteArray&)>;

    /// @throw UsageError the port cannot be opened
    UartReader(const std::string& device, int baud, const std::string& parity, Take take);
    /// Nothing is handed on any more.
    ~UartReader();
    UartReader(const UartReader&) = delete;
    UartReader& operator=(const UartReader&) = delete;

    bool write(const ByteArray& bytes) { return port->write(bytes); }

private:
    struct Taker;
    static void run(Uart& port, Taker& taker);

    std::unique_ptr<Uart> port;
    const std::shared_ptr<Taker> taker;
    std::thread reader;
};

} // namespace command
