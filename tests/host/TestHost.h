/// @file
/// A host whose storage are heap blocks of exactly the sizes that the macros tell, and what it has said.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <host/HostLinkHost.h>

#include "support/Bytes.h"

struct HostSizes {
    uint16_t packet = 64;
    uint32_t message = 256;
    uint8_t openFrames = 2;
    uint32_t queueLength = 4;
};

class TestHost {
public:
    explicit TestHost(const HostSizes& chosen = {})
        : sizes(chosen),
          frameBlock(new HostLinkHostFrame[chosen.openFrames]),
          messageBlock(HOSTLINK_HOST_MESSAGES_SIZE(chosen.openFrames, chosen.message)),
          queueBlock(HOSTLINK_HOST_QUEUE_SIZE(chosen.queueLength, chosen.message)),
          packetBlock(chosen.packet) {
        hostLinkHostDefaults(&setup);
        setup.events = {this, &TestHost::onMessage, &TestHost::onReset, &TestHost::onOutcome};
        setup.frames = frameBlock.get();
        setup.openFrames = chosen.openFrames;
        setup.messages = messageBlock.data();
        setup.messageSize = chosen.message;
        setup.queue = queueBlock.data();
        setup.queueSize = static_cast<uint32_t>(queueBlock.size());
        setup.packet = packetBlock.data();
        setup.packetSize = chosen.packet;
        start();
    }
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    /// Anew, with the present setup.
    uint32_t start() { return hostLinkHostInit(&host, &setup); }

    uint32_t send(const ByteArray& message) {
        const ExactBytes exact(message);
        return hostLinkHostSend(&host, exact.data(), static_cast<uint32_t>(exact.size()), nullptr);
    }

    /// Delivers all that is there; how many messages and resets.
    int deliver() {
        int count = 0;
        while (count < 10000 && hostLinkHostDeliver(&host) != 0) ++count;
        return count;
    }

    /// What it answers each message; empty: nothing.
    ByteArray answer;
    /// What the application was told, in order: the hex text of each message, "reset".
    std::vector<std::string> told;
    /// Ticket and outcome of each message that has left the queue: "1 sent".
    std::vector<std::string> outcomes;

    const HostSizes sizes;
    HostLinkHost host{};
    HostLinkHostSetup setup{};

private:
    static void onMessage(void* context, const uint8_t* message, uint32_t length) {
        auto* self = static_cast<TestHost*>(context);
        self->told.push_back(hex(message, length));
        if (!self->answer.empty()) self->send(self->answer);
    }
    static void onReset(void* context) { static_cast<TestHost*>(context)->told.emplace_back("reset"); }
    static void onOutcome(void* context, uint32_t ticket, HostLinkHostOutcome outcome) {
        static const char* const names[] = {"sent", "refused", "error", "neither", "no response", "reset"};
        static_cast<TestHost*>(context)->outcomes.push_back(std::to_string(ticket) + " " + names[outcome]);
    }

    std::unique_ptr<HostLinkHostFrame[]> frameBlock;
    ExactBytes messageBlock;
    ExactBytes queueBlock;
    ExactBytes packetBlock;
};
