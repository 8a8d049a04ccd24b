#include "ChunkMessages.h"

#include <hostlink/HostLinkVocabularyNumbers.h>

#include "TransferChecksum.h"

namespace hostlink::exchange {

namespace {

std::optional<uint32_t> uint32Of(const Item& item) {
    if (item.encoding != ENC_Uint32) return std::nullopt;
    return static_cast<uint32_t>(item.number);
}

std::optional<SequenceNumber> sequenceOf(const Item& item) {
    if (!item.isNumber()) return std::nullopt;
    return SequenceNumber{item.encoding, item.number};
}

void takeInto(Chunk& chunk, const Item& item) {
    switch (item.tag) {
    case DTT_FileName:
        if (item.isBinary()) chunk.name = std::string(reinterpret_cast<const char*>(item.data), item.size);
        break;
    case DTT_FileSize: chunk.fileSize = uint32Of(item); break;
    case DTT_SequenceNum: chunk.sequence = sequenceOf(item); break;
    case DTT_DataCRC: chunk.checksum = uint32Of(item); break;
    case DTT_LastChunk: chunk.last = true; break;
    case DTT_AbortTransfer: chunk.aborted = true; break;
    case DTT_Data:
        chunk.data = item.data;
        chunk.size = item.size;
        break;
    default: break; // of a later version
    }
}

// The first checksum is that of the chunk, the second that of the file.
void takeInto(ChunkAnswer& answer, const Item& item) {
    switch (item.tag) {
    case DTT_SequenceNum: answer.sequence = sequenceOf(item); break;
    case DTT_DataCRC: (answer.checksum ? answer.fileChecksum : answer.checksum) = uint32Of(item); break;
    case DTT_FileSize: answer.fileSize = uint32Of(item); break;
    case DTT_LastChunk: answer.last = item.isNil(); break;
    case DTT_AbortTransfer: answer.aborted = item.isNil(); break;
    default: break;
    }
}

template <typename Record> std::optional<Record> read(const ByteArray& message) {
    const auto items = itemsOf(message);
    if (!items) return std::nullopt;
    Record record;
    for (const Item& item : *items) takeInto(record, item);
    return record;
}

} // namespace

ByteArray writeChunk(const Chunk& chunk) {
    MessageWriter writer(MSG_DataTransfer);
    if (chunk.name) writer.text(DTT_FileName, *chunk.name);
    if (chunk.fileSize) writer.number(DTT_FileSize, ENC_Uint32, *chunk.fileSize);
    if (chunk.sequence) writer.number(DTT_SequenceNum, chunk.sequence->encoding, chunk.sequence->number);
    writer.binary(DTT_Data, chunk.data, chunk.size);
    writer.number(DTT_DataCRC, ENC_Uint32, TransferChecksum::of(chunk.data, chunk.size));
    if (chunk.last) writer.nil(DTT_LastChunk);
    return writer.message();
}

std::optional<Chunk> readChunk(const ByteArray& message) {
    return read<Chunk>(message);
}

ByteArray writeAnswer(const ChunkAnswer& answer) {
    MessageWriter writer(MSG_DataTransferResponse);
    if (answer.sequence) writer.number(DTT_SequenceNum, answer.sequence->encoding, answer.sequence->number);
    if (answer.checksum) writer.number(DTT_DataCRC, ENC_Uint32, *answer.checksum);
    if (answer.last) writer.nil(DTT_LastChunk);
    if (answer.fileSize) writer.number(DTT_FileSize, ENC_Uint32, *answer.fileSize);
    if (answer.fileChecksum) writer.number(DTT_DataCRC, ENC_Uint32, *answer.fileChecksum);
    if (answer.aborted) writer.nil(DTT_AbortTransfer);
    return writer.message();
}

std::optional<ChunkAnswer> readAnswer(const ByteArray& message) {
    return read<ChunkAnswer>(message);
}

ByteArray writeAbort() {
    return MessageWriter(MSG_DataTransfer).nil(DTT_AbortTransfer).message();
}

} // namespace hostlink::exchange
