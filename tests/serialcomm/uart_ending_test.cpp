// Ending a port that is destroyed later.
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <serialcomm/UartEnding.h>

#include "support/Bytes.h"
#include "support/LinkThreads.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Pty.h"

using testing::IsEmpty;

namespace {

class UartEndingTest : public testing::Test {
protected:
    std::unique_ptr<Uart> makePort() { return std::make_unique<Uart>(pty.slavePath(), 115200, 0, "none", true); }
    void open() {
        port = makePort();
        ASSERT_TRUE(port->init());
    }
    void endPort() {
        const std::future<void> ended = std::async(std::launch::async, [this] { uartEnd(*port); });
        mustEnd(ended, "ending the port");
    }
    void expectRefusals() {
        bool error = false;
        EXPECT_THAT(port->read(64, &error), IsEmpty());
        EXPECT_TRUE(error);
        EXPECT_FALSE(port->write(bytes("01")));
    }

    Pty pty;
    std::unique_ptr<Uart> port;
    LogCapture log{"SerialComm"};
};

TEST_F(UartEndingTest, CallsThatComeLaterFailAtOnceWithoutALine) {
    open();
    ASSERT_TRUE(pty.write(bytes("41 42"))); // even though there is something to read
    uartEnd(*port);
    expectRefusals();
    expectRefusals();
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(UartEndingTest, ThreadInsideReadComesBack) {
    open();
    const NewThreads started;
    bool error = false;
    std::future<ByteArray> reading = std::async(std::launch::async, [&] { return port->read(64, &error); });
    ASSERT_NE(started.polling(), -1);
    endPort();
    mustEnd(reading, "the read");
    EXPECT_THAT(reading.get(), IsEmpty());
    EXPECT_TRUE(error);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(UartEndingTest, ThreadInsideWriteComesBack) {
    open();
    const NewThreads started;
    std::future<bool> writing = std::async(std::launch::async, [&] { return port->write(ByteArray(65536)); });
    ASSERT_NE(started.polling(), -1);
    endPort();
    mustEnd(writing, "the write");
    EXPECT_FALSE(writing.get());
}

TEST_F(UartEndingTest, PortIsStillHeldUntilItIsDestroyed) {
    open();
    uartEnd(*port);
    std::future<bool> opened = std::async(std::launch::async, [this] { return makePort()->init(); });
    mustEnd(opened, "opening a port that is held");
    EXPECT_FALSE(opened.get());
    port.reset();
    EXPECT_TRUE(makePort()->init());
}

TEST_F(UartEndingTest, MayBeDoneAgainAndBeforeThePortIsOpen) {
    port = makePort();
    uartEnd(*port);
    uartEnd(*port);
    expectRefusals();
    EXPECT_FALSE(port->init());
    EXPECT_TRUE(log.contains(log4cplus::ERROR_LOG_LEVEL,
                             "Uart " + pty.slavePath() + ": has been ended; make another object to open it again"));
    expectRefusals();
}

} // namespace
