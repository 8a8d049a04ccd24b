#include "ChunkReceiver.h"

namespace hostlink::exchange {

ChunkReceiver::ChunkReceiver(ByteSink& byteSink, const ReceivingOptions& receivingOptions)
    : sink(byteSink), options(receivingOptions) {}

ByteArray ChunkReceiver::take(const ByteArray& message, Time now) {
    const auto chunk = readChunk(message);
    if (!chunk) return MessageWriter(MSG_UnsupportedMessageResponse).message();
    return writeAnswer(answerTo(*chunk, now));
}

// A damaged chunk must not do anything, so its checksum comes before everything else in it.
ChunkAnswer ChunkReceiver::answerTo(const Chunk& chunk, Time now) {
    ChunkAnswer answer;
    if (chunk.aborted) return refuse(answer, ReceivingEnd::Aborted);
    const uint32_t arrived = TransferChecksum::of(chunk.data, chunk.size);
    answer.sequence = chunk.sequence;
    answer.checksum = arrived;
    if (chunk.checksum && *chunk.checksum != arrived) {
        ++file.damaged;
        return answer;
    }
    if (isRepeated(chunk, arrived)) {
        ++file.repeated;
        return lastAnswer;
    }
    if (chunk.name && !begin(chunk)) return refuse(answer, ReceivingEnd::Cancelled);
    if (!running || !isExpected(chunk)) return refuse(answer, ReceivingEnd::Aborted);
    lastChunkAt = now;
    return accept(chunk, answer);
}

ChunkAnswer ChunkReceiver::accept(const Chunk& chunk, ChunkAnswer answer) {
    if (!sink.write(chunk.data, chunk.size)) return refuse(answer, ReceivingEnd::Unwritable);
    checksum.add(chunk.data, chunk.size);
    file.bytes += chunk.size;
    file.checksum = checksum.value();
    ++chunks;
    last = chunk.sequence;
    lastChecksum = *answer.checksum;
    if (chunk.last) {
        answer.last = true;
        answer.fileSize = static_cast<uint32_t>(file.bytes);
        answer.fileChecksum = file.checksum;
        endAs(announced.value_or(*answer.fileSize) == *answer.fileSize ? ReceivingEnd::Complete
                                                                       : ReceivingEnd::Damaged);
    }
    lastAnswer = answer;
    return answer;
}

// The transfer is over, if there was one.
ChunkAnswer ChunkReceiver::refuse(ChunkAnswer answer, ReceivingEnd end) {
    endAs(end);
    last.reset();
    answer.aborted = true;
    return answer;
}

bool ChunkReceiver::begin(const Chunk& chunk) {
    endAs(ReceivingEnd::Aborted);
    file = ReceivingReport();
    file.name = *chunk.name;
    checksum = TransferChecksum();
    announced = chunk.fileSize;
    chunks = 0;
    last.reset();
    running = sink.begin(file.name, announced);
    return running;
}

// The first chunk again begins the same file again only where it is not the one that has just been begun with it.
bool ChunkReceiver::isRepeated(const Chunk& chunk, uint32_t arrived) const {
    const bool sameAsLast = chunk.sequence && last && *chunk.sequence == *last && arrived == lastChecksum;
    if (!chunk.name) return sameAsLast;
    return sameAsLast && running && chunks == 1 && *chunk.name == file.name;
}

bool ChunkReceiver::isExpected(const Chunk& chunk) const {
    return !chunk.sequence || !last || *chunk.sequence == last->next();
}

void ChunkReceiver::endAs(ReceivingEnd end) {
    if (!running) return;
    running = false;
    file.end = end;
    sink.end(file);
}

void ChunkReceiver::advance(Time now) {
    if (running && now - lastChunkAt >= options.patience) endAs(ReceivingEnd::Silent);
}

std::optional<Time> ChunkReceiver::deadline() const {
    if (!running) return std::nullopt;
    return lastChunkAt + options.patience;
}

} // namespace hostlink::exchange
