// The serial library on the kernel's serial drivers: a 16550 and a USB adapter, which the emulator models.
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <serialcomm/Uart.h>

#include "Outside.h"
#include "TerminalLine.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"

namespace {

constexpr int twoStopBits = 1;
constexpr int rtsCts = 2;
constexpr int lowLatency = 4;

ByteArray pattern(size_t size) {
    ByteArray data(size);
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return data;
}

/// Until `size` bytes have come or the port gives an error.
ByteArray readExactly(Uart& uart, size_t size) {
    ByteArray all;
    bool error = false;
    while (all.size() < size && !error) {
        const ByteArray part = uart.read(size - all.size(), &error);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class KernelUart : public testing::TestWithParam<const char*> {
protected:
    std::unique_ptr<Uart> opened(int baudRate, int options, const std::string& parity) {
        auto uart = std::make_unique<Uart>(path, baudRate, options, parity, true);
        EXPECT_TRUE(uart->init());
        return uart;
    }

    const std::string path = portPath(GetParam());
    const LogCapture log{"SerialComm"};
};

INSTANTIATE_TEST_SUITE_P(Ports, KernelUart, testing::Values("first", "usb"),
                         [](const auto& port) { return std::string(port.param); });

TEST_P(KernelUart, DriverHasTheSettingsThatWereAskedFor) {
    struct Case {
        int baudRate, options;
        const char *parity, *expected;
    };
    for (const Case& wanted : {Case{9600, 0, "none", "9600 none 1"}, Case{115200, twoStopBits, "even", "115200 even 2"},
                               Case{38400, rtsCts, "odd", "38400 odd 1 rtscts"}}) {
        const auto uart = opened(wanted.baudRate, wanted.options, wanted.parity);
        EXPECT_EQ(TerminalLine(path).settings(), wanted.expected);
    }
    EXPECT_TRUE(log.texts(log4cplus::WARN_LOG_LEVEL).empty());
}

TEST_P(KernelUart, LowLatencyReachesTheDriver) {
    const auto uart = opened(9600, lowLatency, "none");
    EXPECT_TRUE(TerminalLine(path).isLowLatency());
}

TEST_P(KernelUart, EveryByteComesBackFromAnEcho) {
    askOutside(std::string("echo ") + GetParam());
    const auto uart = opened(115200, 0, "none");
    const ByteArray sent = pattern(20000);
    auto received = std::async(std::launch::async, [&] { return readExactly(*uart, sent.size()); });
    EXPECT_TRUE(uart->write(sent));
    mustEnd(received, "reading what was sent");
    EXPECT_TRUE(received.get() == sent);
    askOutside(std::string("detach ") + GetParam());
}

TEST_P(KernelUart, HangUpEndsAReaderAndEveryWriteUntilThePortIsOpenedAgain) {
    auto uart = opened(115200, 0, "none");
    bool error = false;
    auto reader = std::async(std::launch::async, [&] { return uart->read(64, &error); });
    TerminalLine(path).hangUp();
    mustEnd(reader, "the reader of a port that was hung up");
    EXPECT_TRUE(reader.get().empty());
    EXPECT_TRUE(error);
    EXPECT_FALSE(uart->write({1, 2, 3}));
    uart.reset();
    uart = opened(115200, 0, "none");
    EXPECT_TRUE(uart->write({1, 2, 3}));
}

TEST_P(KernelUart, SecondOneInThisProcessIsTurnedAway) {
    const auto uart = opened(9600, 0, "none");
    Uart second(path, 115200, 0, "none", false);
    EXPECT_FALSE(second.init());
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL, "Uart " + path + ": is in use by another program"));
    EXPECT_EQ(TerminalLine(path).settings(), "9600 none 1");
}

/// The errno of an open by an ordinary user in `group`.
int openedByUser(const std::string& path, gid_t group) {
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(group) != 0 || setuid(1000) != 0) _exit(255);
        _exit(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK) < 0 ? errno : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

TEST_P(KernelUart, IsNobodyElsesWhileItIsOpen) {
    constexpr gid_t dialout = 20;
    ASSERT_EQ(chown(path.c_str(), 0, dialout), 0);
    ASSERT_EQ(chmod(path.c_str(), 0660), 0);
    EXPECT_EQ(openedByUser(path, 1000), EACCES);
    {
        const auto uart = opened(9600, 0, "none");
        EXPECT_EQ(openedByUser(path, dialout), EBUSY);
    }
    EXPECT_EQ(openedByUser(path, dialout), 0);
}

// --- What only the 16550 has ---

/// The model of the chip says what its registers were set to; the kernel is not asked.
TEST(Kernel16550, ChipIsSetAsAsked) {
    struct Case {
        int baudRate, options;
        const char *parity, *expected;
    };
    for (const Case& wanted : {Case{9600, 0, "none", "baudrate=9600 parity='N' data=8 stop=1"},
                               Case{115200, twoStopBits, "even", "baudrate=115200 parity='E' data=8 stop=2"},
                               Case{38400, 0, "odd", "baudrate=38400 parity='O' data=8 stop=1"}}) {
        Uart uart(portPath("first"), wanted.baudRate, wanted.options, wanted.parity, true);
        ASSERT_TRUE(uart.init());
        const std::string settings = askOutside("line-settings");
        EXPECT_NE(settings.find(wanted.expected), std::string::npos) << settings;
    }
}

class KernelFlowControl : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(uart.init()); }
    void TearDown() override { line.endLoopBack(); }

    /// More than driver and chip take by themselves.
    const ByteArray much = pattern(10000);
    const LogCapture log{"SerialComm"};
    Uart uart{portPath("second"), 115200, rtsCts, "none", true};
    const TerminalLine line{portPath("second")};
};

TEST_F(KernelFlowControl, WriteFailsWhileTheFarSideTakesNothing) {
    line.loopBack(false);
    auto written = std::async(std::launch::async, [&] { return uart.write(much); });
    mustEnd(written, "a write that nobody takes");
    EXPECT_FALSE(written.get());
    EXPECT_EQ(log.texts(log4cplus::ERROR_LOG_LEVEL).size(), 1U);
}

TEST_F(KernelFlowControl, WriteGoesOnWhenTheFarSideDoes) {
    line.loopBack(false);
    auto written = std::async(std::launch::async, [&] { return uart.write(much); });
    line.loopBack(true);
    mustEnd(written, "a write that is taken at last");
    EXPECT_TRUE(written.get());
    EXPECT_TRUE(log.texts(log4cplus::ERROR_LOG_LEVEL).empty());
}

} // namespace
