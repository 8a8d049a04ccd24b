// The serial port over a pty, while each of its system calls fails.
#include <cerrno>
#include <memory>
#include <thread>

#include <asm/ioctls.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <gtest/gtest.h>

#include <serialcomm/Uart.h>

#include "PlayedTerminal.h"
#include "Sweep.h"
#include "support/Pty.h"

using namespace sweep;

namespace {

constexpr int initStep = 0;
constexpr int endStep = 3;

const ByteArray incoming = {'p', 'i', 'n', 'g'};
const ByteArray outgoing(600, 0x55);

// Opened, read from, written to, and destroyed while a reader waits.
class UartInUse : public Scenario {
public:
    UartInUse(int baudRate, int options, bool alone)
        : uart(std::make_unique<Uart>(pty.slavePath(), baudRate, options, "none", alone)) {
        playKernel(&terminal);
    }
    ~UartInUse() override { playKernel(nullptr); }

    std::vector<Step> steps() override {
        return {{"init", [this] { return init(); }},
                {"read", [this] { return read(); }},
                {"write", [this] { return write(); }},
                {"end", [this] { return end(); }}};
    }

    Effect effectOf(const Call& call, const Failure& failure) const override {
        if (failure.isError(EINTR) || call.name == "close") return Effect::None;
        if (call.step == endStep) return Effect::None; // the port goes in any case
        if (isUnknownRequest(call, failure)) return Effect::None;
        if (call.name == "ioctl") return isNeeded(call.request) && !isHalf(failure) ? Effect::StepFails : Effect::None;
        if (call.step == initStep) return Effect::StepFails;
        if (call.name == "poll") return gone(failure) && call.step == 1 ? Effect::None : Effect::StepFails;
        if (call.name == "write" && failure.kind == Failure::Kind::Nothing) return Effect::None;
        return failure.isError(EAGAIN) || isHalf(failure) ? Effect::None : Effect::StepFails;
    }

private:
    // An emulator that does not know the newer request is asked the older one.
    static bool isUnknownRequest(const Call& call, const Failure& failure) {
        constexpr unsigned long tcgets2 = 0x802C542A; // <termios.h> has no name for it
        return call.request == tcgets2 && failure.isError(ENOTTY);
    }
    static bool isHalf(const Failure& failure) { return failure.kind == Failure::Kind::Half; }
    // A line that is gone may still hold what came before.
    static bool gone(const Failure& failure) { return failure.kind == Failure::Kind::Condition; }
    // Low latency is a wish, and a queue that cannot be asked for leaves the patience for the rest.
    static bool isNeeded(unsigned long request) {
        return request != TIOCGSERIAL && request != TIOCSSERIAL && request != TIOCOUTQ;
    }

    bool init() {
        const UnderTest now;
        return uart->init();
    }

    bool read() {
        if (!sent) pty.write(incoming);
        sent = true;
        bool error = false;
        while (got.size() < incoming.size() && !error) {
            const UnderTest now;
            const ByteArray part = uart->read(64, &error);
            got.insert(got.end(), part.begin(), part.end());
        }
        return got == incoming && !error;
    }

    bool write() {
        terminal.busyWrites = 1; // so that it has to wait for room
        const UnderTest now;
        if (!uart->write(outgoing)) return false;
        const UnderTest notNow(false);
        return pty.read(outgoing.size()) == outgoing && pty.readAvailable().empty();
    }

    bool end() {
        terminal.queueQuestions = 1; // so that there is something to wait for
        const std::size_t polls = CallLog::instance().count("poll");
        bool error = false;
        std::thread reader([&] {
            const UnderTest now;
            uart->read(64, &error);
        });
        const bool waited = CallLog::instance().waitFor("poll", polls + 1);
        {
            const UnderTest now;
            uart.reset();
        }
        reader.join();
        return waited && error;
    }

    Pty pty;
    PlayedTerminal terminal;
    std::unique_ptr<Uart> uart;
    bool sent = false;
    ByteArray got;
};

std::unique_ptr<Scenario> ordinaryPort() {
    return std::make_unique<UartInUse>(115200, 0, true);
}

// Any baud rate, low latency, RTS/CTS, shared with others.
std::unique_ptr<Scenario> unusualPort() {
    return std::make_unique<UartInUse>(12345, 6, false);
}

const std::vector<std::string> kinds = {"close", "eventfd", "flock",   "ioctl", "open",
                                        "poll",  "read",    "tcflush", "write"};

class UartSweep : public testing::TestWithParam<std::string> {};

TEST_P(UartSweep, OfAnOrdinaryPort) {
    sweepOver(GetParam(), ordinaryPort);
}

TEST_P(UartSweep, OfAPortWithEveryOption) {
    sweepOver(GetParam(), unusualPort);
}

INSTANTIATE_TEST_SUITE_P(Calls, UartSweep, testing::ValuesIn(kinds), [](const auto& call) { return call.param; });

TEST(UartCalls, AreAllSwept) {
    // In these scenarios the line has nothing to drop at the end, so the one flush is that of old input.
    expectCallsOf(ordinaryPort, kinds);
    expectCallsOf(unusualPort, kinds);
}

} // namespace
