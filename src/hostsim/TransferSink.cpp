#include "TransferSink.h"

#include <algorithm>

#include <hostlink/HostLinkVocabulary.h>

namespace hostsim {

namespace {

constexpr size_t wordSize = 4;
constexpr uint32_t initialRegister = 0xFFFFFFFF;
constexpr size_t maxBlock = 65532; // what one call of dataTransferCalcCrc32 takes

ByteArray paddedToWords(ByteArray bytes) {
    bytes.resize((bytes.size() + wordSize - 1) / wordSize * wordSize);
    return bytes;
}

// A checksum that starts from another register than all ones equals one that starts from all ones, with the first word
// of the data turned over in the bits in which the two registers differ.
void startFrom(uint32_t checksum, ByteArray& words) {
    const uint32_t difference = checksum ^ initialRegister;
    for (size_t i = 0; i < wordSize; ++i) words[i] = static_cast<unsigned char>(words[i] ^ (difference >> (8 * i)));
}

Item uint32Item(uint16_t tag, uint32_t number) {
    return {tag, numberValue(ENC_Uint32, number)};
}

} // namespace

RunningChecksum::RunningChecksum() : table(dataTransferCrc32TableSize()) {
    genDataTransferCrc32Table(table.data(), static_cast<uint16_t>(table.size()));
}

uint32_t RunningChecksum::calculate(const ByteArray& words) const {
    return dataTransferCalcCrc32(table.data(), static_cast<uint16_t>(table.size()), words.data(),
                                 static_cast<uint16_t>(words.size()));
}

uint32_t RunningChecksum::ofChunk(const ByteArray& chunk) const {
    RunningChecksum alone(*this);
    alone.checksum = initialRegister;
    alone.add(chunk);
    return alone.checksum;
}

void RunningChecksum::add(const ByteArray& chunk) {
    for (size_t at = 0; at < chunk.size(); at += maxBlock) {
        const size_t end = std::min(at + maxBlock, chunk.size());
        ByteArray words =
            paddedToWords(ByteArray(chunk.begin() + static_cast<long>(at), chunk.begin() + static_cast<long>(end)));
        startFrom(checksum, words);
        checksum = calculate(words);
    }
}

// One request, its items by name.
struct TransferSink::Request {
    bool named = false;
    bool last = false;
    bool aborted = false;
    std::optional<Value> sequence;
    std::optional<ByteArray> data;
    std::optional<int64_t> claimedChecksum;

    explicit Request(const std::vector<Item>& items) {
        for (const Item& item : items) {
            switch (item.tag) {
            case DTT_FileName: named = true; break;
            case DTT_SequenceNum: sequence = item.value; break;
            case DTT_Data: data = item.value.bytes; break;
            case DTT_LastChunk: last = true; break;
            case DTT_DataCRC: claimedChecksum = numberOf(item.value); break;
            case DTT_AbortTransfer: aborted = true; break;
            default: break;
            }
        }
    }

    std::optional<int64_t> sequenceNumber() const { return sequence ? numberOf(*sequence) : std::nullopt; }
};

std::vector<Item> TransferSink::take(const std::vector<Item>& items) {
    const Request request(items);
    std::vector<Item> answer;
    if (request.aborted) return abort(answer);
    if (request.sequence) answer.push_back({DTT_SequenceNum, *request.sequence});

    const uint32_t checksum = file.ofChunk(request.data.value_or(ByteArray{}));
    if (request.data) answer.push_back(uint32Item(DTT_DataCRC, checksum));
    const bool damaged =
        request.data && request.claimedChecksum && static_cast<uint32_t>(*request.claimedChecksum) != checksum;
    if (damaged) return answer;

    if (request.named) begin();
    const bool repeated = request.sequence && request.sequenceNumber() == lastSequence && checksum == lastChunkChecksum;
    if (repeated) return lastAnswer;
    if (!running || !isExpected(request)) return abort(answer);

    file.add(request.data.value_or(ByteArray{}));
    received += static_cast<uint32_t>(request.data.value_or(ByteArray{}).size());
    lastSequence = request.sequenceNumber();
    lastChunkChecksum = checksum;
    lastAnswer = request.last ? finish(answer) : answer;
    return lastAnswer;
}

// The sequence number counts by one in the width in which it is sent and may wrap there.
bool TransferSink::isExpected(const Request& request) const {
    if (!request.sequence || !lastSequence) return true;
    return numberValue(request.sequence->encoding, static_cast<uint64_t>(*lastSequence) + 1) == *request.sequence;
}

void TransferSink::begin() {
    running = true;
    lastSequence.reset();
    received = 0;
    file = RunningChecksum();
}

std::vector<Item> TransferSink::abort(std::vector<Item> answer) {
    running = false;
    lastSequence.reset();
    answer.push_back({DTT_AbortTransfer, Value{}});
    return answer;
}

std::vector<Item> TransferSink::finish(std::vector<Item> answer) {
    running = false;
    answer.push_back({DTT_LastChunk, Value{}});
    answer.push_back(uint32Item(DTT_FileSize, received));
    answer.push_back(uint32Item(DTT_DataCRC, file.value()));
    return answer;
}

} // namespace hostsim
