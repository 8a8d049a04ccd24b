#include "FileTransfer.h"

#include <algorithm>
#include <stdexcept>

#include <hostlink/HostLinkValueMessage.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Items.h"

namespace {

constexpr size_t chunkSize = 1024; // a multiple of four, and well below the 256 packets that one message may take
constexpr int tries = 5;

uint32_t checksumOf(const ByteArray& chunk) {
    FileChecksum checksum;
    checksum.add(chunk);
    return checksum.value();
}

ByteArray chunkMessage(const std::string& name, size_t fileSize, unsigned sequence, const ByteArray& data, bool last) {
    HostLinkValueMessage message(MSG_DataTransfer);
    if (sequence == 0) {
        message.addValueString(DTT_FileName, name).addValueUint32(DTT_FileSize, static_cast<unsigned>(fileSize));
    }
    message.addValueUint32(DTT_SequenceNum, sequence).addValueBin16(DTT_Data, data);
    message.addValueUint32(DTT_DataCRC, checksumOf(data));
    if (last) message.addValueNil(DTT_LastChunk);
    return message.serialize();
}

Conversation::Wanted answerTo(unsigned sequence) {
    return [sequence](const ByteArray& message) {
        return hasNumber(HostLinkValueMessage(message), DTT_SequenceNum, sequence);
    };
}

uint32_t uint32Of(const HostLinkValueMessage& message, uint16_t tag) {
    bool ok = false;
    const int index = lastItem(message, tag);
    const unsigned number = index < 0 ? 0 : message.getUint32(index, &ok);
    if (!ok) throw std::runtime_error("the host's answer lacks " + dataTransferStateToString[tag]);
    return number;
}

// The first checksum in an answer is that of the chunk; only the answer to the last chunk has another one.
bool arrivedWell(const HostLinkValueMessage& answer, const ByteArray& chunk) {
    bool ok = false;
    for (int i = 0; i < answer.size(); ++i) {
        if (answer.getTag(i, &ok) == DTT_DataCRC) return answer.getUint32(i, &ok) == checksumOf(chunk) && ok;
    }
    return false;
}

HostLinkValueMessage sendChunk(Conversation& host, const ByteArray& request, unsigned sequence,
                               const ByteArray& chunk) {
    const std::string what = "chunk " + std::to_string(sequence) + " of the file";
    for (int i = 0; i < tries; ++i) {
        HostLinkValueMessage answer(host.ask({request, MSG_DataTransferResponse, answerTo(sequence), what}));
        if (lastItem(answer, DTT_AbortTransfer) >= 0) {
            throw std::runtime_error("the host aborted the transfer at " + what);
        }
        if (arrivedWell(answer, chunk)) return answer;
    }
    throw std::runtime_error("the host received a wrong checksum " + std::to_string(tries) + " times for " + what);
}

} // namespace

FileChecksum::FileChecksum() : table(dataTransferCrc32TableSize()) {
    genDataTransferCrc32Table(table.data(), static_cast<uint16_t>(table.size()));
}

// The library's function starts from all ones. To go on from where the last chunk ended, turn over those bits of the
// first four bytes in which the two differ: that gives the same result.
void FileChecksum::add(ByteArray chunk) {
    if (chunk.empty()) return;
    chunk.resize((chunk.size() + 3) / 4 * 4);
    const uint32_t difference = checksum ^ 0xFFFFFFFF;
    for (size_t i = 0; i < 4; ++i) chunk[i] = static_cast<unsigned char>(chunk[i] ^ (difference >> (8 * i)));
    checksum = dataTransferCalcCrc32(table.data(), static_cast<uint16_t>(table.size()), chunk.data(),
                                     static_cast<uint16_t>(chunk.size()));
}

TransferResult sendFile(Conversation& host, const std::string& name, const ByteArray& content,
                        const std::function<void(size_t)>& progress) {
    FileChecksum own;
    TransferResult result;
    size_t at = 0;
    unsigned sequence = 0;
    do {
        const size_t end = std::min(at + chunkSize, content.size());
        const ByteArray chunk(content.begin() + static_cast<long>(at), content.begin() + static_cast<long>(end));
        const bool last = end == content.size();
        const ByteArray request = chunkMessage(name, content.size(), sequence, chunk, last);
        const HostLinkValueMessage answer = sendChunk(host, request, sequence, chunk);
        if (last) result = {uint32Of(answer, DTT_FileSize), uint32Of(answer, DTT_DataCRC), 0};
        own.add(chunk);
        at = end;
        ++sequence;
        progress(at);
    } while (at < content.size());
    result.ownChecksum = own.value();
    return result;
}
