// The two contexts of a host at the same time, each on a thread of its own: for ThreadSanitizer, and for the order of
// what passes between them.
#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "UartLine.h"
#include "support/Packets.h"

namespace {

constexpr unsigned messages = 2000;

ByteArray numbered(unsigned number) {
    return {static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8), 0};
}

/// The module's end, on the link's thread: sends its messages one after the other, each until it is taken, and
/// acknowledges every packet of the host.
class Module {
public:
    explicit Module(UartLine& host) : line(host) {}

    void run() {
        while (sent < messages || received.size() < messages) {
            if (sent < messages && !isWaiting) send();
            take(line.fetch());
            std::this_thread::yield();
        }
    }

    std::vector<std::string> received;

private:
    void send() {
        line.receive(messageEnd(1 + sent % 100, 0, numbered(sent)));
        isWaiting = true;
    }

    void take(const ByteArray& bytes) {
        for (size_t at = 0; at < bytes.size(); at += hostLinkPacketGetLength(&bytes[at])) {
            if (hostLinkPacketGetFrameType(&bytes[at]) == FRT_Response) {
                if (hostLinkFrameRspDeserialize(&bytes[at]) == AcknowledgeType::Ack) ++sent;
                isWaiting = false;
            } else {
                received.push_back(hex(slice(bytes, at + 8, at + hostLinkPacketGetLength(&bytes[at]) - 2)));
                line.receive(responseFrame(0xA3, 1 + sent % 100));
            }
        }
    }

    UartLine& line;
    unsigned sent = 0;
    bool isWaiting = false;
};

} // namespace

TEST(HostContexts, MessagesPassBetweenThemInOrderWithoutALock) {
    UartLine line({64, 8, 2, 3});
    Module module(line);
    bool answered = false;
    std::thread link([&module] { module.run(); });
    for (unsigned number = 0; number < messages || line.told.size() < messages;) {
        if (number < messages && line.send(numbered(number)) == 0U) ++number;
        line.deliver();
        answered = hostLinkHostModuleAnswers(&line.host) != 0 || answered;
        std::this_thread::yield();
    }
    link.join();
    EXPECT_TRUE(answered);
    std::vector<std::string> expected;
    for (unsigned number = 0; number < messages; ++number) expected.push_back(hex(numbered(number)));
    EXPECT_EQ(line.told, expected);
    EXPECT_EQ(module.received, expected);
    EXPECT_EQ(line.outcomes.size(), messages);
    EXPECT_EQ(hostLinkHostQueued(&line.host), 0U);
}

TEST(HostContexts, ResetsAreToldWhileMoreOfThemCome) {
    UartLine line({64, 8, 2, 3});
    std::atomic<bool> isOver{false};
    std::thread link([&line, &isOver] {
        for (unsigned i = 0; i < messages; ++i) {
            line.receive(ByteArray{0xFF, 0xFE, 8, 0, 0x21, 0, 0, 0});
            line.fetch();
        }
        isOver = true;
    });
    while (!isOver) line.deliver();
    link.join();
    line.deliver();
    EXPECT_GE(line.told.size(), 1U);
    EXPECT_LE(line.told.size(), messages);
    EXPECT_EQ(line.deliver(), 0) << "the last one has been told";
}
