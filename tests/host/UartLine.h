/// @file
/// A host on a serial line, with a clock that the test moves.
#pragma once

#include <host/HostLinkHostUart.h>

#include "TestHost.h"

class UartLine : public TestHost {
public:
    explicit UartLine(const HostSizes& chosen = {}, uint16_t receivedSize = 64)
        : TestHost(chosen), receivedBlock(receivedSize) {
        HostLinkHostUartSetup line;
        hostLinkHostUartDefaults(&line);
        line.received = receivedBlock.data();
        line.receivedSize = receivedSize;
        hostLinkHostUartInit(&uart, &host, &line);
    }

    void receive(const ByteArray& content) {
        const ExactBytes exact(content);
        hostLinkHostUartReceive(&uart, exact.data(), static_cast<uint32_t>(exact.size()), now);
    }
    void receive(const std::string& text) { receive(bytes(text)); }

    /// All that goes out by now, fetched `step` bytes at a time.
    ByteArray fetch(uint16_t step = 64) {
        ByteArray line;
        while (line.size() < 4096) { // far more than ever waits
            ExactBytes part(step);
            const uint16_t count = hostLinkHostUartTransmit(&uart, part.data(), step, now);
            line.insert(line.end(), part.data(), part.data() + count);
            if (count < step) break;
        }
        return line;
    }
    std::string transmit(uint16_t step = 64) { return hex(fetch(step)); }

    /// One exchange: what comes back at once.
    std::string answerTo(const std::string& text) {
        receive(text);
        return transmit();
    }

    void advance(uint32_t to) {
        now = to;
        hostLinkHostUartAdvance(&uart, now);
    }
    uint32_t wait() const { return hostLinkHostUartWait(&uart, now); }

    uint32_t now = 1000;
    HostLinkHostUart uart{};

private:
    ExactBytes receivedBlock;
};
