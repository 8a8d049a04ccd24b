// Uart over pseudo terminals: a pty shows everything but speed, parity and modem lines.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <serialcomm/Uart.h>

#include "support/Folder.h"
#include "support/LineSpeed.h"
#include "support/LogCapture.h"
#include "support/ProcessWatch.h"
#include "support/Pty.h"
#include "support/StaysAlive.h"

using namespace std::chrono_literals;
using log4cplus::ERROR_LOG_LEVEL;
using log4cplus::WARN_LOG_LEVEL;
using std::chrono::steady_clock;

namespace {

constexpr int baudRate = 115200;
constexpr int twoStopBits = 1;
constexpr int rtsCts = 2;
constexpr int lowLatency = 4;
constexpr auto patience = 20s;

// More than a pty holds in one direction (about 20 KiB, then 4 KiB in the line discipline).
constexpr std::size_t morePtyBytesThanFit = 200000;

ByteArray everyByteValue() {
    ByteArray all(256);
    std::iota(all.begin(), all.end(), static_cast<unsigned char>(0));
    return all;
}

// No period that a buffer size could share: byte i is the low byte of i / 251 + i.
ByteArray longPattern(std::size_t size) {
    ByteArray data(size);
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<unsigned char>(i / 251 + i);
    return data;
}

// Reads until `size` bytes have come or the port gives an error.
ByteArray readExactly(Uart& uart, std::size_t size) {
    ByteArray all;
    bool error = false;
    while (all.size() < size && !error) {
        const ByteArray part = uart.read(size - all.size(), &error);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class OpenFile {
public:
    OpenFile(const std::string& path, int flags) : fd(::open(path.c_str(), flags | O_CLOEXEC)) {}
    ~OpenFile() {
        if (fd >= 0) ::close(fd);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int get() const { return fd; }

private:
    int fd;
};

// One call on a thread of its own. `id` is known before the call begins.
template <typename Result> class InThread {
public:
    template <typename Call> explicit InThread(Call call) {
        std::promise<pid_t> started;
        auto startedId = started.get_future();
        result = std::async(std::launch::async, [started = std::move(started), call]() mutable {
            started.set_value(currentThread());
            return call();
        });
        id = startedId.get();
    }

    bool waitUntilBlocked() const { return waitUntilPolling(id); }
    bool waitUntilDone() { return result.wait_for(patience) == std::future_status::ready; }

    std::future<Result> result;
    pid_t id = 0;
};

struct ReadResult {
    ByteArray data;
    bool error;
};

ReadResult readOnce(Uart& uart, unsigned long size) {
    bool error = false;
    ByteArray data = uart.read(size, &error);
    return {std::move(data), error};
}

class UartTest : public testing::Test {
protected:
    std::unique_ptr<Uart> make(int options = 0, const std::string& parity = "none", int rate = baudRate,
                               bool exclusive = true) const {
        return std::make_unique<Uart>(pty.slavePath(), rate, options, parity, exclusive);
    }

    std::string line(const std::string& what) const { return "Uart " + pty.slavePath() + ": " + what; }

    termios settings() const {
        termios current{};
        EXPECT_EQ(::tcgetattr(pty.master(), &current), 0);
        return current;
    }

    LogCapture log{"SerialComm"};
    Pty pty;
};

} // namespace

TEST_F(UartTest, PassesEveryByteValueInBothDirections) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());

    ASSERT_TRUE(uart->write(everyByteValue()));
    EXPECT_EQ(pty.read(256), everyByteValue());

    ASSERT_TRUE(pty.write(everyByteValue()));
    EXPECT_EQ(readExactly(*uart, 256), everyByteValue());
    EXPECT_EQ(pty.readAvailable(), ByteArray()) << "the line must not echo";
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, MakesTheLineRaw) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const termios line = settings();
    EXPECT_EQ(line.c_iflag, tcflag_t{IGNBRK}) << "a break is no byte";
    EXPECT_EQ(line.c_oflag, 0U);
    EXPECT_EQ(line.c_lflag, 0U);
    EXPECT_EQ(line.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(line.c_cflag & (CREAD | CLOCAL), static_cast<tcflag_t>(CREAD | CLOCAL));
    EXPECT_EQ(line.c_cflag & (CSTOPB | CRTSCTS), 0U);
    EXPECT_EQ(line.c_cc[VMIN], 1);
    EXPECT_EQ(line.c_cc[VTIME], 0);
}

TEST_F(UartTest, UndoesSettingsThatAnEarlierProgramLeft) {
    termios line = settings();
    line.c_iflag |= IXON | IXOFF | IXANY | ICRNL | ISTRIP | PARMRK;
    line.c_oflag |= OPOST | ONLCR;
    line.c_lflag |= ECHO | ICANON | ISIG;
    line.c_cflag |= CSTOPB | CRTSCTS;
    ASSERT_EQ(::tcsetattr(pty.master(), TCSANOW, &line), 0);

    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const termios after = settings();
    EXPECT_EQ(after.c_iflag, tcflag_t{IGNBRK});
    EXPECT_EQ(after.c_oflag, 0U);
    EXPECT_EQ(after.c_lflag, 0U);
    EXPECT_EQ(after.c_cflag & (CSTOPB | CRTSCTS), 0U);
}

// What becomes of the modem lines at the end is for the administrator to say.
TEST_F(UartTest, LeavesHangUpOnCloseAsItIs) {
    for (const int rate : {baudRate, 12345}) {
        for (const tcflag_t found : {tcflag_t{0}, tcflag_t{HUPCL}}) {
            termios line = settings();
            line.c_cflag = (line.c_cflag & ~tcflag_t{HUPCL}) | found;
            ASSERT_EQ(::tcsetattr(pty.master(), TCSANOW, &line), 0);
            const auto uart = make(0, "none", rate);
            ASSERT_TRUE(uart->init());
            EXPECT_EQ(settings().c_cflag & HUPCL, found) << rate;
        }
    }
}

TEST_F(UartTest, ChecksTheInputForParityOnlyWithParity) {
    struct Case {
        const char* parity;
        tcflag_t input;
    };
    for (const int rate : {baudRate, 12345}) {
        for (const Case& c : {Case{"even", IGNBRK | INPCK}, Case{"odd", IGNBRK | INPCK}, Case{"none", IGNBRK}}) {
            termios line = settings();
            line.c_iflag |= IGNPAR | PARMRK; // a byte that is left out or marked changes a packet's length
            ASSERT_EQ(::tcsetattr(pty.master(), TCSANOW, &line), 0);
            const auto uart = make(0, c.parity, rate);
            ASSERT_TRUE(uart->init());
            EXPECT_EQ(settings().c_iflag, c.input) << c.parity << " at " << rate;
        }
    }
}

TEST_F(UartTest, RunsAtEachStandardBaudRate) {
    for (const unsigned rate :
         {50U,     75U,     110U,     134U,     150U,     200U,     300U,     600U,     1200U,    1800U,
          2400U,   4800U,   9600U,    19200U,   38400U,   57600U,   115200U,  230400U,  460800U,  500000U,
          576000U, 921600U, 1000000U, 1152000U, 1500000U, 2000000U, 2500000U, 3000000U, 3500000U, 4000000U}) {
        const auto uart = make(0, "none", static_cast<int>(rate));
        ASSERT_TRUE(uart->init()) << rate;
        EXPECT_EQ(lineSpeed(pty.master()).output, rate);
        EXPECT_EQ(lineSpeed(pty.master()).input, rate);
    }
}

TEST_F(UartTest, RunsAtBaudRatesThatHaveNoName) {
    for (const unsigned rate : {1U, 31250U, 115201U, 250000U, 12000000U}) {
        const auto uart = make(twoStopBits | rtsCts, "none", static_cast<int>(rate));
        ASSERT_TRUE(uart->init()) << rate;
        EXPECT_EQ(lineSpeed(pty.master()).output, rate);
        EXPECT_EQ(lineSpeed(pty.master()).input, rate);
        // The rest of the settings stays.
        EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CSTOPB | CRTSCTS));
        ASSERT_TRUE(uart->write({0x00, 0xFF, 0x0D}));
        EXPECT_EQ(pty.read(3), (ByteArray{0x00, 0xFF, 0x0D}));
    }
}

TEST_F(UartTest, TakesTwoStopBitsAndFlowControlFromTheOptions) {
    {
        const auto uart = make(twoStopBits);
        ASSERT_TRUE(uart->init());
        EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CSTOPB));
    }
    const auto uart = make(rtsCts);
    ASSERT_TRUE(uart->init());
    EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CRTSCTS));
}

TEST_F(UartTest, WorksWithoutLowLatencyWhereTheDriverHasNone) {
    const auto uart = make(lowLatency);
    ASSERT_TRUE(uart->init());
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {WARN_LOG_LEVEL,
                   line("the driver does not take the low-latency option: Inappropriate ioctl for device")}}));
    ASSERT_TRUE(uart->write({1}));
    EXPECT_EQ(pty.read(1), ByteArray{1});
}

TEST_F(UartTest, OpensWithEachParityAlthoughAPtyHasNone) {
    for (const char* parity : {"none", "even", "odd"}) {
        const auto uart = make(0, parity);
        ASSERT_TRUE(uart->init()) << parity;
        ASSERT_TRUE(uart->write(everyByteValue()));
        EXPECT_EQ(pty.read(256), everyByteValue()) << parity;
    }
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

// A session leader without a terminal would get this one, and with it the signals of whoever hangs up.
using UartTestDeathTest = UartTest;
TEST_F(UartTestDeathTest, DoesNotBecomeTheTerminalOfItsProcess) {
    startAlone();
    const auto openAsSessionLeader = [this] {
        if (setsid() < 0) std::_Exit(2);
        Uart uart(pty.slavePath(), 115200, 0, "none", true);
        if (!uart.init()) std::_Exit(3);
        std::_Exit(::open("/dev/tty", O_RDWR | O_NOCTTY) < 0 ? 0 : 1);
    };
    EXPECT_EXIT(openAsSessionLeader(), testing::ExitedWithCode(0), "");
}

TEST_F(UartTest, OpensAgainWithTheSameSettingsAlthoughAPtyDroppedTheParity) {
    // Each but the first changes nothing that a pty would take; some C libraries' tcsetattr calls that an error.
    for (const char* parity : {"even", "even", "odd", "odd"}) {
        const auto uart = make(0, parity);
        EXPECT_TRUE(uart->init()) << parity;
    }
    for (int round = 0; round < 2; ++round) EXPECT_TRUE(make(0, "even", 250000)->init());
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, RefusesUnknownSettingsAndOpensNothing) {
    struct Case {
        int rate;
        int options;
        const char* parity;
        const char* told;
    };
    const std::vector<Case> cases{
        {0, 0, "none", "baud rate 0 is not possible; give bits per second"},
        {-9600, 0, "none", "baud rate -9600 is not possible; give bits per second"},
        {9600, 8, "none",
         "options 8 contain an unknown bit; use the sum of 1 (two stop bits), 2 (RTS/CTS), 4 (low latency)"},
        {9600, -1, "none",
         "options -1 contain an unknown bit; use the sum of 1 (two stop bits), 2 (RTS/CTS), 4 (low latency)"},
        {9600, 0, "mark", R"(parity "mark" is not known; use "none", "even" or "odd")"},
        {9600, 0, "", R"(parity "" is not known; use "none", "even" or "odd")"},
        {9600, 0, "Even", R"(parity "Even" is not known; use "none", "even" or "odd")"},
    };
    for (const Case& c : cases) {
        const auto before = openDescriptors();
        const auto uart = make(c.options, c.parity, c.rate);
        log.clear();
        EXPECT_FALSE(uart->init());
        EXPECT_EQ(log.lines(), (std::vector<LogLine>{{ERROR_LOG_LEVEL, line(c.told)}}));
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(UartTest, TellsAMissingDevice) {
    const Folder folder;
    const std::string path = folder.path + "/ttyNone";
    const auto before = openDescriptors();
    Uart uart(path, baudRate, 0, "none", true);
    EXPECT_FALSE(uart.init());
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{ERROR_LOG_LEVEL, "Uart " + path + ": cannot open: No such file or directory"}}));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(UartTest, TellsWhatIsNotASerialPort) {
    const auto before = openDescriptors();
    Uart uart("/dev/null", baudRate, 0, "none", true);
    EXPECT_FALSE(uart.init());
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {ERROR_LOG_LEVEL,
                   "Uart /dev/null: not a serial port; give the path of a terminal device such as /dev/ttyS0"}}));
    EXPECT_EQ(openDescriptors(), before);

    log.clear();
    const Folder folder;
    Uart directory(folder.path, baudRate, 0, "none", true);
    EXPECT_FALSE(directory.init());
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{ERROR_LOG_LEVEL, "Uart " + folder.path + ": cannot open: Is a directory"}}));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(UartTest, TellsADeviceWithoutPermission) {
    ASSERT_EQ(::chmod(pty.slavePath().c_str(), 0), 0);
    // Root may open everything, so for the length of the call this process is nobody.
    const uid_t user = ::geteuid();
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0);
    const auto before = openDescriptors();
    const auto uart = make();
    const bool opened = uart->init();
    const auto after = openDescriptors();
    ASSERT_TRUE(user != 0 || ::seteuid(user) == 0);

    EXPECT_FALSE(opened);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {ERROR_LOG_LEVEL,
                   line("cannot open (is this user in the group of the device file?): Permission denied")}}));
    EXPECT_EQ(after, before);
}

TEST_F(UartTest, TurnsASecondOpenerAwayWhenEitherWantsThePortAlone) {
    struct Case {
        bool firstAlone;
        bool secondAlone;
    };
    for (const Case c : {Case{true, true}, Case{true, false}, Case{false, true}}) {
        log.clear();
        const auto first = make(0, "none", baudRate, c.firstAlone);
        ASSERT_TRUE(first->init());
        const auto before = openDescriptors();
        const auto second = make(0, "even", 9600, c.secondAlone);
        EXPECT_FALSE(second->init());
        // Root gets past the terminal's mark and is turned away by the lock, with a shorter line.
        EXPECT_EQ(log.texts(ERROR_LOG_LEVEL).size(), 1U);
        EXPECT_TRUE(log.contains(line("is in use by another program")));
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_EQ(lineSpeed(pty.master()).output, 115200U) << "the first one's settings stay";
        ASSERT_TRUE(first->write({7}));
        EXPECT_EQ(pty.read(1), ByteArray{7});
    }
    const auto again = make();
    EXPECT_TRUE(again->init()) << "free again after the first has gone";
}

TEST_F(UartTest, LetsTwoShareThePortWhenNeitherWantsItAlone) {
    const auto first = make(0, "none", baudRate, false);
    const auto second = make(0, "none", baudRate, false);
    ASSERT_TRUE(first->init());
    ASSERT_TRUE(second->init());
    ASSERT_TRUE(first->write({1}));
    ASSERT_TRUE(second->write({2}));
    EXPECT_EQ(pty.read(2), (ByteArray{1, 2}));
}

TEST_F(UartTest, MarksTheTerminalAsExclusiveOnlyWhileItIsOpen) {
    const OpenFile other(pty.slavePath(), O_RDWR | O_NOCTTY);
    int marked = -1;
    {
        const auto uart = make();
        ASSERT_TRUE(uart->init());
        ASSERT_EQ(::ioctl(other.get(), TIOCGEXCL, &marked), 0);
        EXPECT_EQ(marked, 1);
    }
    ASSERT_EQ(::ioctl(other.get(), TIOCGEXCL, &marked), 0);
    EXPECT_EQ(marked, 0);

    const auto shared = make(0, "none", baudRate, false);
    ASSERT_TRUE(shared->init());
    ASSERT_EQ(::ioctl(other.get(), TIOCGEXCL, &marked), 0);
    EXPECT_EQ(marked, 0);
}

TEST_F(UartTest, TellsHowToClearTheMarkOfAKilledProgram) {
    const OpenFile holder(pty.slavePath(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(::ioctl(OpenFile(pty.slavePath(), O_RDWR | O_NOCTTY).get(), TIOCEXCL), 0);
    ASSERT_EQ(::chmod(pty.slavePath().c_str(), 0666), 0);
    // Root may open a marked terminal, so for the length of the calls this process is nobody.
    const uid_t user = ::geteuid();
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0);
    const auto uart = make();
    const bool opened = uart->init();
    const int cleared = ::ioctl(holder.get(), TIOCNXCL);
    const bool openedThen = uart->init();
    ASSERT_TRUE(user != 0 || ::seteuid(user) == 0);

    EXPECT_FALSE(opened);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                               {ERROR_LOG_LEVEL, line("is in use by another program (sudo fuser -v " + pty.slavePath() +
                                                      " names it), or marked so by one that was killed (as root, perl "
                                                      "-e 'ioctl STDIN, 0x540D, 0' < " +
                                                      pty.slavePath() + " clears the mark)")}}));
    EXPECT_EQ(cleared, 0);
    EXPECT_TRUE(openedThen);
    static_assert(TIOCNXCL == 0x540D, "the request of the line");
}

void expectSame(const termios& left, const termios& right) {
    EXPECT_EQ(left.c_cflag, right.c_cflag);
    EXPECT_EQ(left.c_iflag, right.c_iflag);
    EXPECT_EQ(left.c_oflag, right.c_oflag);
    EXPECT_EQ(left.c_lflag, right.c_lflag);
    EXPECT_TRUE(std::equal(std::begin(left.c_cc), std::end(left.c_cc), std::begin(right.c_cc)));
}

// As another program left it: a shell's terminal with characters of its own, at some speed.
class UartFound : public UartTest {
protected:
    void find(unsigned speed) {
        setLineSpeed(pty.master(), speed);
        termios line = settings();
        line.c_iflag = ICRNL | IXON;
        line.c_oflag = OPOST | ONLCR;
        line.c_lflag = ICANON | ISIG | IEXTEN;
        line.c_cflag |= HUPCL | CSTOPB;
        line.c_cc[VERASE] = 0x08;
        ASSERT_EQ(::tcsetattr(pty.master(), TCSANOW, &line), 0);
        found = settings();
    }
    void expectLeftAsFound(unsigned speed) const {
        expectSame(settings(), found);
        EXPECT_EQ(lineSpeed(pty.master()).output, speed);
        EXPECT_EQ(lineSpeed(pty.master()).input, speed);
    }

    termios found{};
};

TEST_F(UartFound, IsLeftAsItWasFound) {
    for (const unsigned speed : {38400U, 31250U}) {
        for (const int rate : {baudRate, 12345}) {
            find(speed);
            auto uart = make(twoStopBits, "even", rate);
            ASSERT_TRUE(uart->init());
            EXPECT_EQ(lineSpeed(pty.master()).output, static_cast<unsigned>(rate));
            uart.reset();
            expectLeftAsFound(speed);
        }
    }
}

TEST_F(UartFound, IsLeftAsItWasFoundWhenInitFails) {
    find(38400);
    const OpenFile other(pty.slavePath(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(::flock(other.get(), LOCK_SH), 0);
    EXPECT_FALSE(make()->init());
    expectLeftAsFound(38400);
}

TEST_F(UartFound, FlowControlIsLeftOffWhereItWasUsedAndOnWhereItWasNot) {
    for (const bool used : {true, false}) {
        find(38400);
        found.c_cflag |= CRTSCTS;
        ASSERT_EQ(::tcsetattr(pty.master(), TCSANOW, &found), 0);
        auto uart = make(used ? rtsCts : 0);
        ASSERT_TRUE(uart->init());
        uart.reset();
        if (used) found.c_cflag &= ~tcflag_t{CRTSCTS};
        expectLeftAsFound(38400);
    }
}

TEST_F(UartFound, IsLeftToTheLastWhoSharesIt) {
    auto first = make(0, "none", baudRate, false);
    auto second = make(0, "none", baudRate, false);
    ASSERT_TRUE(first->init());
    ASSERT_TRUE(second->init());
    const termios open = settings();
    first.reset();
    expectSame(settings(), open);
}

TEST_F(UartTest, LeavesFlowControlToWhoSharesThePort) {
    auto first = make(rtsCts, "none", baudRate, false);
    auto second = make(rtsCts, "none", baudRate, false);
    ASSERT_TRUE(first->init());
    ASSERT_TRUE(second->init());
    first.reset();
    EXPECT_NE(settings().c_cflag & CRTSCTS, 0U);
    const OpenFile holder(pty.slavePath(), O_RDWR | O_NOCTTY);
    second.reset();
    EXPECT_EQ(settings().c_cflag & CRTSCTS, 0U);
}

TEST_F(UartTest, OpensWhatTheFirstAttemptDidNotFind) {
    const Folder folder;
    const std::string link = folder.path + "/tty";
    Uart uart(link, baudRate, 0, "none", true);
    ASSERT_FALSE(uart.init());
    std::filesystem::create_symlink(pty.slavePath(), link);
    ASSERT_TRUE(uart.init());
    ASSERT_TRUE(uart.write({9}));
    EXPECT_EQ(pty.read(1), ByteArray{9});
}

TEST_F(UartTest, RefusesASecondInitAndStaysOpen) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const auto before = openDescriptors();
    EXPECT_FALSE(uart->init());
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{ERROR_LOG_LEVEL, line("is open already; make another object to open it again")}}));
    EXPECT_EQ(openDescriptors(), before);
    ASSERT_TRUE(uart->write({5}));
    EXPECT_EQ(pty.read(1), ByteArray{5});
}

TEST_F(UartTest, KeepsItsDescriptorsFromChildrenAndClosesThemInTheEnd) {
    const auto before = openDescriptors();
    auto uart = make();
    ASSERT_TRUE(uart->init());
    std::size_t added = 0;
    for (const int fd : openDescriptors()) {
        if (before.count(fd) != 0) continue;
        ++added;
        EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC) << fd;
    }
    EXPECT_EQ(added, 2U) << "the port, and the event that wakes blocked calls";
    uart.reset();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(pty.waitHungUp());
}

TEST_F(UartTest, DropsWhatArrivedBeforeInit) {
    const OpenFile earlier(pty.slavePath(), O_RDWR | O_NOCTTY);
    ASSERT_TRUE(pty.write("stale"));
    pollfd arrived{earlier.get(), POLLIN, 0};
    ASSERT_EQ(::poll(&arrived, 1, 20000), 1);

    const auto uart = make();
    ASSERT_TRUE(uart->init());
    ASSERT_TRUE(pty.write("new"));
    EXPECT_EQ(readExactly(*uart, 3), (ByteArray{'n', 'e', 'w'}));
}

TEST_F(UartTest, ReadsWhatIsThereUpToTheSizeAskedFor) {
    const OpenFile observer(pty.slavePath(), O_RDWR | O_NOCTTY);
    const auto uart = make(0, "none", baudRate, false);
    ASSERT_TRUE(uart->init());
    ASSERT_TRUE(pty.write("0123456789"));
    pollfd arrived{observer.get(), POLLIN, 0};
    ASSERT_EQ(::poll(&arrived, 1, 20000), 1);

    bool error = false;
    EXPECT_EQ(uart->read(4, &error), (ByteArray{'0', '1', '2', '3'}));
    EXPECT_FALSE(error);
    error = true;
    EXPECT_EQ(uart->read(64, &error), (ByteArray{'4', '5', '6', '7', '8', '9'}));
    EXPECT_TRUE(error) << "a successful read leaves the flag alone";
}

TEST_F(UartTest, ReadsNothingAtOnceWhenNothingIsAskedFor) {
    const auto uart = make();
    bool error = false;
    EXPECT_EQ(uart->read(0, &error), ByteArray());
    ASSERT_TRUE(uart->init());
    EXPECT_EQ(uart->read(0, &error), ByteArray());
    EXPECT_FALSE(error);
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, TakesAnySizeWithoutTheMemoryForIt) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    for (const unsigned long size : {65535UL, std::numeric_limits<unsigned long>::max()}) {
        ASSERT_TRUE(pty.write("x"));
        bool error = false;
        const ByteArray data = uart->read(size, &error);
        EXPECT_EQ(data, ByteArray{'x'});
        EXPECT_LE(data.capacity(), 4096U);
        EXPECT_FALSE(error);
    }
}

TEST_F(UartTest, FailsWhereItIsNotOpen) {
    const auto uart = make();
    bool error = false;
    EXPECT_EQ(uart->read(1, &error), ByteArray());
    EXPECT_TRUE(error);
    EXPECT_FALSE(uart->write({1}));
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{ERROR_LOG_LEVEL, line("cannot read: the port is not open")},
                                                 {ERROR_LOG_LEVEL, line("cannot write: the port is not open")}}));
}

TEST_F(UartTest, WritesNothingWithSuccess) {
    const auto uart = make();
    EXPECT_TRUE(uart->write({}));
    ASSERT_TRUE(uart->init());
    EXPECT_TRUE(uart->write({}));
    EXPECT_EQ(pty.readAvailable(), ByteArray());
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, WritesMoreThanTheLineHoldsWhileTheFarSideReads) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const ByteArray data = longPattern(morePtyBytesThanFit);
    InThread<bool> writer([&] { return uart->write(data); });
    EXPECT_EQ(pty.read(data.size()), data);
    EXPECT_TRUE(writer.result.get());
}

TEST_F(UartTest, ReadsAndWritesAtTheSameTime) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const ByteArray out = longPattern(morePtyBytesThanFit);
    const ByteArray in(out.rbegin(), out.rend());
    InThread<ByteArray> reader([&] { return readExactly(*uart, in.size()); });
    InThread<bool> writer([&] { return uart->write(out); });
    InThread<bool> farWriter([&] { return pty.write(in); });
    EXPECT_EQ(pty.read(out.size()), out);
    EXPECT_TRUE(writer.result.get());
    EXPECT_TRUE(farWriter.result.get());
    EXPECT_EQ(reader.result.get(), in);
}

TEST_F(UartTest, GivesUpWritingWhenNothingIsTakenForTwoSeconds) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const auto start = steady_clock::now();
    EXPECT_FALSE(uart->write(ByteArray(morePtyBytesThanFit)));
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, 2s);
    EXPECT_LT(took, 20s);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{ERROR_LOG_LEVEL, line("cannot write: the far side has taken nothing for 2 s")}}));

    // The line works again once the far side takes what is there.
    while (pty.waitReadable(100ms)) pty.readAvailable();
    ASSERT_TRUE(uart->write({0x55}));
    ByteArray last;
    do last = pty.read(1);
    while (last == ByteArray{0}); // what a busy kernel had not handed over
    EXPECT_EQ(last, ByteArray{0x55});
}

namespace {

struct SlowTaking {
    bool written = false;
    ByteArray taken;
    steady_clock::duration longestPause{};
};

// Writes to a far side that takes some bytes each 0.3 s: never 2 s without any, more than 2 s in all.
SlowTaking writeToASlowFarSide(Uart& uart, Pty& pty, const ByteArray& data) {
    const auto start = steady_clock::now();
    InThread<bool> writer([&] { return uart.write(data); });
    SlowTaking result;
    auto last = start;
    const auto take = [&](std::size_t size) {
        const ByteArray part = pty.read(size);
        result.taken.insert(result.taken.end(), part.begin(), part.end());
        result.longestPause = std::max(result.longestPause, steady_clock::now() - last);
        last = steady_clock::now();
    };
    while (steady_clock::now() - start < 2500ms && writer.result.wait_for(300ms) == std::future_status::timeout)
        take(16384);
    take(data.size() - result.taken.size());
    result.written = writer.result.get();
    return result;
}

} // namespace

// Where the machine stood still there were 2 s without any: that shows nothing, and another far side is slow.
TEST_F(UartTest, GoesOnWritingForAsLongAsTheFarSideTakesSomething) {
    const ByteArray data = longPattern(morePtyBytesThanFit);
    SlowTaking shown;
    for (int farSides = 0; farSides < 5; ++farSides) {
        Pty slow;
        Uart uart(slow.slavePath(), baudRate, 0, "none", true);
        ASSERT_TRUE(uart.init());
        log.clear();
        shown = writeToASlowFarSide(uart, slow, data);
        if (shown.longestPause < 1500ms) break;
    }
    EXPECT_TRUE(shown.written);
    EXPECT_EQ(shown.taken, data);
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, TellsABlockedReaderThatTheFarSideHungUp) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    InThread<ReadResult> reader([&] { return readOnce(*uart, 64); });
    ASSERT_TRUE(reader.waitUntilBlocked());
    pty.close();
    ASSERT_TRUE(reader.waitUntilDone());
    const ReadResult lost = reader.result.get();
    EXPECT_EQ(lost.data, ByteArray());
    EXPECT_TRUE(lost.error);
    EXPECT_EQ(log.texts(ERROR_LOG_LEVEL).size(), 1U);
    EXPECT_EQ(log.count("line lost: "), 1U);

    // Each further read fails at once; the log hears of it once only.
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(readOnce(*uart, 64).error);
    EXPECT_EQ(log.lines().size(), 1U);

    EXPECT_FALSE(uart->write({1}));
    EXPECT_EQ(log.texts().back(), line("cannot write: Input/output error"));
}

TEST_F(UartTest, TellsABlockedWriterThatTheFarSideHungUp) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    InThread<bool> writer([&] { return uart->write(ByteArray(morePtyBytesThanFit)); });
    ASSERT_TRUE(writer.waitUntilBlocked());
    pty.close();
    ASSERT_TRUE(writer.waitUntilDone());
    EXPECT_FALSE(writer.result.get());
    // At once: when its patience ends it says something else.
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{ERROR_LOG_LEVEL, line("cannot write: the far side hung up")}}));
}

TEST_F(UartTest, LetsABlockedReaderGoWhenItIsDestroyed) {
    const auto before = openDescriptors();
    for (int round = 0; round < 100; ++round) {
        auto uart = make();
        ASSERT_TRUE(uart->init());
        InThread<ReadResult> reader([&port = *uart] { return readOnce(port, 64); });
        ASSERT_TRUE(reader.waitUntilBlocked());
        uart.reset();
        // The destructor has waited, so the call is over but for the way back to here.
        ASSERT_TRUE(reader.waitUntilDone());
        const ReadResult result = reader.result.get();
        EXPECT_TRUE(result.error);
        EXPECT_EQ(result.data, ByteArray());
        ASSERT_EQ(openDescriptors(), before);
    }
    EXPECT_EQ(log.lines(), std::vector<LogLine>()) << "an ending that was asked for is no failure";
}

TEST_F(UartTest, LetsABlockedWriterGoWhenItIsDestroyed) {
    const auto before = openDescriptors();
    const ByteArray data(morePtyBytesThanFit);
    for (int round = 0; round < 100; ++round) {
        auto uart = make();
        ASSERT_TRUE(uart->init());
        InThread<bool> writer([&port = *uart, &data] { return port.write(data); });
        ASSERT_TRUE(writer.waitUntilBlocked());
        uart.reset();
        ASSERT_TRUE(writer.waitUntilDone());
        EXPECT_FALSE(writer.result.get());
        ASSERT_EQ(openDescriptors(), before);
    }
    EXPECT_EQ(log.lines(), std::vector<LogLine>());
}

TEST_F(UartTest, LetsBothGoWhenItIsDestroyed) {
    const ByteArray data(morePtyBytesThanFit);
    for (int round = 0; round < 20; ++round) {
        auto uart = make();
        ASSERT_TRUE(uart->init());
        InThread<ReadResult> reader([&port = *uart] { return readOnce(port, 1); });
        InThread<bool> writer([&port = *uart, &data] { return port.write(data); });
        ASSERT_TRUE(reader.waitUntilBlocked());
        ASSERT_TRUE(writer.waitUntilBlocked());
        uart.reset();
        EXPECT_TRUE(reader.result.get().error);
        EXPECT_FALSE(writer.result.get());
    }
    EXPECT_EQ(log.lines(), std::vector<LogLine>()) << "a writer that is let go when its patience ends says so";
}

TEST_F(UartTest, MayBeDestroyedAfterAFailedInitOrNone) {
    make().reset();
    const auto uart = make(0, "space");
    EXPECT_FALSE(uart->init());
}

TEST_F(UartTest, DoesNotWakeUpWhileNothingArrives) {
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    InThread<ReadResult> reader([&] { return readOnce(*uart, 64); });
    ASSERT_TRUE(reader.waitUntilBlocked());
    // Time has to pass to show that nothing happens in it. A process that is stopped meanwhile wakes up when it goes
    // on.
    long wakeUps = -1;
    for (int period = 0; period < 4 && wakeUps != 0; ++period) {
        const long before = voluntarySwitches(reader.id);
        ASSERT_EQ(reader.result.wait_for(500ms), std::future_status::timeout);
        wakeUps = voluntarySwitches(reader.id) - before;
    }
    EXPECT_EQ(wakeUps, 0);
    ASSERT_TRUE(pty.write("!"));
    EXPECT_EQ(reader.result.get().data, ByteArray{'!'});
}

namespace {

std::atomic<int> signalsTaken{0};

// SIGUSR1 interrupts system calls while this object lives.
class InterruptingSignal {
public:
    InterruptingSignal() {
        struct sigaction action {};
        action.sa_handler = [](int) { ++signalsTaken; };
        ::sigaction(SIGUSR1, &action, &previous); // no SA_RESTART
    }
    ~InterruptingSignal() { ::sigaction(SIGUSR1, &previous, nullptr); }
    InterruptingSignal(const InterruptingSignal&) = delete;
    InterruptingSignal& operator=(const InterruptingSignal&) = delete;

    // Sends one to this thread of ours and waits until it was taken.
    static bool interrupt(pid_t thread) {
        const int target = signalsTaken + 1;
        if (::tgkill(::getpid(), thread, SIGUSR1) != 0) return false;
        const auto deadline = steady_clock::now() + patience;
        while (signalsTaken < target && steady_clock::now() < deadline) std::this_thread::yield();
        return signalsTaken >= target;
    }

private:
    struct sigaction previous {};
};

} // namespace

TEST_F(UartTest, GoesOnReadingAfterASignal) {
    const InterruptingSignal signal;
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    InThread<ReadResult> reader([&] { return readOnce(*uart, 64); });
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(reader.waitUntilBlocked());
        ASSERT_TRUE(InterruptingSignal::interrupt(reader.id));
    }
    ASSERT_TRUE(pty.write("ok"));
    const ReadResult result = reader.result.get();
    EXPECT_FALSE(result.error);
    EXPECT_FALSE(result.data.empty());
}

TEST_F(UartTest, GoesOnWritingAfterASignalAndLosesNothing) {
    const InterruptingSignal signal;
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    const ByteArray data = longPattern(morePtyBytesThanFit);
    InThread<bool> writer([&] { return uart->write(data); });
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(writer.waitUntilBlocked());
        ASSERT_TRUE(InterruptingSignal::interrupt(writer.id));
    }
    EXPECT_EQ(pty.read(data.size()), data);
    EXPECT_TRUE(writer.result.get());
}

TEST_F(UartTest, DoesNotStretchItsPatienceBySignals) {
    const InterruptingSignal signal;
    const auto uart = make();
    ASSERT_TRUE(uart->init());
    InThread<bool> writer([&] { return uart->write(ByteArray(morePtyBytesThanFit)); });
    const auto start = steady_clock::now();
    // A signal each 50 ms: a wait that began anew after each would never end.
    while (writer.result.wait_for(50ms) == std::future_status::timeout) {
        ASSERT_LT(steady_clock::now() - start, patience);
        InterruptingSignal::interrupt(writer.id);
    }
    EXPECT_FALSE(writer.result.get());
    EXPECT_TRUE(log.contains("cannot write: the far side has taken nothing for 2 s"));
}
