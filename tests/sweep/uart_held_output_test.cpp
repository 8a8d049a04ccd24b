// What the link over a serial port says and does about output that has not left when no response has come.
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <sys/ioctl.h>
#include <termios.h>

#include <gmock/gmock.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>
#include <serialcomm/UartOutput.h>

#include "FaultTest.h"
#include "PlayedTerminal.h"
#include "support/Packets.h"
#include "support/Pty.h"

using namespace sweep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A port whose queue has the length that the test says, and where nobody waits for it to empty.
class HoldingPort : public PlayedTerminal {
public:
    Answer ioctl(int fd, unsigned long request, void* argument) override {
        if (request != TIOCOUTQ) return PlayedTerminal::ioctl(fd, request, argument);
        if (questions++ == 0 && firstAnswer >= 0)
            *static_cast<int*>(argument) = firstAnswer;
        else
            *static_cast<int*>(argument) = queued;
        return 0;
    }
    Answer flush(int /*fd*/, int queue) override {
        if (queue == TCOFLUSH) {
            ++drops;
            queued = 0;
        }
        return {};
    }

    std::atomic<int> queued{0};
    std::atomic<int> firstAnswer{-1}; // to the first question from now on; negative: as the others
    std::atomic<int> questions{0};
    std::atomic<int> drops{0};
};

class UartHeldOutput : public FaultTest<HoldingPort> {
protected:
    UartHeldOutput() : FaultTest("HostLinkPhysicalLayer") {}
    ~UartHeldOutput() override {
        kernel.queued = 0;
        underTest([this] { link.reset(); });
    }

    void start(int options) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, pty.slavePath());
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, 1);
        properties.setInt(UartOptions, options);
        link = std::make_unique<UartPhysicalLayer>(properties);
        ASSERT_TRUE(underTest([this] { return link->init(); }));
        log.clear();
    }
    /// Nobody answers.
    void writeInVain() {
        kernel.questions = 0;
        EXPECT_EQ(underTest([this] { return link->writeData(messageEnd(1, 0, {1, 2, 3})); }), NoResponse);
    }
    std::vector<std::string> complaints() const { return log.texts(log4cplus::WARN_LOG_LEVEL); }

    static constexpr auto empty = "Empty response from host";
    static constexpr auto noAnswer = "Error uart bus master recv (ack)";
    static constexpr auto held =
        "40 bytes have not left the port, the host holds them back by RTS/CTS; they are dropped "
        "before the next packet";
    static constexpr auto moving =
        "40 bytes are still on their way out: UartResponseTimeout is too short for this line, "
        "and an answer may be taken for that of the next packet";
    static constexpr int rtsCts = 2;

    Pty pty;
    std::unique_ptr<UartPhysicalLayer> link;
};

TEST_F(UartHeldOutput, NothingIsToldOfAnEmptyQueue) {
    start(rtsCts);
    writeInVain();
    EXPECT_THAT(complaints(), ElementsAre(empty, noAnswer));
}

TEST_F(UartHeldOutput, WhatTheHostHoldsBackIsToldAndDroppedBeforeTheNextPacket) {
    start(rtsCts);
    kernel.queued = 40;
    writeInVain();
    EXPECT_THAT(complaints(), ElementsAre(empty, held, noAnswer));
    EXPECT_EQ(kernel.drops, 0) << "the host may still take it";
    writeInVain();
    EXPECT_EQ(kernel.drops, 1);
    EXPECT_THAT(complaints(), ElementsAre(empty, held, noAnswer, empty, noAnswer));
    writeInVain();
    EXPECT_EQ(kernel.drops, 1);
}

TEST_F(UartHeldOutput, WhatTheHostHasTakenMeanwhileIsNotDropped) {
    start(rtsCts);
    kernel.queued = 40;
    writeInVain();
    kernel.queued = 39;
    writeInVain();
    EXPECT_EQ(kernel.drops, 0);
}

TEST_F(UartHeldOutput, QueueThatShrinksIsToldAsSuchAndLeftAlone) {
    start(rtsCts);
    kernel.queued = 40;
    kernel.firstAnswer = 41; // right after the write
    writeInVain();
    EXPECT_THAT(complaints(), ElementsAre(empty, moving, noAnswer));
    writeInVain();
    EXPECT_EQ(kernel.drops, 0);
}

TEST_F(UartHeldOutput, WithoutFlowControlTheLineIsOnlySlow) {
    start(0);
    kernel.queued = 40;
    writeInVain();
    writeInVain();
    EXPECT_THAT(complaints(), ElementsAre(empty, moving, noAnswer, empty, moving, noAnswer));
    EXPECT_EQ(kernel.drops, 0);
}

// --- The functions themselves ---

TEST_F(UartHeldOutput, PortThatIsNotOpenHasNoOutput) {
    Uart uart(pty.slavePath(), 115200, 0, "none", true);
    kernel.queued = 40;
    underTest([&] {
        EXPECT_EQ(uartQueuedOutput(uart), 0);
        uartDropOutput(uart);
    });
    EXPECT_EQ(kernel.drops, 0);
    kernel.queued = 0;
}

TEST_F(UartHeldOutput, QueueThatCannotBeAskedForIsTakenForEmpty) {
    Uart uart(pty.slavePath(), 115200, 0, "none", true);
    underTest([&] { EXPECT_TRUE(uart.init()); });
    kernel.queued = 40;
    EXPECT_EQ(underTest([&] { return uartQueuedOutput(uart); }), 40);
    failNext("ioctl", EIO);
    EXPECT_EQ(underTest([&] { return uartQueuedOutput(uart); }), 0);
    underTest([&] { uartDropOutput(uart); });
    EXPECT_EQ(kernel.drops, 1);
}

} // namespace
