// What the serial port does with output that moves slowly, or no more.
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/ioctl.h>
#include <termios.h>

#include <gmock/gmock.h>

#include <serialcomm/Uart.h>

#include "FaultTest.h"
#include "PacedTerminal.h"
#include "support/Pty.h"

using namespace std::chrono_literals;
using namespace sweep;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

namespace {

constexpr int baudRate = 9600;
constexpr int twoStopBits = 1;
constexpr int rtsCts = 2;

class UartOutput : public FaultTest<PacedTerminal> {
protected:
    UartOutput() : FaultTest("SerialComm") { open(); }
    ~UartOutput() override { end(); }

    void open(int options = 0, const std::string& parity = "none", bool alone = true) {
        end();
        uart = std::make_unique<Uart>(pty.slavePath(), baudRate, options, parity, alone);
        ASSERT_TRUE(underTest([this] { return uart->init(); }));
    }
    bool write(std::size_t size) {
        return underTest([&] { return uart->write(ByteArray(size, 0x55)); });
    }
    // How long the end takes.
    PacedTerminal::Time end() {
        const PacedTerminal::Time start = kernel.elapsed();
        underTest([this] { uart.reset(); });
        return kernel.elapsed() - start;
    }
    // Ends while a write of so many bytes waits for room, which tells that it failed.
    PacedTerminal::Time endDuringWrite(std::size_t size) {
        CallLog::instance().begin();
        kernel.sleepsForEver = true;
        bool written = true;
        std::thread writer([&] { written = write(size); });
        EXPECT_TRUE(CallLog::instance().waitFor("poll", 1));
        const PacedTerminal::Time took = end();
        writer.join();
        EXPECT_FALSE(written);
        return took;
    }
    std::string stuck() const {
        return "Uart " + pty.slavePath() + ": cannot write: the far side has taken nothing for 2 s";
    }

    Pty pty;
    std::unique_ptr<Uart> uart;
};

// --- write ---

// A byte takes a millisecond, and the last 4096 need not be waited for.
TEST_F(UartOutput, BigPacketOnASlowLineIsWrittenWhole) {
    EXPECT_TRUE(write(65000));
    EXPECT_THAT(kernel.elapsed(), AllOf(Ge(60904ms), Le(61404ms)));
    EXPECT_LE(calls("poll"), 130U) << "two a second";
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(UartOutput, PortThatTakesNothingBeforeItAnnouncesRoomIsWaitedForWhileItSends) {
    kernel.takesWithoutNotice = false;
    EXPECT_TRUE(write(10000));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(UartOutput, PortThatTellsNoQueueHasTwoSecondsForEachWait) {
    kernel.takesWithoutNotice = false;
    kernel.tellsQueue = false;
    EXPECT_FALSE(write(10000));
    EXPECT_EQ(kernel.elapsed(), 2s);
    EXPECT_EQ(calls("poll"), 1U) << "there is nothing to look at meanwhile";
    EXPECT_THAT(errors(), ElementsAre(stuck()));
}

TEST_F(UartOutput, FarSideThatStopsIsGivenUpAfterTwoSeconds) {
    kernel.holdsAt = 10100ms;
    EXPECT_FALSE(write(65000));
    EXPECT_THAT(kernel.elapsed(), AllOf(Ge(12100ms), Le(12600ms)));
    EXPECT_THAT(errors(), ElementsAre(stuck()));
}

// For longer than its patience with the far side, which goes on meanwhile.
TEST_F(UartOutput, ProcessThatStoodStillLooksBeforeItGivesUp) {
    kernel.takesWithoutNotice = false;
    kernel.standsStill = 3s;
    EXPECT_TRUE(write(10000));
    kernel.tellsQueue = false;
    kernel.standsStill = 5s; // until everything has been sent
    EXPECT_TRUE(write(4000));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(UartOutput, QueueThatGrowsDoesNotMove) {
    kernel.holdsAt = 0s;
    kernel.strangersBytes = 1;
    EXPECT_FALSE(write(10000));
    EXPECT_EQ(kernel.elapsed(), 2s);
    EXPECT_THAT(errors(), ElementsAre(stuck()));
}

// --- the end ---

TEST_F(UartOutput, EndWaitsForOutputThatMoves) {
    ASSERT_TRUE(write(4000));
    EXPECT_THAT(end(), AllOf(Ge(4s), Le(4100ms)));
    EXPECT_EQ(kernel.sent(), 4000);
    EXPECT_EQ(calls("tcflush"), 1U) << "that of old input";
    EXPECT_LE(calls("poll"), 45U) << "ten a second";
}

TEST_F(UartOutput, EndDropsWhatHasNotMovedForHalfASecond) {
    kernel.holdsAt = 1s;
    ASSERT_TRUE(write(4000));
    EXPECT_THAT(end(), AllOf(Ge(1500ms), Le(1600ms)));
    EXPECT_EQ(kernel.sent(), 1000);
    EXPECT_EQ(kernel.dropped(), 3000);
}

// The line takes ten times as long as it should. 960 bytes of 10, 11 and 12 bits at 9600 baud: 1, 1.1 and 1.2 s; a
// quarter more, and half a second.
TEST_F(UartOutput, EndWaitsNoLongerThanTheLineShouldTake) {
    struct Case {
        int options;
        const char* parity;
        PacedTerminal::Time bound;
    };
    kernel.byteTime = 10ms;
    for (const Case& c : {Case{0, "none", 1750ms}, Case{0, "even", 1875ms}, Case{twoStopBits, "none", 1875ms},
                          Case{twoStopBits, "odd", 2000ms}}) {
        open(c.options, c.parity);
        ASSERT_TRUE(write(960));
        const int before = kernel.dropped();
        EXPECT_THAT(end(), AllOf(Ge(c.bound), Le(c.bound + 1ms))) << c.options << c.parity;
        EXPECT_GT(kernel.dropped(), before + 700);
    }
}

TEST_F(UartOutput, EndGivesTheHeadOfAPacketHalfASecond) {
    EXPECT_THAT(endDuringWrite(10000), AllOf(Ge(500ms), Le(501ms)));
    EXPECT_THAT(kernel.sent(), AllOf(Ge(500), Le(501)));
}

TEST_F(UartOutput, EndWaitsForWholePacketsBeforeOneThatHasNotBegun) {
    ASSERT_TRUE(write(4096));
    endDuringWrite(100);
    EXPECT_EQ(kernel.sent(), 4096);
    EXPECT_EQ(kernel.dropped(), 0);
}

TEST_F(UartOutput, EndWaitsForAWholePacketBehindTheHeadOfOne) {
    kernel.holdsAt = 0s;
    EXPECT_FALSE(write(5000));
    kernel.letGoOn();
    ASSERT_TRUE(write(1000));
    end();
    EXPECT_EQ(kernel.sent(), 5096);
    EXPECT_EQ(kernel.dropped(), 0);
}

// --- flow control at the end ---

// <termios.h> does not know it, and the kernel's header cannot stand beside that.
constexpr unsigned long tcsets2 = 0x402C542B;

// What is done with the port beside looking at its queue.
std::vector<std::string> deeds() {
    std::vector<std::string> found;
    for (const Call& call : CallLog::instance().calls()) {
        if (call.name == "poll" || call.request == TIOCOUTQ) continue;
        switch (call.request) {
        case 0: found.push_back(call.name); break;
        case TCGETS: found.emplace_back("TCGETS"); break;
        case TCSETS: found.emplace_back("TCSETS"); break;
        case tcsets2: found.emplace_back("TCSETS2"); break;
        case TIOCNXCL: found.emplace_back("TIOCNXCL"); break;
        default: found.push_back("ioctl " + std::to_string(call.request)); break;
        }
    }
    return found;
}

TEST_F(UartOutput, EndClearsFlowControlBeforeTheCloseThatWouldWaitForIt) {
    open(rtsCts);
    kernel.holdsAt = 0s;
    ASSERT_TRUE(write(100));
    CallLog::instance().begin();
    end();
    // TCSETS2 waits for no output, as TCSETSW2 would.
    EXPECT_THAT(deeds(), ElementsAre("tcflush", "TCSETS2", "TIOCNXCL", "close", "close"));
    EXPECT_EQ(kernel.dropped(), 100) << "nothing is sent against the far side's will";
}

TEST_F(UartOutput, EndSetsTheLineAsItWasFound) {
    CallLog::instance().begin();
    end();
    EXPECT_THAT(deeds(), ElementsAre("TCSETS2", "TIOCNXCL", "close", "close"));
}

TEST_F(UartOutput, EndOfTheLastUserOfASharedPortClearsItsFlowControl) {
    open(rtsCts, "none", false);
    CallLog::instance().begin();
    end();
    EXPECT_THAT(deeds(), ElementsAre("flock", "TCSETS2", "close", "close"));
}

} // namespace
