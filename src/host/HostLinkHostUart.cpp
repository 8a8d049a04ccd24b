#include "HostLinkHostUart.h"

#include <string.h>

#include "Acknowledgement.h"
#include "Sender.h"
#include "StreamCutter.h"

using namespace hostlink;

namespace {

void dropOldestAnswer(HostLinkHostUart& uart) {
    --uart.answerCount;
    memmove(uart.answers[0], uart.answers[1], uart.answerCount * sizeof uart.answers[0]);
}

void queueAnswer(HostLinkHostUart& uart, const Answer& answer) {
    if (!answer.any) return;
    if (uart.answerCount == HOSTLINK_HOST_ANSWERS) dropOldestAnswer(uart);
    uart.answers[uart.answerCount][0] = answer.frameId;
    uart.answers[uart.answerCount][1] = static_cast<uint8_t>(answer.type);
    ++uart.answerCount;
}

void take(HostLinkHostUart& uart, Cut cut, uint32_t now) {
    for (; cut.kind != Cut::Nothing; cut = nextCut(uart.stream)) {
        const bool isPacket = cut.kind == Cut::Packet;
        queueAnswer(uart, isPacket ? takePacket(*uart.host, cut.packet, cut.length, now) : refuseBytes(*uart.host));
    }
}

void beginAnswer(HostLinkHostUart& uart) {
    hostLinkFrameRspSerialize(uart.answer, uart.answers[0][0], static_cast<AcknowledgeType>(uart.answers[0][1]));
    dropOldestAnswer(uart);
    uart.out = uart.answer;
    uart.outLeft = HOSTLINK_RSP_FRAME_SIZE;
}

void beginPacket(HostLinkHostUart& uart) {
    uart.out = readyPacket(*uart.host, &uart.outLeft);
    packetBegun(*uart.host);
}

// False when there is nothing to transmit by now.
bool hasBytes(HostLinkHostUart& uart, uint32_t now) {
    if (uart.outLeft != 0) return true;
    if (uart.answerCount != 0) {
        beginAnswer(uart);
    } else if (isPacketReady(*uart.host, now)) {
        beginPacket(uart);
    } else {
        return false;
    }
    return true;
}

} // namespace

void hostLinkHostUartDefaults(HostLinkHostUartSetup* setup) {
    memset(setup, 0, sizeof *setup);
    setup->packetTimeout = 100;
}

uint32_t hostLinkHostUartInit(HostLinkHostUart* uart, HostLinkHost* host, const HostLinkHostUartSetup* setup) {
    if (uart == nullptr || host == nullptr || setup == nullptr || setup->received == nullptr) {
        return HOSTLINK_NO_STORAGE;
    }
    if (setup->receivedSize < HOSTLINK_HOST_SHORTEST_PACKET) return HOSTLINK_TOO_SHORT;
    memset(uart, 0, sizeof *uart);
    uart->host = host;
    uart->stream.bytes = setup->received;
    uart->stream.size = setup->receivedSize;
    uart->stream.timeout = setup->packetTimeout;
    return HOSTLINK_SUCCESS;
}

void hostLinkHostUartReceive(HostLinkHostUart* uart, const uint8_t* bytes, uint32_t count, uint32_t now) {
    while (count != 0) {
        const uint16_t added = addBytes(uart->stream, bytes, count, now);
        if (added == 0) return; // nextCut has made room; whatever happens, this ends
        bytes += added;
        count -= added;
        take(*uart, nextCut(uart->stream), now);
    }
}

uint16_t hostLinkHostUartTransmit(HostLinkHostUart* uart, uint8_t* bytes, uint16_t room, uint32_t now) {
    uint16_t made = 0;
    while (made < room && hasBytes(*uart, now)) {
        const uint16_t left = static_cast<uint16_t>(room - made);
        const uint16_t count = uart->outLeft < left ? uart->outLeft : left;
        memcpy(bytes + made, uart->out, count);
        made = static_cast<uint16_t>(made + count);
        uart->out += count;
        uart->outLeft = static_cast<uint16_t>(uart->outLeft - count);
        if (uart->outLeft == 0) packetSent(*uart->host, now); // nothing, when it was an answer
    }
    return made;
}

uint8_t hostLinkHostUartHasOutput(const HostLinkHostUart* uart, uint32_t now) {
    return uart->outLeft != 0 || uart->answerCount != 0 || isPacketReady(*uart->host, now) ? 1 : 0;
}

void hostLinkHostUartAdvance(HostLinkHostUart* uart, uint32_t now) {
    // What was given up may hide another beginning, as old as the first.
    for (Cut cut = expireCut(uart->stream, now); cut.kind != Cut::Nothing; cut = expireCut(uart->stream, now)) {
        take(*uart, cut, now);
    }
    advanceHost(*uart->host, now);
}

uint32_t hostLinkHostUartWait(const HostLinkHostUart* uart, uint32_t now) {
    if (hostLinkHostUartHasOutput(uart, now) != 0) return 0;
    const uint32_t sender = senderWait(*uart->host, now);
    const uint32_t stream = streamWait(uart->stream, now);
    return sender < stream ? sender : stream;
}

uint32_t hostLinkHostUartSkipped(const HostLinkHostUart* uart) {
    return uart->stream.skipped;
}
