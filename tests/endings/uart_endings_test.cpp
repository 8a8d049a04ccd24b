// Ending a UART link and a transport above it, over a pseudo terminal.
#include <atomic>
#include <optional>
#include <thread>

#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "Ending.h"
#include "support/Bytes.h"
#include "support/LinkThreads.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"

namespace {

constexpr int never = 120000; // a response time-out that no end waits for
const ByteArray incoming = messageEnd(7, 0, bytes("02 00 01 15 00"));

/// Writes packets without a pause and throws away what the link answers; allocates nothing.
class Flood {
public:
    explicit Flood(int farSide) : thread([this, farSide] { flood(farSide); }) {}
    ~Flood() {
        stopped = true;
        thread.join();
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    void flood(int farSide) {
        unsigned char answers[4096];
        while (!stopped) {
            pollfd both{farSide, POLLIN | POLLOUT, 0};
            ::poll(&both, 1, 10);
            if (::write(farSide, incoming.data(), incoming.size()) < 0 && ::read(farSide, answers, sizeof answers) < 0)
                std::this_thread::yield(); // the line is full, or nobody has it open
        }
    }

    std::atomic<bool> stopped{false};
    std::thread thread;
};

class UartStack : public EndingStack {
public:
    bool enter(At state) override {
        switch (state) {
        case At::Idle: return true;
        case At::BlockedRead: return threads.polling() != -1;
        case At::WaitingForAnAnswer: return startWriter(shortPacket) && pty->read(shortPacket.size()) == shortPacket;
        case At::InsideAnObserver: holdObservers(); return pty->write(incoming) && observerEntered.wait(patience);
        case At::InTheMiddleOfAPacket: return pty->write(oneAndAHalf) && pty->read(8).size() == 8;
        case At::FloodedWithInput: flood.emplace(pty->master()); return observerEntered.wait(patience);
        case At::DeviceGone: pty->close(); return true;
        case At::FarSideNotReading: return startWriter(longPacket) && waitUntilPolling(writerThread);
        case At::AnObserverWaitsForAWriter:
            holdObserverUntilWriterReturns();
            return startWriter(shortPacket) && pty->read(shortPacket.size()) == shortPacket && pty->write(incoming) &&
                   observerEntered.wait(patience);
        case At::NeverStarted: // destroying it ends the process
        case At::Stopped:      // that is Idle: shutdown does nothing
        case At::InitFailed:
        case At::WatcherGone:
        case At::WritersQueued: return false; // one writer at a time
        }
        return false;
    }

protected:
    std::unique_ptr<HostLinkPhysicalLayer> makeLink() override {
        pty.emplace();
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, pty->slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, never);
        return std::make_unique<UartPhysicalLayer>(properties);
    }

    void clearUp() override {
        flood.reset();
        pty.reset();
    }

private:
    const ByteArray shortPacket = messageEnd(1, 0, {1});
    const ByteArray longPacket = messageEnd(1, 0, ByteArray(65000)); // more than a pseudo terminal holds
    const ByteArray oneAndAHalf = incoming + slice(incoming, 0, 12); // the whole one is acknowledged

    const NewThreads threads;
    std::optional<Pty> pty;
    std::optional<Flood> flood;
};

class UartEnding : public testing::TestWithParam<At> {
protected:
    void SetUp() override {
        for (const char* name : {"HostLinkPhysicalLayer", "HostLinkTransportLayer", "SerialComm"})
            log4cplus::Logger::getInstance(name).setLogLevel(log4cplus::OFF_LOG_LEVEL);
    }
};

INSTANTIATE_TEST_SUITE_P(In, UartEnding, everyState, testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Where, UartEnding, uartState, testing::PrintToStringParamName());

TEST_P(UartEnding, ComesWithinASecondAndLeavesNothing) {
    UartStack stack;
    endInState(stack, GetParam(), {0, 0});
}

} // namespace
