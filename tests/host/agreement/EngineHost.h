/// @file
/// The engine with the simulated host's application on top of it, with room for whatever the simulated host takes.
#pragma once

#include <host/HostLinkHost.h>
#include <hostsim/HostApplication.h>

#include "../TestHost.h"

inline constexpr HostSizes ampleSizes{64, 20000, 16, 30};

class EngineHost {
public:
    EngineHost() {
        block.setup.events = {this, onMessage, onReset, nullptr};
        block.start();
    }

    HostLinkHost* engine() { return &block.host; }
    void send(const ByteArray& message) { block.send(message); }
    void deliver() { block.deliver(); }

private:
    static void onMessage(void* context, const uint8_t* bytes, uint32_t length) {
        auto& host = *static_cast<EngineHost*>(context);
        for (const ByteArray& answer : host.application.handle(ByteArray(bytes, bytes + length))) host.send(answer);
    }
    static void onReset(void* context) { static_cast<EngineHost*>(context)->application.moduleReset(); }

    TestHost block{ampleSizes};
    hostsim::HostApplication application;
};
