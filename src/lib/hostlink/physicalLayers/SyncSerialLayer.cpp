#include "SyncSerialLayer.h"

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>

#include <descriptor/Descriptor.h>
#include <serialcomm/SerialBus.h>

#include "InterruptLine.h"
#include "StopSignal.h"
#include "hostlink/HostLinkIrqFrame.h"
#include "hostlink/HostLinkRspFrame.h"
#include "hostlink/link/CallGate.h"
#include "hostlink/link/HostResponse.h"
#include "hostlink/link/LinkLogger.h"
#include "hostlink/link/LinkThread.h"
#include "hostlink/link/Trace.h"
#include "hostlink/machines/IrqExchange.h"

// Threads
//
//   writer (application thread)     reader thread (readLoop)            watcher thread (gpioIrqLoop)
//   writeData                       queueMutex: take the front   <----  queueMutex: append an edge
//     busMutex: write packet,       readFromSlave                         ^
//       read response                 busMutex: IRQ frame, reply,         | poll: line, stop signal
//                                       acknowledge, observers            |
//                                                                     host's GPIO line falls
//
// The watcher never touches the bus. Observers run with busMutex held: the acknowledgement and the delivery of a packet
// are one transaction as far as other users of the bus can see.
//
// Stopping, in shutdown(): the stop signal wakes the watcher, a stop entry wakes the reader; both are joined. The
// watcher closes the descriptors as it leaves, whatever made it leave.
//
// Destroying, in endCalls(), from the most derived destructor: shutdown(), so that nobody calls from inside; then the
// gate is closed to calls from outside, and those that are inside (a writer queued on busMutex) are waited for. The
// reader's acknowledgements pass the gate too: it must not close before the reader has been joined.

using std::chrono::steady_clock;

namespace {

constexpr int maxRereads = 3;
constexpr std::chrono::microseconds rereadDelay{1500}; // the host prepares its answer meanwhile
// A host that answers every IRQ frame with another one would hold the bus and this thread for ever. An honest one
// announces a size once.
constexpr size_t maxRounds = 64;
// A link ends within a second. The rest of it is for the end itself, and for an exchange that takes longer than the one
// before it.
constexpr std::chrono::milliseconds servedAfterStop{950};
// The reader does nothing else meanwhile, and an end waits for it.
constexpr std::chrono::milliseconds longestSecondLook{100};

bool startsWithSop(const ByteArray& bytes) {
    return bytes.size() >= 2 && hostLinkPacketHasSop(bytes.data(), 2) == 0;
}

} // namespace

/// One exchange that was made for an edge.
struct SyncSerialLayer::Served {
    steady_clock::time_point end;
    steady_clock::duration took;
    bool answered;
};

/// What one IRQ frame led to.
struct SyncSerialLayer::Round {
    bool again;
    int size; // bytes to read next time
};

SyncSerialLayer::SyncSerialLayer(const Properties& properties)
    : HostLinkPhysicalLayer(properties),
      stopSignal(std::make_unique<StopSignal>()),
      irqExchange(std::make_unique<IrqExchange>()),
      callers(std::make_unique<CallGate>()) {
    readProperties(properties);
    line = makeInterruptLine(properties, gpioNumber);
}

void SyncSerialLayer::readProperties(const Properties& properties) {
    lineHasName = properties.contains(GpioChip) && properties.contains(GpioLine);
    if (!properties.contains(DevicePath) || !(properties.contains(GpioNumber) || lineHasName)) {
        LOG4CPLUS_ERROR(logger, "Some of Serial device attributes not defined");
        lineHasName = false;
        return;
    }
    devicePath = properties.getString(DevicePath);
    if (properties.contains(GpioNumber)) gpioNumber = properties.getInt(GpioNumber);
    secondLook = std::chrono::milliseconds(properties.getInt(GpioSecondLook));
    if (secondLook < secondLook.zero() || secondLook > longestSecondLook) {
        LOG4CPLUS_WARN(logger, "GpioSecondLook " << secondLook.count() << " is not possible, none is taken; give 1 to "
                                                 << longestSecondLook.count() << " milliseconds");
        secondLook = secondLook.zero();
    }
    LOG4CPLUS_DEBUG(logger, "Serial device path: " << devicePath);
    if (gpioNumber >= 0 || !lineHasName) LOG4CPLUS_DEBUG(logger, "gpio: " << gpioNumber);
    if (!properties.contains(GpioChip)) return;
    LOG4CPLUS_DEBUG(logger, "gpio chip: " << properties.getString(GpioChip));
    if (lineHasName) LOG4CPLUS_DEBUG(logger, "gpio line: " << properties.getString(GpioLine));
}

bool SyncSerialLayer::hasLine() const {
    return gpioNumber >= 0 || lineHasName;
}

// For a subclass that has not ended the calls itself.
SyncSerialLayer::~SyncSerialLayer() {
    endCalls();
}

void SyncSerialLayer::endCalls() {
    SyncSerialLayer::shutdown();
    callers->closeAndWait();
}

// Set-up

bool SyncSerialLayer::init() {
    if (readThread || gpioThread) {
        LOG4CPLUS_ERROR(logger, "Serial device is already initialised");
        return false;
    }
    try {
        if (openDescriptors() && startThreads()) return true;
    } catch (...) { // no memory
        undoInit();
        throw;
    }
    undoInit();
    return false;
}

// The watcher is started last: where anything failed, it does not run.
void SyncSerialLayer::undoInit() {
    if (readThread) queueStop();
    join(readThread);
    closeDescriptors();
}

bool SyncSerialLayer::openDescriptors() {
    if (!line->open()) return false; // may take a second: not under the lock
    const std::lock_guard lock(descriptorMutex);
    return stopSignal->make();
}

void SyncSerialLayer::closeDescriptors() {
    const std::lock_guard lock(descriptorMutex);
    line->close();
    stopSignal->close();
}

void SyncSerialLayer::closeAndClearFd(int* fd) {
    if (fd != nullptr && *fd >= 0) descriptor::Descriptor(std::exchange(*fd, -1)).reset();
}

bool SyncSerialLayer::startThreads() {
    {
        const std::lock_guard lock(queueMutex);
        eventQueue = {}; // without what an earlier run left
    }
    try {
        readThread = makeLinkThread([this] { readLoop(); });
        gpioThread = makeLinkThread([this] { gpioIrqLoop(); });
    } catch (const std::system_error& failure) {
        LOG4CPLUS_ERROR(logger, "Failed to start the serial device threads: " << failure.what());
        return false;
    }
    return true;
}

// Stopping

void SyncSerialLayer::shutdown() {
    signalWatcher();
    if (gpioThread) queueStop();
    join(readThread);
    join(gpioThread);
}

void SyncSerialLayer::signalWatcher() {
    const std::lock_guard lock(descriptorMutex);
    stopSignal->raise();
}

void SyncSerialLayer::countInto(LinkCounts& counts) {
    counted = &counts;
}

void SyncSerialLayer::count(LinkCounter what, uint64_t times) {
    if (counted != nullptr) counted->add(what, times);
}

void SyncSerialLayer::join(std::unique_ptr<std::thread>& thread) {
    if (!thread) return;
    thread->join();
    thread.reset();
}

// Watcher thread

void SyncSerialLayer::gpioIrqLoop() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    while (waitForEdge()) {
    }
    closeDescriptors();
    HOSTLINK_TRACE_LEAVE(logger, scope, "");
}

// One wake-up of the watcher; false when it has to leave.
bool SyncSerialLayer::waitForEdge() {
    const InterruptLine::Wait wait = line->beforeWait();
    const StopSignal::Ends stop = stopSignal->ends(); // nobody closes them but this thread
    pollfd waits[] = {{wait.descriptor, wait.events, 0}, {stop.counter, POLLIN | POLLPRI, 0}, {stop.pipe, 0, 0}};
    if (::poll(waits, 3, wait.timeout) < 0) {
        if (errno == EINTR) return true;
        LOG4CPLUS_ERROR(logger, "poll failed");
        return false;
    }
    if (waits[1].revents != 0 || waits[2].revents != 0) {
        LOG4CPLUS_INFO(logger, "stopping irq loop");
        return false;
    }
    const InterruptLine::Seen seen = line->afterWait(waits[0].revents);
    if (seen.edges > 0) queueEdges(seen.edges);
    return seen.watchable;
}

// The reader is waked with the lock free again, or it would run into it at once and sleep a second time. The condition
// outlives both notifications: whoever stops the link joins the watcher before anything goes, and is itself the one
// that queues the stop.
void SyncSerialLayer::queueEdges(std::size_t edges) {
    count(LinkCounter::Edges, edges);
    {
        const std::lock_guard lock(queueMutex);
        if (eventQueue.stop) return;
        eventQueue.edges += edges;
    }
    queueCondition.notify_all();
}

void SyncSerialLayer::queueStop() {
    {
        const std::lock_guard lock(queueMutex);
        eventQueue.stop = true;
        stopTime = steady_clock::now();
    }
    queueCondition.notify_all();
}

// Reader thread

void SyncSerialLayer::readLoop() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    for (Served last{}; takeEdge(last); last = serveEdge()) {
    }
    HOSTLINK_TRACE_LEAVE(logger, scope, "");
}

// Waits for the next entry of the queue; false when it says stop, or when what is in front of the stop is given up.
bool SyncSerialLayer::takeEdge(const Served& last) {
    std::unique_lock lock(queueMutex);
    queueCondition.wait(lock, [this] { return eventQueue.edges > 0 || eventQueue.stop; });
    if (eventQueue.edges == 0) return false;
    if (eventQueue.stop && !isWorthServing(last)) {
        LOG4CPLUS_WARN(logger, "Stopping with " << eventQueue.edges << " interrupts not served");
        return false;
    }
    --eventQueue.edges;
    return true;
}

// Whether an edge in front of the stop is still served, with queueMutex held. Only an exchange that ended after the
// stop tells something about the host as it is now: whether it answers, and how long the next one will take.
bool SyncSerialLayer::isWorthServing(const Served& last) const {
    const bool telling = last.end >= stopTime;
    if (telling && !last.answered) return false;
    const auto expected = telling ? last.took : steady_clock::duration::zero();
    return steady_clock::now() + expected <= stopTime + servedAfterStop;
}

SyncSerialLayer::Served SyncSerialLayer::serveEdge() {
    const auto begin = steady_clock::now();
    readFromSlave(irqReadSize);
    if (!hostAnswered && isStillLow()) readFromSlave(irqReadSize);
    const auto end = steady_clock::now();
    return {end, end - begin, hostAnswered};
}

// A host that was too slow for the re-reads, and holds the line low, makes no edge that would lead to another exchange.
bool SyncSerialLayer::isStillLow() {
    if (secondLook == secondLook.zero() || !isQueueEmpty()) return false;
    std::this_thread::sleep_for(secondLook);
    if (!isQueueEmpty()) return false; // the next exchange comes anyway, or none does
    const std::lock_guard lock(descriptorMutex);
    return stopSignal->isMade() && line->isLow();
}

bool SyncSerialLayer::isQueueEmpty() {
    const std::lock_guard lock(queueMutex);
    return eventQueue.edges == 0 && !eventQueue.stop;
}

void SyncSerialLayer::readFromSlave(int size) {
    std::vector<int> sizes; // of the rounds, for the exit lines: a round that leads to another one ends after it
    for (Round round{true, size}; round.again;) {
        HOSTLINK_TRACE_ENTER(logger, scope, "readSize: " << round.size);
        sizes.push_back(round.size);
        round = exchange(round.size);
        if (round.again && sizes.size() == maxRounds) {
            LOG4CPLUS_ERROR(logger, "Exchange given up after " << maxRounds << " IRQ frames without a message");
            hostAnswered = false;
            break;
        }
    }
    for (; !sizes.empty(); sizes.pop_back()) HOSTLINK_TRACE_LEAVE(logger, scope, "readSize: " << sizes.back());
}

SyncSerialLayer::Round SyncSerialLayer::exchange(int size) {
    const ByteArray irqFrame =
        HostLinkIrqFrame::create(static_cast<unsigned char>(nextFrameId()), static_cast<unsigned int>(size));
    printBuffer(irqFrame, "Sending IRQ frame: ");
    count(LinkCounter::Exchanges);

    const std::lock_guard lock(busMutex);
    const ByteArray reply = writeReadPacket(irqFrame, size);
    printBuffer(reply, "Read slave message: ");
    const IrqExchange::Decision decision = irqExchange->decide(reply);
    hostAnswered = decision.verdict != IrqExchange::Verdict::Invalid;
    switch (decision.verdict) {
    case IrqExchange::Verdict::Invalid:
        count(LinkCounter::BadPackets);
        LOG4CPLUS_ERROR(logger, "Invalid message received");
        sendAckPacket(AcknowledgeType::Nack);
        break;
    case IrqExchange::Verdict::Announcement: return {true, decision.value};
    case IrqExchange::Verdict::Message:
        sendAckPacket(AcknowledgeType::Ack);
        notifyObservers(reply);
        break;
    case IrqExchange::Verdict::Retry:
        LOG4CPLUS_ERROR(logger, "Received NACK to IRQ frame, retrying");
        return {true, size};
    case IrqExchange::Verdict::Reported:
        LOG4CPLUS_ERROR(logger, "Received ack type " << decision.value
                                                     << " to IRQ frame, already retried:" << decision.alreadyRetried);
        break;
    case IrqExchange::Verdict::Unsupported:
        count(LinkCounter::OtherPackets);
        LOG4CPLUS_ERROR(logger, "Unsupported incoming message: " << decision.value);
        break;
    }
    return {false, 0};
}

// The bus, with busMutex held

bool SyncSerialLayer::serialOk() {
    return bus != nullptr;
}

ByteArray SyncSerialLayer::writeReadPacket(const ByteArray& packet, int size) {
    HOSTLINK_TRACE_ENTER(logger, scope, "read packet size " << size);
    ByteArray result = transfer(packet, size);
    HOSTLINK_TRACE_LEAVE(logger, scope, "read packet size " << size);
    return result;
}

ByteArray SyncSerialLayer::transfer(const ByteArray& packet, int size) {
    if (!serialOk()) {
        LOG4CPLUS_ERROR(logger, "Reading packet failed because the Serial device initialisation failed!");
        return {};
    }
    ByteArray result = bus->writeRead(packet, size);
    for (int reread = 0; reread < maxRereads; ++reread) {
        if (startsWithSop(result)) {
            LOG4CPLUS_DEBUG(logger, "Received packet");
            return result;
        }
        std::this_thread::sleep_for(rereadDelay);
        count(LinkCounter::Rereads);
        result = bus->read(size);
    }
    LOG4CPLUS_ERROR(logger, "Serial device read write failed");
    return result;
}

bool SyncSerialLayer::sendAckPacket(AcknowledgeType type) {
    const CallGate::Pass pass(*callers);
    if (!pass) return false;
    if (!serialOk()) {
        LOG4CPLUS_ERROR(logger, "sending of Ack packet failed because the Serial device initialisation failed!");
        return false;
    }
    if (!bus->write(HostLinkRspFrame::create(static_cast<unsigned char>(nextFrameId()), type))) {
        LOG4CPLUS_ERROR(logger, "Serial write failed");
        return false;
    }
    LOG4CPLUS_TRACE(logger, "Send Ack packet: type " << static_cast<int>(type));
    return true;
}

// Writers

int SyncSerialLayer::nextFrameId() {
    return frameId.fetch_add(1);
}

WriteDataResponse SyncSerialLayer::writeData(const ByteArray& packet) {
    const CallGate::Pass pass(*callers);
    if (!pass) return NoResponse;
    HOSTLINK_TRACE_ENTER(logger, scope, "len " << packet.size());
    const WriteDataResponse result = packet.empty() ? Accepted : writeAndAwaitResponse(packet);
    HOSTLINK_TRACE_LEAVE(logger, scope, "len " << packet.size());
    return result;
}

WriteDataResponse SyncSerialLayer::writeAndAwaitResponse(const ByteArray& packet) {
    LOG4CPLUS_TRACE(logger, "Bus send length: " << packet.size());
    printBuffer(packet, "Writing data: ");
    ByteArray response;
    {
        const std::lock_guard lock(busMutex);
        response = writeReadPacket(packet, HostLinkRspFrame::minFrameSize());
    }
    printBuffer(response, "Received response: ");
    return resultOfResponse(response, "Error Serial device bus master recv (ack)");
}
