// What the serial port does and says when one certain system call fails.
#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <linux/serial.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <gmock/gmock.h>

#include <serialcomm/Uart.h>

#include "FaultTest.h"
#include "PlayedTerminal.h"
#include "support/MustEnd.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"

using namespace sweep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int lowLatency = 4;

class UartFault : public FaultTest<PlayedTerminal> {
protected:
    UartFault() : FaultTest("SerialComm") { make(115200, 0, true); }

    void make(int baudRate, int options, bool alone) {
        uart.reset();
        uart = std::make_unique<Uart>(pty.slavePath(), baudRate, options, "none", alone);
    }
    bool init() {
        return underTest([this] { return uart->init(); });
    }
    ByteArray read(bool* error) {
        return underTest([&] { return uart->read(64, error); });
    }
    bool write() {
        return underTest([this] { return uart->write({'x'}); });
    }
    void end() {
        underTest([this] { uart.reset(); });
    }
    std::string line(const std::string& what) const { return "Uart " + pty.slavePath() + ": " + what; }

    // `init` fails with this line, leaves nothing open, and works when it is tried again.
    void expectRefusal(const std::string& what) {
        const auto open = openDescriptors();
        EXPECT_FALSE(init());
        EXPECT_THAT(errors(), ElementsAre(line(what)));
        EXPECT_EQ(openDescriptors(), open);
        EXPECT_TRUE(init());
    }

    Pty pty;
    std::unique_ptr<Uart> uart;
};

// --- init ---

TEST_F(UartFault, EventThatCannotBeMadeFailsInit) {
    failNext("eventfd", EMFILE);
    expectRefusal("cannot create an event descriptor: Too many open files");
}

TEST_F(UartFault, DeviceThatIsBusyIsInUseByAnother) {
    failNext("open", EBUSY);
    const std::string& path = pty.slavePath();
    expectRefusal("is in use by another program (sudo fuser -v " + path +
                  " names it), or marked so by one that was killed (as root, perl -e 'ioctl STDIN, 0x540D, 0' < " +
                  path + " clears the mark)");
}

TEST_F(UartFault, DeviceWithoutPermissionAsksForTheGroup) {
    failNext("open", EACCES);
    expectRefusal("cannot open (is this user in the group of the device file?): Permission denied");
}

TEST_F(UartFault, LockThatIsHeldMeansInUse) {
    failNext("flock", EWOULDBLOCK);
    expectRefusal("is in use by another program");
}

TEST_F(UartFault, LockThatFailsIsTold) {
    failNext("flock", ENOLCK);
    expectRefusal("cannot lock: No locks available");
}

TEST_F(UartFault, LineSettingsThatCannotBeReadFailInit) {
    failNext("ioctl", EIO, 1);
    expectRefusal("cannot read the line settings: Input/output error");
}

TEST_F(UartFault, LineSettingsThatCannotBeMadeFailInit) {
    failNext("ioctl", EINVAL, 2);
    expectRefusal("cannot set the line to 115200 baud: Invalid argument");
}

TEST_F(UartFault, UnusualBaudRateThatCannotBeReadOrMadeFailsInit) {
    make(12345, 0, false);
    failNext("ioctl", EIO, 1);
    expectRefusal("cannot read the line settings: Input/output error");
    make(12345, 0, false);
    log.clear();
    failNext("ioctl", EINVAL, 2);
    expectRefusal("cannot set the line to 12345 baud: Invalid argument");
    EXPECT_EQ(kernel.arbitraryBaudRate, 12345U);
}

TEST_F(UartFault, OldInputThatCannotBeFlushedFailsInit) {
    failNext("tcflush", EIO);
    expectRefusal("cannot flush old input: Input/output error");
}

// --- The speed that the driver does ---

TEST_F(UartFault, SpeedThatTheDriverDoesNotDoFailsInit) {
    for (const int rate : {921600, 900000}) { // with a name and without
        make(rate, 0, true);
        log.clear();
        kernel.speed = 9600;
        kernel.speedInstead = 100000;
        EXPECT_FALSE(init());
        EXPECT_THAT(errors(), ElementsAre(line("cannot set the line to " + std::to_string(rate) +
                                               " baud: the driver does 100000 instead")));
        kernel.speedInstead = 0;
        EXPECT_TRUE(init());
    }
}

// 2 % of 115200 are 2304.
TEST_F(UartFault, SpeedMayBeTwoPercentOff) {
    for (const unsigned near : {112896U, 117504U}) {
        make(115200, 0, true);
        kernel.speedInstead = near;
        EXPECT_TRUE(init()) << near;
    }
    for (const unsigned far : {112895U, 117505U}) {
        make(115200, 0, true);
        kernel.speedInstead = far;
        EXPECT_FALSE(init()) << far;
    }
    kernel.speedInstead = 0;
}

TEST_F(UartFault, SpeedThatCannotBeReadBackFailsInit) {
    failNext("ioctl", EIO, 3);
    expectRefusal("cannot read the line settings: Input/output error");
}

// Emulators of other processors do not know the newer requests.
TEST_F(UartFault, SystemWithoutTheNewerRequestsIsTakenAtItsWord) {
    class OlderTerminal : public PlayedTerminal {
    public:
        Answer ioctl(int fd, unsigned long request, void* argument) override {
            constexpr unsigned long tcgets2 = 0x802C542A; // <termios.h> has no names for them
            constexpr unsigned long tcsets2 = 0x402C542B;
            if (request == tcgets2 || request == tcsets2) return -ENOTTY;
            if (request == TCSETS) ++settings;
            return PlayedTerminal::ioctl(fd, request, argument);
        }
        int settings = 0;
    } older;
    playKernel(&older);
    older.queueQuestions = 0;
    EXPECT_TRUE(init());
    EXPECT_THAT(log.lines(), IsEmpty());
    end();
    EXPECT_EQ(older.settings, 2) << "made, and set back";
}

// --- What the port is left like ---

TEST_F(UartFault, PortIsSetBackWhenInitFailsBehindTheSettings) {
    failNext("tcflush", EIO);
    EXPECT_FALSE(init());
    EXPECT_EQ(kernel.speed, 9600U);
    failNext("ioctl", EPERM, 4);
    EXPECT_FALSE(init());
    EXPECT_EQ(kernel.speed, 9600U);
    EXPECT_TRUE(init());
    EXPECT_EQ(kernel.speed, 115200U);
    end();
    EXPECT_EQ(kernel.speed, 9600U);
}

TEST_F(UartFault, LowLatencyIsTakenBackWhereItWasNotFound) {
    for (const bool found : {false, true}) {
        kernel.driverFlags = static_cast<int>(ASYNC_SKIP_TEST | (found ? ASYNC_LOW_LATENCY : 0));
        make(115200, lowLatency, true);
        EXPECT_TRUE(init());
        EXPECT_TRUE(kernel.lowLatency);
        end();
        EXPECT_EQ(kernel.lowLatency, found);
        EXPECT_EQ(kernel.driverFlags, static_cast<int>(ASYNC_SKIP_TEST | (found ? ASYNC_LOW_LATENCY : 0)));
    }
}

TEST_F(UartFault, LowLatencyThatCannotBeTakenBackIsLeft) {
    make(115200, lowLatency, true);
    EXPECT_TRUE(init());
    kernel.queueQuestions = 0;
    failNext("ioctl", EIO, 3); // behind the question for the queue and the settings
    end();
    EXPECT_TRUE(kernel.lowLatency);
}

TEST_F(UartFault, BreakIsNoByte) {
    for (const int rate : {115200, 12345}) {
        make(rate, 0, true);
        EXPECT_TRUE(init());
        EXPECT_EQ(kernel.inputFlags & IGNBRK, unsigned{IGNBRK}) << rate;
        EXPECT_EQ(kernel.inputFlags & (BRKINT | PARMRK), 0U);
    }
}

TEST_F(UartFault, ExclusiveUseThatIsRefusedFailsInit) {
    failNext("ioctl", EPERM, 4); // behind the three of the line settings
    expectRefusal("cannot take exclusive use: Operation not permitted");
}

TEST_F(UartFault, LowLatencyIsTakenWhereTheDriverHasIt) {
    make(115200, lowLatency, true);
    EXPECT_TRUE(init());
    EXPECT_TRUE(kernel.lowLatency);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(UartFault, LowLatencyLeavesAllElseOfTheDriverAsItIs) {
    for (const unsigned flags : {0U, 0U | ASYNC_SKIP_TEST | ASYNC_SPD_HI, ASYNC_LOW_LATENCY | ASYNC_BOOT_AUTOCONF}) {
        kernel.driverFlags = static_cast<int>(flags);
        kernel.driverOtherwiseKept = false;
        make(115200, lowLatency, true);
        EXPECT_TRUE(init());
        EXPECT_TRUE(kernel.lowLatency) << flags;
        EXPECT_TRUE(kernel.driverOtherwiseKept) << flags;
    }
}

// A pty forgets them.
TEST_F(UartFault, ParityBitsAreThoseAskedFor) {
    struct Case {
        const char* parity;
        unsigned bits;
    };
    for (const int baudRate : {115200, 12345}) {
        for (const Case& c : {Case{"none", 0}, Case{"even", PARENB}, Case{"odd", PARENB | PARODD}}) {
            uart.reset();
            uart = std::make_unique<Uart>(pty.slavePath(), baudRate, 0, c.parity, true);
            EXPECT_TRUE(init());
            EXPECT_EQ(kernel.controlFlags & (PARENB | PARODD), c.bits) << c.parity << " at " << baudRate;
        }
    }
}

TEST_F(UartFault, LowLatencyThatIsRefusedIsToldAndTheLineWorks) {
    kernel.takesLowLatency = false;
    make(115200, lowLatency, true);
    EXPECT_TRUE(init());
    EXPECT_FALSE(kernel.lowLatency);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{log4cplus::WARN_LOG_LEVEL, line("the driver does not take the low-latency option: "
                                                                     "Operation not permitted")}}));
    EXPECT_TRUE(write());
}

// --- read and write ---

TEST_F(UartFault, PollThatFailsFailsTheRead) {
    ASSERT_TRUE(init());
    failNext("poll", ENOMEM);
    bool error = false;
    EXPECT_THAT(read(&error), IsEmpty());
    EXPECT_TRUE(error);
    EXPECT_THAT(errors(), ElementsAre(line("cannot wait for input: Cannot allocate memory")));
}

TEST_F(UartFault, PollThatFailsFailsTheWrite) {
    ASSERT_TRUE(init());
    kernel.busyWrites = 1;
    failNext("poll", ENOMEM);
    EXPECT_FALSE(write());
    EXPECT_THAT(errors(), ElementsAre(line("cannot wait for room to write: Cannot allocate memory")));
}

TEST_F(UartFault, ReadErrorOfTheLineIsToldOnce) {
    ASSERT_TRUE(init());
    for (int attempt = 0; attempt < 2; ++attempt) {
        pty.write("x");
        failNext("read", EIO);
        bool error = false;
        EXPECT_THAT(read(&error), IsEmpty());
        EXPECT_TRUE(error);
    }
    EXPECT_THAT(errors(), ElementsAre(line("line lost: Input/output error")));
}

TEST_F(UartFault, WriteErrorIsTold) {
    ASSERT_TRUE(init());
    failNext("write", EIO);
    EXPECT_FALSE(write());
    EXPECT_THAT(errors(), ElementsAre(line("cannot write: Input/output error")));
}

// A driver that announces room and takes nothing. Each wait takes a while here, so that none of it is a busy loop.
class HesitantTerminal : public PlayedTerminal {
public:
    Answer poll(pollfd* entries, std::size_t count, int timeout) override {
        if (count == 0 || (entries[0].events & POLLOUT) == 0) return PlayedTerminal::poll(entries, count, timeout);
        ::poll(nullptr, 0, 200);
        entries[0].revents = POLLOUT;
        return 1;
    }
};

TEST_F(UartFault, LineThatAnnouncesRoomAndTakesNothingIsGivenUp) {
    HesitantTerminal hesitant;
    hesitant.busyWrites = 50; // ten seconds
    playKernel(&hesitant);
    ASSERT_TRUE(init());
    EXPECT_FALSE(write());
    EXPECT_THAT(errors(), ElementsAre(line("cannot write: the far side has taken nothing for 2 s")));
    end();
}

// --- The end ---

TEST_F(UartFault, EndWaitsForTheQueueOfTheLine) {
    ASSERT_TRUE(init());
    CallLog::instance().begin();
    kernel.queueQuestions = 3;
    kernel.timeStandsAt = std::chrono::hours(1); // what does not move is waited for, however long the machine takes
    end();
    EXPECT_EQ(calls("poll"), 3U);
    EXPECT_EQ(calls("tcflush"), 0U) << "everything was sent";
}

TEST_F(UartFault, EndDropsWhatTheFarSideHoldsBack) {
    ASSERT_TRUE(init());
    CallLog::instance().begin();
    kernel.queueQuestions = -1;
    end();
    EXPECT_EQ(calls("tcflush"), 1U);
}

TEST_F(UartFault, QueueThatCannotBeAskedForIsNotWaitedFor) {
    ASSERT_TRUE(init());
    kernel.queueQuestions = -1;
    failNext("ioctl", EIO);
    end();
    EXPECT_EQ(calls("poll"), 0U);
    EXPECT_EQ(calls("tcflush"), 0U);
}

TEST_F(UartFault, WakeEventThatIsNotTakenIsWrittenAgain) {
    ASSERT_TRUE(init());
    failNext("write", EIO);
    bool error = false;
    std::thread reader([&] { read(&error); });
    ASSERT_TRUE(CallLog::instance().waitFor("poll", 1));
    const std::future<void> ended = std::async(std::launch::async, [this] { end(); });
    mustEnd(ended, "destroying the port");
    reader.join();
    EXPECT_TRUE(error);
    EXPECT_EQ(calls("write"), 2U);
}

} // namespace
