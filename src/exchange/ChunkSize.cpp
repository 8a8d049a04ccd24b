#include "ChunkSize.h"

#include <algorithm>

#include "TransferChecksum.h"

namespace hostlink::exchange {

namespace {

constexpr int packetOverhead = 10; // header and trailer
constexpr int usualPacketSize = 64;
constexpr size_t mostPackets = 255;
constexpr size_t longestOfAll = 65535;
constexpr size_t numberedPackets = 256;

} // namespace

size_t packetPayload(int maxPacketSize) {
    const int size = maxPacketSize <= 0 ? usualPacketSize : maxPacketSize;
    return static_cast<size_t>(std::max(size - packetOverhead, 1));
}

size_t longestMessage(int maxPacketSize) {
    return std::min(numberedPackets * packetPayload(maxPacketSize), longestOfAll);
}

size_t fittingChunk(int maxPacketSize, size_t overhead, size_t wanted) {
    const size_t payload = packetPayload(maxPacketSize);
    const size_t packets = std::min((overhead + wanted + payload - 1) / payload, mostPackets);
    const size_t message = std::min(packets * payload, longestOfAll);
    const size_t room = message > overhead ? message - overhead : 0;
    return std::max(room / checksumWord * checksumWord, checksumWord);
}

} // namespace hostlink::exchange
