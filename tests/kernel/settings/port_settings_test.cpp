// What a real kernel's serial drivers make of the settings, and what is left of them.
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>
#include <serialcomm/Uart.h>

#include "support/LineSpeed.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Packets.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr int rtsCts = 2;
constexpr int lowLatency = 4;

std::string portPath(const char* variable) {
    const char* path = std::getenv(variable);
    if (path == nullptr) throw std::runtime_error("runs in the kernel's guest only");
    return path;
}

/// Has the world outside do something.
void askOutside(const std::string& request) {
    ASSERT_EQ(std::system(("ask " + request).c_str()), 0) << request;
}

/// The port beside the library; root may open it at any time.
class Beside {
public:
    explicit Beside(const std::string& path) : fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {}
    ~Beside() { ::close(fd); }
    Beside(const Beside&) = delete;
    Beside& operator=(const Beside&) = delete;

    termios settings() const {
        termios line{};
        EXPECT_EQ(::tcgetattr(fd, &line), 0);
        return line;
    }
    void set(const termios& line) const { EXPECT_EQ(::tcsetattr(fd, TCSANOW, &line), 0); }
    bool isLowLatency() const {
        serial_struct driver{};
        EXPECT_EQ(::ioctl(fd, TIOCGSERIAL, &driver), 0);
        return (driver.flags & static_cast<int>(ASYNC_LOW_LATENCY)) != 0;
    }
    /// Nothing goes out: output is led back, and CTS with RTS, which is low. With flow control on the driver moves RTS
    /// by itself, so that it is off meanwhile.
    void holdBack() const {
        const termios wanted = settings();
        termios without = wanted;
        without.c_cflag &= ~tcflag_t{CRTSCTS};
        set(without);
        constexpr int loop = 0x8000; // TIOCM_LOOP, which <termios.h> does not know
        EXPECT_EQ(::ioctl(fd, TIOCMSET, &loop), 0);
        set(wanted);
    }
    void letGo() const {
        const int lines = TIOCM_DTR | TIOCM_RTS;
        EXPECT_EQ(::ioctl(fd, TIOCMSET, &lines), 0);
    }

    const int fd;
};

class KernelPort : public testing::Test {
protected:
    std::string line(const std::string& what) const { return "Uart " + path + ": " + what; }

    const std::string path = portPath("ZENT_PORT_FIRST");
    LogCapture log{"SerialComm"};
};

// The chip's clock ends at 115200.
TEST_F(KernelPort, SpeedThatTheChipCannotDoFailsInit) {
    const Beside port(path);
    Uart uart(path, 921600, 0, "none", true);
    EXPECT_FALSE(uart.init());
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.texts().front(), HasSubstr("cannot set the line to 921600 baud: the driver does "));
    EXPECT_NE(lineSpeed(port.fd).output, 921600U);
}

TEST_F(KernelPort, SpeedsThatTheChipDoesAreTaken) {
    for (const int rate : {50, 9600, 31250, 100000, 115200}) {
        Uart uart(path, rate, 0, "none", true);
        EXPECT_TRUE(uart.init()) << rate;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(KernelPort, IsLeftAsItWasFound) {
    const Beside port(path);
    setLineSpeed(port.fd, 31250);
    termios found = port.settings();
    found.c_iflag = ICRNL | IXON;
    found.c_lflag = ICANON | ISIG;
    found.c_cflag |= PARENB | CSTOPB | HUPCL;
    port.set(found);
    found = port.settings();
    ASSERT_FALSE(port.isLowLatency());
    for (const int rate : {9600, 12345}) {
        auto uart = std::make_unique<Uart>(path, rate, lowLatency, "none", true);
        ASSERT_TRUE(uart->init());
        EXPECT_TRUE(port.isLowLatency());
        uart.reset();
        EXPECT_FALSE(port.isLowLatency());
        EXPECT_EQ(lineSpeed(port.fd).output, 31250U);
        const termios left = port.settings();
        EXPECT_EQ(left.c_iflag, found.c_iflag);
        EXPECT_EQ(left.c_lflag, found.c_lflag);
        EXPECT_EQ(left.c_cflag, found.c_cflag);
    }
}

TEST_F(KernelPort, BreakIsNoByte) {
    Uart uart(path, 9600, 0, "none", true);
    askOutside("echo first"); // somebody is at the far side, so that what it does comes in
    ASSERT_TRUE(uart.init());
    askOutside("monitor chardev-send-break first");
    ASSERT_TRUE(uart.write({'A'}));
    bool error = false;
    auto received = std::async(std::launch::async, [&] { return uart.read(64, &error); });
    mustEnd(received, "reading what came behind a break");
    EXPECT_EQ(received.get(), ByteArray{'A'});
    askOutside("detach first");
}

TEST_F(KernelPort, ProgramThatHasItOpenIsNamed) {
    int told[2];
    ASSERT_EQ(::pipe(told), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool opened = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK) >= 0;
        const char done = opened ? 'y' : 'n';
        if (::write(told[1], &done, 1) != 1) ::_exit(1);
        ::pause();
        ::_exit(0);
    }
    char done = 'n';
    ASSERT_EQ(::read(told[0], &done, 1), 1);
    EXPECT_EQ(done, 'y');
    Uart uart(path, 9600, 0, "none", true);
    EXPECT_TRUE(uart.init());
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(told[0]);
    ::close(told[1]);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.texts(log4cplus::WARN_LOG_LEVEL).front(), HasSubstr("is also open in kernel_port_set ("));
}

TEST_F(KernelPort, ConsoleOfTheKernelIsTold) {
    std::ifstream file("/sys/class/tty/console/active");
    std::string console;
    file >> console;
    Uart uart("/dev/" + console, 115200, 0, "none", true);
    EXPECT_TRUE(uart.init());
    EXPECT_TRUE(log.contains(log4cplus::WARN_LOG_LEVEL, "Uart /dev/" + console +
                                                            ": is a console of the kernel (console= on its command "
                                                            "line): the far side gets its messages"));
}

TEST_F(KernelPort, MissingDeviceFileIsToldWithWhatMakesIt) {
    Uart uart("/dev/ttyUSB4711", 9600, 0, "none", true);
    EXPECT_FALSE(uart.init());
    EXPECT_THAT(log.texts(), ElementsAre("Uart /dev/ttyUSB4711: cannot open: No such file or directory; the adapter's "
                                         "module, such as ftdi_sio, cp210x, ch341 or pl2303, makes this file: is it "
                                         "plugged in?"));
}

TEST(KernelUartLink, OutputThatTheHostHoldsBackIsToldAndDropped) {
    const std::string path = portPath("ZENT_PORT_SECOND");
    HostLinkPhysicalLayer::Properties properties;
    properties.setString(DevicePath, path);
    properties.setInt(UartBaudRate, 115200);
    properties.setInt(UartResponseTimeout, 200);
    properties.setInt(UartOptions, rtsCts);
    const LogCapture log("HostLinkPhysicalLayer");
    UartPhysicalLayer link(properties);
    ASSERT_TRUE(link.init());
    const Beside port(path);
    port.holdBack();
    const ByteArray packet = messageEnd(1, 0, ByteArray(40, 0x55));
    EXPECT_EQ(link.writeData(packet), NoResponse);
    EXPECT_EQ(
        log.count(" bytes have not left the port, the host holds them back by RTS/CTS; they are dropped before the "
                  "next packet"),
        1U);
    EXPECT_EQ(link.writeData(packet), NoResponse);
    EXPECT_EQ(log.count("Dropped "), 1U);
    int queued = 0;
    EXPECT_EQ(::ioctl(port.fd, TIOCOUTQ, &queued), 0);
    EXPECT_LE(queued, static_cast<int>(packet.size()));
    port.letGo();
}

} // namespace
