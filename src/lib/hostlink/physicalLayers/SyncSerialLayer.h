/// @file
/// The link over a clocked bus on which the module is master.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "../HostLinkLib.h"
#include "../HostLinkPhysicalLayer.h"
#include "../LinkCounters.h"

class CallGate;
class InterruptLine;
class IrqExchange;
class SerialBus;
class StopSignal;

/// Carries packets over I2C or SPI; a subclass opens the bus.
///
/// The host cannot send on its own: it pulls a GPIO line low, and the link then polls it with an IRQ frame. Two
/// threads: a watcher of the line and a reader that serves each falling edge with one exchange.
///
/// Observers run on the reader thread while the bus is held: an observer must not write through this link itself.
class HOSTLINK_EXPORT SyncSerialLayer : public HostLinkPhysicalLayer, public CountingLink {
public:
    /// Properties: `DevicePath` and `GpioNumber`, both required; an ERROR line when one is missing. Opens nothing. With
    /// `GpioChip` a `GpioLine` will do in place of the number; the keys that go with it are read too.
    explicit SyncSerialLayer(const Properties& properties);

    /// Ends all calls, as `endCalls` does. The bus object is not destroyed: a transfer that hangs in the driver may
    /// still be using it.
    ~SyncSerialLayer() override;

    /// Sets up the line and starts both threads. Works without a bus: each transfer then fails. Files of the line that
    /// may not be opened yet are waited for, a second at most. May be called again after `shutdown`.
    /// @return false, with an ERROR line and nothing left open: the line cannot be opened, the stop signal or a
    ///         thread cannot be made, or the link is running already
    /// @throw std::bad_alloc nothing is left open then, either
    bool init() override;

    /// Stops both threads and waits for them. Edges that are queued are still served, as long as the host answers and
    /// a second is not over. Without effect before `init` and when called again.
    void shutdown() override;

    /// 0 to 255, then 0 again; response and IRQ frames draw from the same counter. Any thread.
    int nextFrameId() override;

    /// Writes one packet and reads the host's response in the same bus transaction. Any thread; there is no retry here.
    /// @return `Accepted` for an empty packet, which is not sent; `NoResponse` when nothing or something other than a
    ///         response frame came, or the link is being destroyed; else what the response says
    WriteDataResponse writeData(const ByteArray& packet) override;

    /// Writes one response frame; false when that fails, or when the link is being destroyed. The caller holds the bus.
    virtual bool sendAckPacket(AcknowledgeType type);

    /// Whether the bus is open.
    virtual bool serialOk();

    /// One transaction: writes `packet`, reads `size` bytes, and reads again up to three times, 1.5 ms apart, until
    /// what was read begins with the start mark. The caller holds the bus.
    /// @return what was read last; empty when there is no bus
    ByteArray writeReadPacket(const ByteArray& packet, int size);

    /// One exchange: asks the host with an IRQ frame and reads `size` bytes of what it has to say. Reader thread.
    void readFromSlave(int size);

    /// The reader thread's loop: until a stop entry comes out of the queue.
    void readLoop();

    /// The watcher thread's loop: until the stop signal, or until the line cannot be watched any more.
    void gpioIrqLoop();

    /// Closes `*fd` unless it is negative and sets it to −1; a null pointer is ignored.
    void closeAndClearFd(int* fd);

    /// All but garbage bytes: edges, exchanges, reads again, bad and other packets.
    void countInto(LinkCounts& counts) override;

protected:
    /// Ends what calls into this object: shuts down, refuses further calls of `writeData` and `sendAckPacket`, and
    /// waits for those that are inside. For good: there is no `init` afterwards. May be called again; not from an
    /// observer.
    ///
    /// The first thing that the destructor of each subclass does. Both threads and the callers make virtual calls, and
    /// those must meet a whole object: once the destructor of the most derived class has ended, they would not.
    void endCalls();

    /// Whether the properties say which line the host pulls.
    bool hasLine() const;

    SerialBus* bus = nullptr; ///< set by the subclass's constructor and constant from then on; never deleted here
    std::string devicePath;   ///< empty when the properties are incomplete
    int gpioNumber = -1;      ///< −1 when the properties are incomplete, or name the line

private:
    struct Round;
    struct Served;

    void readProperties(const Properties& properties);
    bool openDescriptors();
    void closeDescriptors();
    bool startThreads();
    void undoInit();
    void signalWatcher();
    void queueEdges(std::size_t edges);
    void queueStop();
    bool takeEdge(const Served& last);
    bool isWorthServing(const Served& last) const;
    Served serveEdge();
    bool waitForEdge();
    bool isStillLow();
    bool isQueueEmpty();
    Round exchange(int size);
    WriteDataResponse writeAndAwaitResponse(const ByteArray& packet);
    ByteArray transfer(const ByteArray& packet, int size);
    void join(std::unique_ptr<std::thread>& thread);
    void count(LinkCounter what, uint64_t times = 1);

    std::atomic<uint8_t> frameId{0}; // drawn by writers and by the reader
    const int irqReadSize = 64;      // bytes announced in an IRQ frame unless the host asks for more

    bool lineHasName = false;                // constant after construction
    std::chrono::milliseconds secondLook{0}; // constant after construction; 0: none

    // Guards the descriptors, the line's among them: the watcher closes them while shutdown() writes one, or the reader
    // looks at the level. Before the watcher runs, and in its own use of the line, nobody closes them.
    std::mutex descriptorMutex;
    std::unique_ptr<InterruptLine> line;          // the pointer is constant after construction
    const std::unique_ptr<StopSignal> stopSignal; // wakes the watcher for shutdown

    std::unique_ptr<std::thread> readThread; // init() and shutdown(), on one thread at a time
    std::unique_ptr<std::thread> gpioThread;

    // What the watcher has for the reader, first in, first out: falling edges, and behind them the stop. All edges are
    // alike, so the queue is kept as numbers, and neither an interrupt nor the end of the link needs memory.
    struct EventQueue {
        std::size_t edges = 0;
        bool stop = false; // nothing comes behind it
    };
    std::mutex queueMutex; // guards eventQueue and stopTime
    std::condition_variable queueCondition;
    EventQueue eventQueue;
    std::chrono::steady_clock::time_point stopTime; // when the stop was queued

    // Whether the exchange that ended last brought a packet that verifies, and an end. Set by each; the reader asks.
    std::atomic<bool> hostAnswered{true};

    std::mutex busMutex;                      // held for a whole transaction, observers of a received packet included
    std::unique_ptr<IrqExchange> irqExchange; // guarded by busMutex
    LinkCounts* counted = nullptr;            // constant from init() on
    std::unique_ptr<CallGate> callers;        // the destructor waits for calls of other threads that are inside
};
