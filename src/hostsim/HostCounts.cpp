#include "HostCounts.h"

namespace hostsim {

namespace {

struct Row {
    uint64_t HostCounts::*count;
    const char* name;
    const char* words;
};

constexpr Row traffic[] = {
    {&HostCounts::bytesReceived, "bytesReceived", "bytes received"},
    {&HostCounts::bytesSent, "bytesSent", "bytes sent"},
    {&HostCounts::packetsReceived, "packetsReceived", "packets received"},
    {&HostCounts::packetsSent, "packetsSent", "packets sent"},
    {&HostCounts::messagesReceived, "messagesReceived", "messages received"},
    {&HostCounts::messagesSent, "messagesSent", "messages sent and acknowledged"},
};

constexpr Row events[] = {
    {&HostCounts::acksReceived, "acksReceived", "acknowledgements received"},
    {&HostCounts::nacksReceived, "nacksReceived", "refusals (nack) received"},
    {&HostCounts::acksSent, "acksSent", "acknowledgements sent"},
    {&HostCounts::nacksSent, "nacksSent", "refusals (nack) sent"},
    {&HostCounts::bytesSkipped, "bytesSkipped", "received bytes that belong to no packet"},
    {&HostCounts::badPackets, "badPackets", "bad packets received"},
    {&HostCounts::duplicatePackets, "duplicatePackets", "packets received twice"},
    {&HostCounts::framesAbandoned, "framesAbandoned", "messages received in part only"},
    {&HostCounts::strayResponses, "strayResponses", "acknowledgements that nobody waited for"},
    {&HostCounts::missingResponses, "missingResponses", "acknowledgements that did not come in time"},
    {&HostCounts::messagesGivenUp, "messagesGivenUp", "messages that could not be sent"},
    {&HostCounts::unsupportedMessages, "unsupportedMessages", "messages that this host does not support"},
};

constexpr Row faultRows[] = {
    {&HostCounts::faultNacks, "faultNacks", "packets refused (nack)"},
    {&HostCounts::faultAckNacks, "faultAckNacks", "packets answered with both ack and nack"},
    {&HostCounts::faultNeithers, "faultNeithers", "packets answered with neither ack nor nack"},
    {&HostCounts::faultSilences, "faultSilences", "packets not answered"},
    {&HostCounts::faultLateAnswers, "faultLateAnswers", "packets answered late"},
    {&HostCounts::faultRepeatedPackets, "faultRepeatedPackets", "packets sent twice"},
    {&HostCounts::faultBursts, "faultBursts", "bursts of events"},
    {&HostCounts::faultGarbage, "faultGarbage", "packets with garbage before them"},
    {&HostCounts::faultSplitWrites, "faultSplitWrites", "packets written byte by byte"},
    {&HostCounts::faultDroppedBytes, "faultDroppedBytes", "bytes dropped"},
    {&HostCounts::faultCorruptedBytes, "faultCorruptedBytes", "bytes corrupted"},
    {&HostCounts::faultInsertedBytes, "faultInsertedBytes", "bytes inserted"},
    {&HostCounts::faultRepeatedBytes, "faultRepeatedBytes", "bytes repeated"},
    {&HostCounts::faultLateTransfers, "faultLateTransfers", "answers that started late"},
    {&HostCounts::faultIrqNacks, "faultIrqNacks", "IRQ frames refused (nack)"},
    {&HostCounts::faultIrqAnnouncements, "faultIrqAnnouncements", "IRQ frames answered with a size"},
    {&HostCounts::faultDamagedChunks, "faultDamagedChunks", "chunks of files sent damaged"},
    {&HostCounts::faultLostChunks, "faultLostChunks", "chunks of files not sent"},
};

std::string line(uint64_t count, const char* words, const char* prefix) {
    const std::string number = std::to_string(count);
    const std::string indent(number.size() < 10 ? 10 - number.size() : 0, ' ');
    return indent + number + "  " + prefix + words + "\n";
}

} // namespace

uint64_t HostCounts::faults() const {
    uint64_t sum = 0;
    for (const Row& row : faultRows) sum += this->*row.count;
    return sum;
}

std::string countsAsText(const HostCounts& counts) {
    std::string text;
    for (const Row& row : traffic) text += line(counts.*row.count, row.words, "");
    for (const Row& row : events) {
        if (counts.*row.count != 0) text += line(counts.*row.count, row.words, "");
    }
    for (const Row& row : faultRows) {
        if (counts.*row.count != 0) text += line(counts.*row.count, row.words, "on purpose: ");
    }
    return text;
}

std::string countsAsJson(const HostCounts& counts) {
    std::string json = "{";
    const auto add = [&](const char* name, uint64_t count) {
        json += std::string("\"") + name + "\":" + std::to_string(count) + ",";
    };
    for (const Row& row : traffic) add(row.name, counts.*row.count);
    for (const Row& row : events) add(row.name, counts.*row.count);
    for (const Row& row : faultRows) add(row.name, counts.*row.count);
    return json + "\"faults\":" + std::to_string(counts.faults()) + "}";
}

} // namespace hostsim
