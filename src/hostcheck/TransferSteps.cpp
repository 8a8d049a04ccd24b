#include "TransferSteps.h"

#include <exchange/TransferChecksum.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

#include "Packets.h"

namespace hostcheck {

using hostlink::exchange::Chunk;
using hostlink::exchange::ChunkAnswer;
using hostlink::exchange::SequenceNumber;
using hostlink::exchange::TransferChecksum;

namespace {

constexpr char fileName[] = "hostcheck.bin";

// With the checksum that the chunk claims, right or wrong.
ByteArray messageOf(const Chunk& chunk) {
    const ByteArray message = hostlink::exchange::writeChunk(chunk);
    std::vector<ByteArray> items = rawItems(message);
    for (ByteArray& item : items) {
        if (item[0] != DTT_DataCRC || !chunk.checksum) continue;
        for (size_t i = 0; i < sizeof *chunk.checksum; ++i)
            item[item.size() - sizeof *chunk.checksum + i] = static_cast<unsigned char>(*chunk.checksum >> (8 * i));
    }
    return joined({ByteArray(message.begin(), message.begin() + 3), joined(items)});
}

} // namespace

File::File(size_t count) {
    for (size_t i = 0; i < count; ++i) {
        ByteArray data(i + 1 == count ? 10 : 32);
        for (size_t k = 0; k < data.size(); ++k) data[k] = static_cast<unsigned char>(i * 40 + k);
        chunks.push_back(data);
    }
}

uint32_t File::size() const {
    return static_cast<uint32_t>(joined(chunks).size());
}

uint32_t File::checksumOf(size_t i) const {
    return TransferChecksum::of(chunks[i].data(), chunks[i].size());
}

uint32_t File::checksum() const {
    TransferChecksum sum;
    for (const ByteArray& chunk : chunks) sum.add(chunk.data(), chunk.size());
    return sum.value();
}

Chunk File::chunk(size_t i) const {
    Chunk one;
    if (i == 0) {
        one.name = fileName;
        one.fileSize = size();
    }
    SequenceNumber number{width, first};
    for (size_t k = 0; k < i; ++k) number = number.next();
    one.sequence = number;
    one.data = chunks[i].data();
    one.size = chunks[i].size();
    one.checksum = checksumOf(i);
    one.last = i + 1 == chunks.size();
    return one;
}

ChunkAnswer sendChunk(Bench& bench, const Chunk& chunk, unsigned rule) {
    bench.require(bench.module.sendMessage(messageOf(chunk)), 8, "a chunk is taken");
    auto message = bench.module.nextMessage(bench.waits.message);
    while (message && Bench::isEvent(*message)) message = bench.module.nextMessage(bench.waits.message);
    bench.require(message.has_value(), rule, "a chunk is answered; came: nothing");
    if (idOf(*message) == MSG_UnsupportedMessageResponse) throw Skip{"the host knows no transfers"};
    const auto answer = hostlink::exchange::readAnswer(*message);
    bench.require(idOf(*message) == MSG_DataTransferResponse && answer, rule,
                  "DataTransferResponse; came: " + nameOfMessage(idOf(*message)));
    return *answer;
}

void requireTaken(Bench& bench, const File& file, size_t i, unsigned rule) {
    const Chunk chunk = file.chunk(i);
    const ChunkAnswer answer = sendChunk(bench, chunk, rule);
    const std::string which = "chunk " + std::to_string(i);
    bench.require(!answer.aborted, rule, which + " is taken; the host says abort");
    bench.require(answer.sequence && *answer.sequence == *chunk.sequence, rule,
                  "the number of " + which + " as it was sent");
    bench.require(answer.checksum == chunk.checksum, rule, "the checksum of " + which);
    bench.require(answer.last == chunk.last, rule, "\"last chunk\" in the answer to the last one alone");
    if (!chunk.last) return;
    bench.require(answer.fileSize == file.size(), rule, std::to_string(file.size()) + " bytes received");
    bench.require(answer.fileChecksum == file.checksum(), rule, "the checksum of all chunks");
}

void requireWhole(Bench& bench, const File& file, unsigned rule, size_t from) {
    for (size_t i = from; i < file.chunks.size(); ++i) requireTaken(bench, file, i, rule);
}

void requireAbort(Bench& bench, const Chunk& chunk, const std::string& what) {
    const ChunkAnswer answer = sendChunk(bench, chunk, 67);
    bench.require(answer.aborted, 67, "abort in answer to " + what);
    bench.require(answer.sequence && *answer.sequence == *chunk.sequence && answer.checksum == chunk.checksum, 67,
                  "number and checksum before \"abort\"");
}

} // namespace hostcheck
