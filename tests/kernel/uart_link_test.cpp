// The UART link on the kernel's serial drivers, with a simulated host at the far side: ends that a pseudo terminal does
// not have.
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <hostlink/HostLinkPhysicalLayer.h>
#include <hostlink/HostLinkTransportLayer.h>
#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Outside.h"
#include "TerminalLine.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"

namespace {

/// A link that serves, with its transport.
class Stack {
public:
    explicit Stack(const std::string& path, int timeout = 20000) {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, path);
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, timeout);
        link.reset(HostLinkPhysicalLayer::create("uart", properties));
        transport = std::make_unique<HostLinkTransportLayer>(link.get());
        EXPECT_TRUE(link->init());
    }
    bool setVolume(unsigned char volume) {
        const auto message = HostLinkValueMessage(MSG_SetState).addValueUint8(STA_PlayerVolume, volume);
        return transport->writeMessage(message.serialize());
    }
    /// On a thread of its own, so that one that never ends is a failure.
    void end() {
        auto ended = std::async(std::launch::async, [this] {
            transport.reset();
            link.reset();
        });
        mustEnd(ended, "a link whose port has gone");
    }

private:
    std::unique_ptr<HostLinkPhysicalLayer> link;
    std::unique_ptr<HostLinkTransportLayer> transport; // goes first
};

void expectThatItServes(const std::string& path) {
    Stack stack(path);
    EXPECT_TRUE(stack.setVolume(33));
    stack.end();
}

class KernelUartLink : public testing::Test {
protected:
    const LogCapture serial{"SerialComm"};
    const LogCapture logged{"HostLinkPhysicalLayer"};
};

TEST_F(KernelUartLink, EndsAfterAHangUpAndTheNextOneServes) {
    const std::string path = portPath("first");
    const HostOutside host("first");
    Stack stack(path);
    EXPECT_TRUE(stack.setVolume(31));
    TerminalLine(path).hangUp();
    EXPECT_FALSE(stack.setVolume(32));
    stack.end();
    expectThatItServes(path);
}

TEST_F(KernelUartLink, SilentHostCostsTheTimeOutAndNoMore) {
    const std::string path = portPath("first");
    Stack stack(path, 300);
    EXPECT_FALSE(stack.setVolume(31));
    EXPECT_TRUE(logged.contains("Empty response from host"));
    stack.end();
}

TEST_F(KernelUartLink, UnpluggedAdapterEndsItAndComesBackUnderItsNameOnceItIsClosed) {
    const std::string path = portPath("usb");
    const HostOutside host("usb");
    Stack stack(path);
    EXPECT_TRUE(stack.setVolume(31));
    askOutside("unplug usb");
    ASSERT_TRUE(disappears(path));
    EXPECT_FALSE(stack.setVolume(32));
    stack.end();
    askOutside("plug usb");
    ASSERT_TRUE(appears(path));
    expectThatItServes(path);
}

TEST_F(KernelUartLink, AdapterPluggedInAgainBearsAnotherNameWhileTheOldOneIsOpen) {
    const std::string path = portPath("usb");
    const std::string next = path.substr(0, path.size() - 1) + "1";
    const HostOutside host("usb");
    Stack stack(path);
    askOutside("unplug usb");
    ASSERT_TRUE(disappears(path));
    askOutside("plug usb");
    ASSERT_TRUE(appears(next));
    expectThatItServes(next);
    EXPECT_FALSE(stack.setVolume(32));
    stack.end();
    askOutside("unplug usb");
    ASSERT_TRUE(disappears(next));
    askOutside("plug usb");
    ASSERT_TRUE(appears(path));
}

TEST_F(KernelUartLink, RemovedCardEndsItAndANewOneServes) {
    const std::string path = portPath("card");
    const HostOutside host("card");
    Stack stack(path);
    EXPECT_TRUE(stack.setVolume(31));
    const auto device = std::filesystem::canonical("/sys/class/tty/" + path.substr(path.rfind('/') + 1) + "/device");
    std::ofstream(device / "remove") << "1";
    EXPECT_FALSE(stack.setVolume(32));
    stack.end();
    std::ofstream("/sys/bus/pci/rescan") << "1";
    ASSERT_TRUE(appears(path));
    expectThatItServes(path);
}

} // namespace
