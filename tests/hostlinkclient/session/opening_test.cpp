// Links that cannot be opened: what the client says of them, and what they leave behind.
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <hostlink/physicalLayers/UartPhysicalLayer.h>
#include <hostlinkclient/Client.h>

#include "PlayedHost.h"
#include "QuickOptions.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/MustEnd.h"
#include "support/Pty.h"

namespace {

using hostlink::Client;
using hostlink::LinkState;
using hostlink::OwnLink;
using hostlink::Wire;

/// A link that does not open and says nothing of it.
class Closed : public HostLinkPhysicalLayer {
public:
    Closed() : HostLinkPhysicalLayer(Properties()) {}
    bool init() override { return false; }
    void shutdown() override {}
    int nextFrameId() override { return 0; }
    WriteDataResponse writeData(const ByteArray& /*packet*/) override { return NoResponse; }
};

/// A serial link, and how many of them there were.
class CountedUart : public UartPhysicalLayer {
public:
    explicit CountedUart(const std::string& path) : UartPhysicalLayer(propertiesOf(path)) { ++made; }
    ~CountedUart() override { ++ended; }
    bool init() override {
        ++tried;
        return UartPhysicalLayer::init();
    }

    static inline std::atomic<int> made{0};
    static inline std::atomic<int> tried{0};
    static inline std::atomic<int> ended{0};

private:
    static Properties propertiesOf(const std::string& path) {
        Properties properties;
        properties.setString(DevicePath, path);
        properties.setInt(UartBaudRate, 115200);
        properties.setInt(UartResponseTimeout, 50);
        return properties;
    }
};

// What the links tell in their log alone.
TEST(ClientOpening, SaysWhatTheLinkHasLoggedFirst) {
    const LogCapture serial("SerialComm");
    Client noPort(hostlink::Uart{"/dev/null", 115200}, quick());
    Client noBus(hostlink::Spi{"/dev/null", 1000000, 17}, quick());
    mustBecomeTrue([&] { return noPort.linkState() == LinkState::Down; }, "down");
    mustBecomeTrue([&] { return noBus.linkState() == LinkState::Down; }, "down");
    EXPECT_EQ(noPort.linkText(),
              "cannot open /dev/null: Uart /dev/null: not a serial port; give the path of a terminal "
              "device such as /dev/ttyS0");
    EXPECT_EQ(noBus.linkText(),
              "cannot open /dev/null: Spi /dev/null: not an SPI device; give the path of one such as /dev/spidev0.0");
}

// The host's first word is a key, which waited for the module to come.
TEST(ClientOpening, IsLeftToTheProgramThatListensFirst) {
    PlayedHost host;
    host.does([&](const ByteArray& message) {
        std::vector<ByteArray> answers = host.simulated(message);
        answers.insert(answers.begin(), bytes("06 00 01 01 00 CC 05"));
        return PlayedHost::Reaction{Accepted, answers};
    });
    hostlink::Options later = quick();
    later.opensLater = true;
    Client client(host.wire(), later);
    EXPECT_FALSE(client.waitUntilUp(std::chrono::milliseconds(100)));
    EXPECT_EQ(client.linkState(), LinkState::Opening);
    EXPECT_EQ(host.linksMade(), 0);
    std::atomic<int> keys{0};
    const hostlink::Listening listening = client.onInputEvent([&](const hostlink::InputEvent&) { ++keys; });
    client.open();
    client.open();
    mustBecomeTrue([&] { return keys > 0; }, "told of the key");
    EXPECT_TRUE(client.waitUntilUp(std::chrono::seconds(20)));
    EXPECT_EQ(host.linksMade(), 1);
}

TEST(ClientOpening, DoesNotBeginAfterTheEnd) {
    PlayedHost host;
    hostlink::Options later = quick();
    later.opensLater = true;
    Client client(host.wire(), later);
    auto volume = client.getAsync(STA_PlayerVolume);
    client.close();
    EXPECT_EQ(volume.get().outcome(), hostlink::Outcome::Cancelled);
    client.open();
    EXPECT_EQ(client.linkState(), LinkState::Closed);
    EXPECT_EQ(host.linksMade(), 0);
}

TEST(ClientOpening, SaysWhereToLookWhenTheLinkSaysNothing) {
    Client silent(OwnLink{[] { return std::make_unique<Closed>(); }, "silent"}, quick());
    mustBecomeTrue([&] { return silent.linkState() == LinkState::Down; }, "down");
    EXPECT_EQ(silent.linkText(), "cannot open silent; the log of the link says why");
}

// A serial link that was not opened must not be destroyed: there is one of them at a time, however often it is
// tried.
TEST(ClientOpening, LeavesOneSerialLinkThatNeverOpened) {
    const LogCapture serial("SerialComm");
    Pty pty;
    const std::string path = pty.slavePath();
    const int other = ::open(path.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0); // as another program's
    CountedUart::made = CountedUart::tried = CountedUart::ended = 0;
    const Wire wire = OwnLink{[path] { return std::make_unique<CountedUart>(path); }, "the port"};
    {
        Client client(wire, quick());
        mustBecomeTrue([] { return CountedUart::tried >= 10; }, "tried again and again");
        EXPECT_EQ(CountedUart::made, 1);
        EXPECT_EQ(client.linkText(), "cannot open the port: Uart " + path + ": is in use by another program");
        ::flock(other, LOCK_UN);
        mustBecomeTrue([&] { return client.statistics().packetsOut > 0; }, "opened");
    }
    EXPECT_EQ(CountedUart::ended, CountedUart::made.load()); // nothing is left of one that has opened
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    CountedUart::made = CountedUart::tried = CountedUart::ended = 0;
    {
        Client client(wire, quick());
        mustBecomeTrue([] { return CountedUart::tried >= 10; }, "tried again and again");
    }
    EXPECT_EQ(CountedUart::made, 1);
    EXPECT_EQ(CountedUart::ended, 0);
    ::close(other);
}

} // namespace
