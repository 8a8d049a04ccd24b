// The UART link's set-up, traffic and end over a pty, while each of its system calls fails.
#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <log4cplus/loggingmacros.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>

#include "PlayedTerminal.h"
#include "Sweep.h"
#include "support/LogCapture.h"
#include "support/Packets.h"
#include "support/Pty.h"

using namespace sweep;

namespace {

const ByteArray fromHost = messageEnd(7, 0, {0x15, 0x80, 0});

// How the line marks in the link's log, where the reader's end stands too, that the reader waits for input.
constexpr auto readerWaits = "the reader waits";
const ByteArray longPacket = messageEnd(2, 0, patternBytes(30)); // half of it is still longer than a response

const log4cplus::Logger& linkLog() {
    static const auto logger = log4cplus::Logger::getInstance("HostLinkPhysicalLayer");
    return logger;
}

// Started, sent to, asked to send, destroyed; the far side of the line accepts every packet.
class UartLinkInUse : public Scenario {
public:
    UartLinkInUse() {
        playKernel(&line);
        make();
    }
    ~UartLinkInUse() override {
        link.reset();
        playKernel(nullptr);
    }

    std::vector<Step> steps() override {
        return {{"init", [this] { return init(); }},
                {"receive", [this] { return receive(); }},
                {"send", [this] { return send(); }},
                {"end", [this] { return end(); }}};
    }

    Effect effectOf(const Call& call, const Failure& failure) const override {
        if (failure.isError(EINTR) || call.name == "close" || call.step == endStep) return Effect::None;
        if (call.name == "poll") return Effect::LosesEvents;
        if (call.name == "read") {
            const bool goesOn = failure.isError(EAGAIN) || failure.kind == Failure::Kind::Half;
            return goesOn ? Effect::None : Effect::LosesEvents;
        }
        constexpr unsigned long tcgets2 =
            0x802C542A; // <termios.h> has no name for it; an emulator asks by the older one
        if (call.request == tcgets2 && failure.isError(ENOTTY)) return Effect::None;
        if (call.name == "write") return effectOfWrite(call, failure);
        return failure.kind == Failure::Kind::Half ? Effect::None : Effect::StepFails;
    }

    // A reader that has ended does not come back, so there is another link.
    void recover() override {
        if (!started) return;
        link.reset();
        make();
        if (CallLog::instance().step() != initStep) init();
    }

private:
    static constexpr std::size_t initStep = 0;
    static constexpr std::size_t receiveStep = 1;
    static constexpr std::size_t endStep = 3;

    // Accepts a packet, known by its size, at once: the response waits in the line until the packet is written.
    class AcceptingLine : public PlayedTerminal {
    public:
        explicit AcceptingLine(Pty& farSide) : pty(farSide) {}
        Answer write(int fd, const void* data, std::size_t size) override {
            if (size > responseFrame(0, 0).size()) pty.write(responseFrame(0xA3, 0));
            return PlayedTerminal::write(fd, data, size);
        }
        Answer poll(pollfd* entries, std::size_t count, int timeout) override {
            if (count > 0 && (entries[0].events & POLLIN) != 0) LOG4CPLUS_TRACE(linkLog(), readerWaits);
            return PlayedTerminal::poll(entries, count, timeout);
        }

    private:
        Pty& pty;
    };

    // An acknowledgement that is lost is the host's to miss.
    static Effect effectOfWrite(const Call& call, const Failure& failure) {
        const bool goesOn = failure.isError(EAGAIN) || failure.kind != Failure::Kind::Error;
        return goesOn || call.step == receiveStep ? Effect::None : Effect::StepFails;
    }

    void make() {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, pty.slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, 60000); // for a response that comes in any case
        link = std::make_unique<UartPhysicalLayer>(properties);
        link->addDataReceivedObserver([this](const ByteArray&) { ++delivered; });
        started = false;
        packets = 0;
        delivered = 0;
    }

    bool init() {
        log.clear();
        const UnderTest now;
        started = link->init();
        return started && waitForReader();
    }

    bool receive() {
        ++packets;
        pty.write(fromHost);
        return waitForReader() && delivered == 1;
    }

    bool send() {
        const UnderTest now;
        ++packets;
        return link->writeData(longPacket) == Accepted && waitForReader();
    }

    bool end() {
        const UnderTest now;
        link.reset();
        return true;
    }

    // Until the reader has taken every packet and waits for the next; false when it has ended.
    bool waitForReader() {
        bool ended = false;
        const bool seen = log.waitUntil([&](const std::vector<LogLine>& lines) {
            long taken = 0;
            bool waits = false;
            for (const LogLine& told : lines) {
                if (told.text == "Received full packet") ++taken;
                waits = told.text == readerWaits || (waits && told.text != "Received full packet");
                ended = ended || told.text == "Stopping reading thread";
            }
            return ended || (waits && taken >= packets);
        });
        return seen && !ended;
    }

    Pty pty;
    AcceptingLine line{pty};
    LogCapture log{"HostLinkPhysicalLayer"};
    std::unique_ptr<UartPhysicalLayer> link;
    std::atomic<int> delivered{0};
    long packets = 0; // that the link shall have received
    bool started = false;
};

std::unique_ptr<Scenario> uartLink() {
    return std::make_unique<UartLinkInUse>();
}

const std::vector<std::string> uartKinds = {"close", "eventfd",        "flock", "ioctl",   "open",
                                            "poll",  "pthread_create", "read",  "tcflush", "write"};

class UartLinkSweep : public testing::TestWithParam<std::string> {};

TEST_P(UartLinkSweep, OfALink) {
    sweepOver(GetParam(), uartLink);
}

INSTANTIATE_TEST_SUITE_P(Calls, UartLinkSweep, testing::ValuesIn(uartKinds),
                         [](const auto& call) { return call.param; });

TEST(UartLinkCalls, AreAllSwept) {
    expectCallsOf(uartLink, uartKinds);
}

} // namespace
