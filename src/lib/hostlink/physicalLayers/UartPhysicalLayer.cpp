#include "UartPhysicalLayer.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <string>
#include <system_error>

#include <serialcomm/UartOutput.h>

#include "SharedUart.h"
#include "hostlink/HostLinkPacket.h"
#include "hostlink/HostLinkRspFrame.h"
#include "hostlink/link/CallGate.h"
#include "hostlink/link/HostResponse.h"
#include "hostlink/link/LinkLogger.h"
#include "hostlink/link/LinkThread.h"
#include "hostlink/link/Trace.h"
#include "hostlink/machines/UartStream.h"

// Null pointers with a serial library that has no such functions.
[[gnu::weak]] int uartQueuedOutput(Uart& uart);
[[gnu::weak]] void uartDropOutput(Uart& uart);

// Threads
//
//   writer (application thread)                     reader thread (readFromUartLoop)
//   writeData > writePacket                         Uart::read > UartStream > handleIncomingPacket
//     writeMutex: Uart::write(packet)                 response: responseMutex: store, notify  ----+
//     responseMutex: wait for the response  <-----------------------------------------------------+
//       until ackTimeoutMs have passed                message: writeMutex: Uart::write(ack), then the observers
//
// No lock is held while an observer runs or while a writer holds the wire. Stopping, in the destructor: new writers are
// refused; `closing` wakes a waiting writer; the port is detached, ended and destroyed (SharedUart), which ends the
// pending read with an error; the reader leaves its loop and is joined; writers still inside are waited for.

namespace {

constexpr int flowControlOption = 2; // of `UartOptions`

int queuedOutputOf(Uart& port) {
    return uartQueuedOutput != nullptr ? uartQueuedOutput(port) : 0;
}

std::string lowerCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

UartPhysicalLayer::UartPhysicalLayer(const Properties& linkProperties)
    : HostLinkPhysicalLayer(linkProperties),
      properties(linkProperties),
      uart(std::make_unique<SharedUart>()),
      writers(std::make_unique<CallGate>()) {}

UartPhysicalLayer::~UartPhysicalLayer() {
    writers->close();
    beginClosing();
    uart->destroy();
    readThread.join();
    writers->closeAndWait();
}

// A waiting writer is waked here: the reader, which would do so as it ends, may have ended long ago, or be held by an
// observer for long.
void UartPhysicalLayer::beginClosing() {
    {
        const std::lock_guard lock(responseMutex);
        closing = true;
    }
    responseCondition.notify_all(); // unlocked: only the calling destructor takes the condition away, after this
}

bool UartPhysicalLayer::init() {
    if (!properties.contains(DevicePath) || !properties.contains(UartBaudRate) ||
        !properties.contains(UartResponseTimeout)) {
        LOG4CPLUS_ERROR(logger, "Some of UART attributes not defined");
        return false;
    }
    ackTimeoutMs = properties.getInt(UartResponseTimeout);
    flowControl = (properties.getInt(UartOptions) & flowControlOption) != 0;
    try {
        if (!openPort() || !startReader()) return false;
        LOG4CPLUS_INFO(logger,
                       "UART hostlink physical communication started on path : " << properties.getString(DevicePath));
    } catch (...) { // no memory, or a number that cannot be read
        uart->destroy();
        if (readThread.joinable()) readThread.join();
        throw;
    }
    return true;
}

bool UartPhysicalLayer::openPort() {
    const std::string parity =
        properties.contains(UartParity) ? lowerCased(properties.getString(UartParity)) : std::string("none");
    uart->set(std::make_unique<Uart>(properties.getString(DevicePath), properties.getInt(UartBaudRate),
                                     properties.getInt(UartOptions), parity, true));
    if (SharedUart::Use(*uart)->init()) return true;
    uart->destroy();
    LOG4CPLUS_ERROR(logger, "Failed to initialize uart");
    return false;
}

bool UartPhysicalLayer::startReader() {
    try {
        readThread = startLinkThread([this] {
            LOG4CPLUS_DEBUG(logger, "Started read thread");
            readFromUartLoop();
        });
    } catch (const std::system_error& failure) {
        uart->destroy();
        LOG4CPLUS_ERROR(logger, "Failed to start the uart read thread: " << failure.what());
        return false;
    }
    return true;
}

void UartPhysicalLayer::shutdown() {}

int UartPhysicalLayer::nextFrameId() {
    return frameId.fetch_add(1);
}

void UartPhysicalLayer::countInto(LinkCounts& counts) {
    counted = &counts;
}

void UartPhysicalLayer::count(LinkCounter what, uint64_t times) {
    if (counted != nullptr) counted->add(what, times);
}

bool UartPhysicalLayer::uartOk() const {
    return uart->isPresent();
}

ByteArray UartPhysicalLayer::readPacket(int size, bool* error) {
    const SharedUart::Use port(*uart, SharedUart::Purpose::Read);
    if (!port) {
        // That the closing has taken the port away is no fault.
        if (!closing) LOG4CPLUS_ERROR(logger, "Reading packet failed because the uart initialisation failed!");
        *error = true;
        return {};
    }
    ByteArray bytes = port->read(static_cast<unsigned long>(size), error);
    if (!*error) LOG4CPLUS_TRACE(logger, "Number of bytes read to UART: " << bytes.size());
    return bytes;
}

void UartPhysicalLayer::readFromUartLoop() {
    HOSTLINK_TRACE_ENTER(logger, scope, "");
    UartStream stream;
    // Packets at hand when the closing begins are as good as not received: nothing can be answered any more.
    for (bool error = false; !error && !closing;) {
        const UartStream::Step step = stream.next();
        switch (step.event) {
        case UartStream::Event::NeedBytes: {
            const ByteArray bytes = readPacket(step.count, &error);
            if (!error) stream.append(bytes);
            break;
        }
        case UartStream::Event::NoStart:
            count(LinkCounter::GarbageBytes, static_cast<uint64_t>(step.count));
            LOG4CPLUS_WARN(logger, "Received data without packet start");
            break;
        case UartStream::Event::Skipped:
            count(LinkCounter::GarbageBytes, static_cast<uint64_t>(step.count));
            LOG4CPLUS_WARN(logger, "Removing " << step.count << "bytes from start after SOP found");
            break;
        case UartStream::Event::BadPacket:
            LOG4CPLUS_WARN(logger, "Error  " << step.code << " reading packet");
            [[fallthrough]];
        case UartStream::Event::Packet:
            LOG4CPLUS_TRACE(logger, "Received full packet");
            printBuffer(step.packet, "Received data from uart:");
            handleIncomingPacket(step.packet, step.event == UartStream::Event::Packet);
            break;
        }
    }
    LOG4CPLUS_INFO(logger, "Stopping reading thread");
    storeResponse({});
    HOSTLINK_TRACE_LEAVE(logger, scope, "");
}

// The writer is waked with the lock free again, or it would run into it at once and sleep a second time: on one
// processor an exchange over a terminal then takes 1.4 times the processor time. By now it may have seen the response
// and returned, and the link be on its way out; but the destructor joins the reader thread, which is the one that is
// here, before the condition goes.
void UartPhysicalLayer::storeResponse(const ByteArray& packet) {
    {
        const std::lock_guard lock(responseMutex);
        response = packet;
        responseReceived = true;
    }
    responseCondition.notify_all();
}

void UartPhysicalLayer::handleIncomingPacket(const ByteArray& packet, bool valid) {
    if (!valid) {
        count(LinkCounter::BadPackets);
        LOG4CPLUS_ERROR(logger, "Invalid message received");
        sendAckPacket(AcknowledgeType::Nack);
        return;
    }
    const int type = HostLinkPacket::frameType(packet, nullptr);
    if (type == FRT_Response) {
        storeResponse(packet);
    } else if (type == FRT_Message) {
        LOG4CPLUS_TRACE(logger, "Received message, emitting data rec signal");
        sendAckPacket(AcknowledgeType::Ack);
        notifyObservers(packet);
    } else {
        count(LinkCounter::OtherPackets);
        LOG4CPLUS_ERROR(logger, "Unsupported incoming message: " << type);
        sendAckPacket(AcknowledgeType::Nack);
    }
}

bool UartPhysicalLayer::sendAckPacket(AcknowledgeType type) {
    if (!uartOk()) {
        LOG4CPLUS_ERROR(logger, "sending of Ack packet failed because the uart initialisation failed!");
        return false;
    }
    {
        const std::lock_guard lock(writeMutex);
        const ByteArray frame = HostLinkRspFrame::create(static_cast<unsigned char>(nextFrameId()), type);
        const SharedUart::Use port(*uart);
        if (!port || !port->write(frame)) {
            LOG4CPLUS_ERROR(logger, "uart write failed");
            return false;
        }
    }
    LOG4CPLUS_TRACE(logger, "Send Ack packet: type " << static_cast<int>(type));
    return true;
}

ByteArray UartPhysicalLayer::writePacket(const ByteArray& packet) {
    const CallGate::Pass pass(*writers);
    if (!pass) return {};
    responseReceived = false;
    HOSTLINK_TRACE_ENTER(logger, scope, "writing packet of size " << packet.size());
    if (!uartOk()) {
        LOG4CPLUS_ERROR(logger, "Writing packet failed because the uart initialisation failed!");
        return {};
    }
    printBuffer(packet, "Writing data to uart:");
    {
        const std::lock_guard lock(writeMutex);
        const SharedUart::Use port(*uart);
        if (port) dropHeldOutput(*port);
        if (!port || !port->write(packet)) {
            LOG4CPLUS_ERROR(logger, "Uart write failed");
            return {};
        }
        if (flowControl) queuedByWrite = queuedOutputOf(*port);
    }
    return awaitResponse();
}

// What the host has not let out for the whole time of a packet would go out in front of the next one, whose answer
// would then be that of the old one.
void UartPhysicalLayer::dropHeldOutput(Uart& port) {
    const int held = heldOutput.exchange(0);
    if (held == 0 || queuedOutputOf(port) < held) return;
    uartDropOutput(port);
    LOG4CPLUS_DEBUG(logger, "Dropped " << held << " bytes that the host has held back");
}

// Without writeMutex: the reader may be held in an acknowledgement for as long as the host takes nothing.
void UartPhysicalLayer::reportQueuedOutput() {
    const SharedUart::Use port(*uart);
    const int queued = port ? queuedOutputOf(*port) : 0;
    if (queued == 0) return;
    if (flowControl && queued >= queuedByWrite) {
        heldOutput = queued;
        LOG4CPLUS_WARN(logger, queued << " bytes have not left the port, the host holds them back by RTS/CTS; they are "
                                         "dropped before the next packet");
    } else {
        LOG4CPLUS_WARN(logger, queued << " bytes are still on their way out: UartResponseTimeout is too short for this "
                                         "line, and an answer may be taken for that of the next packet");
    }
}

ByteArray UartPhysicalLayer::awaitResponse() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ackTimeoutMs);
    ByteArray answer;
    {
        std::unique_lock lock(responseMutex);
        responseCondition.wait_until(lock, deadline, [this] { return responseReceived || closing; });
        answer.swap(response);
        responseReceived = false;
    }
    if (answer.empty()) {
        LOG4CPLUS_ERROR(logger, "Empty response from host");
        reportQueuedOutput();
    }
    return answer;
}

WriteDataResponse UartPhysicalLayer::writeData(const ByteArray& packet) {
    const CallGate::Pass pass(*writers);
    if (!pass) return NoResponse;
    HOSTLINK_TRACE_ENTER(logger, scope, "len " << packet.size());
    if (packet.empty()) return Accepted;
    return resultOfResponse(writePacket(packet), "Error uart bus master recv (ack)");
}
