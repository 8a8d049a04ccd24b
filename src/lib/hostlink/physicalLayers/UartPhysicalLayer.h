/// @file
/// The link over a serial port.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "../HostLinkLib.h"
#include "../HostLinkPhysicalLayer.h"
#include "../LinkCounters.h"

class CallGate;
class SharedUart;
class Uart;

/// Carries packets over a serial port.
///
/// Properties: `DevicePath`, `UartBaudRate` and `UartResponseTimeout` are required, `UartParity` and `UartOptions` are
/// optional; they are read by `init`. A reader thread cuts the incoming bytes into packets, acknowledges message
/// packets and delivers them to the observers, after the acknowledgement. A writer waits for the host's response to its
/// packet; one writer at a time is assumed. An observer must not write: the thread it runs on is the one that would
/// read the response.
class HOSTLINK_EXPORT UartPhysicalLayer : public HostLinkPhysicalLayer, public CountingLink {
public:
    explicit UartPhysicalLayer(const Properties& linkProperties);

    /// Wakes a writer that waits for a response, which comes back at once with `NoResponse`, closes the port, waits for
    /// the reader thread and for writers on their way out. The reader thread must have been started: destroying a link
    /// whose `init` was never called or failed ends the process, on purpose.
    ~UartPhysicalLayer() override;

    /// Opens the port and starts the reader thread. Once per object: a second call while the reader thread is held ends
    /// the process.
    /// @return false, with an ERROR line: a required property is missing; the port cannot be opened
    /// @throw std::invalid_argument, std::out_of_range a number in the properties cannot be read; std::bad_alloc. The
    ///        link is as after a failed `init` then
    bool init() override;

    /// Does nothing: only destruction stops the link.
    void shutdown() override;

    /// 0 to 255, then 0 again; response frames draw from the same counter. Any thread.
    int nextFrameId() override;

    /// Sends one packet and waits for the host's response. There is no retry here.
    /// @return `Accepted` for an empty packet, which is not sent; `NoResponse` when the packet could not be written, no
    ///         response came in time, or what came is not a response frame; else what the response says
    WriteDataResponse writeData(const ByteArray& packet) override;

    /// Whether the port is present. Any thread.
    bool uartOk() const;

    /// One read of up to `size` bytes. Reader thread.
    /// @param error set to true when the port is absent or can no longer be read; else left alone
    ByteArray readPacket(int size, bool* error);

    /// Writes one response frame. Any thread.
    bool sendAckPacket(AcknowledgeType type);

    /// Dispatches one packet: a response goes to the waiting writer, a message packet is acknowledged and delivered,
    /// anything else is refused. Reader thread.
    void handleIncomingPacket(const ByteArray& packet, bool valid);

    /// Writes one packet and returns the host's response; empty when none came. A response that arrived while nobody
    /// waited is kept and answers the next packet, unless a fresh one replaces it in time.
    ByteArray writePacket(const ByteArray& packet);

    /// The reader thread's loop: until the port can no longer be read.
    void readFromUartLoop();

    /// Garbage bytes, bad and other packets.
    void countInto(LinkCounts& counts) override;

private:
    bool openPort();
    bool startReader();
    void beginClosing();
    void storeResponse(const ByteArray& packet);
    ByteArray awaitResponse();
    void dropHeldOutput(Uart& port);
    void reportQueuedOutput();
    void count(LinkCounter what, uint64_t times = 1);

    const Properties properties;
    std::atomic<uint8_t> frameId{0};  // drawn by writers and, for response frames, by the reader
    std::unique_ptr<SharedUart> uart; // the pointer is constant; the port inside has its own lock
    std::thread readThread;           // init() and the destructor
    std::mutex responseMutex;         // guards response, and responseReceived but for its early clearing
    std::condition_variable responseCondition;
    std::mutex writeMutex; // one packet or response frame on the wire at a time; never held while waiting
    std::atomic<bool> responseReceived{false}; // a writer clears it without the lock before it writes
    ByteArray response;
    std::atomic<bool> closing{false};  // set under responseMutex, before the port goes: nobody waits or reads any more
    int ackTimeoutMs = -1;             // milliseconds; set by init() before the link is used
    bool flowControl = false;          // as above
    std::atomic<int> queuedByWrite{0}; // bytes in the port right after the last packet; with flow control only
    std::atomic<int> heldOutput{
        0};                        // bytes that had not moved when a response failed to come; the next packet clears it
    LinkCounts* counted = nullptr; // constant from init() on
    std::unique_ptr<CallGate> writers; // the destructor waits for writers inside
};
