#include <exchange/ChunkMessages.h>
#include <exchange/TransferChecksum.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

using hostlink::exchange::Chunk;
using hostlink::exchange::ChunkAnswer;
using hostlink::exchange::SequenceNumber;
using hostlink::exchange::TransferChecksum;

constexpr char transferGroup[] = "transfers";
constexpr char fileName[] = "hostcheck.bin";

// A file in chunks, as far as it has been sent.
struct File {
    std::vector<ByteArray> chunks;
    uint64_t first = 0;
    Encoding width = ENC_Uint32;

    explicit File(size_t count = 3) {
        for (size_t i = 0; i < count; ++i) {
            ByteArray data(i + 1 == count ? 10 : 32);
            for (size_t k = 0; k < data.size(); ++k) data[k] = static_cast<unsigned char>(i * 40 + k);
            chunks.push_back(data);
        }
    }
    uint32_t size() const { return static_cast<uint32_t>(joined(chunks).size()); }
    uint32_t checksumOf(size_t i) const { return TransferChecksum::of(chunks[i].data(), chunks[i].size()); }
    uint32_t checksum() const {
        TransferChecksum sum;
        for (const ByteArray& chunk : chunks) sum.add(chunk.data(), chunk.size());
        return sum.value();
    }
    Chunk chunk(size_t i) const {
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
};

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

ChunkAnswer send(Bench& bench, const Chunk& chunk, unsigned rule) {
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
    const ChunkAnswer answer = send(bench, chunk, rule);
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

void requireWhole(Bench& bench, const File& file, unsigned rule, size_t from = 0) {
    for (size_t i = from; i < file.chunks.size(); ++i) requireTaken(bench, file, i, rule);
}

void requireAbort(Bench& bench, const Chunk& chunk, const std::string& what) {
    const ChunkAnswer answer = send(bench, chunk, 67);
    bench.require(answer.aborted, 67, "abort in answer to " + what);
    bench.require(answer.sequence && *answer.sequence == *chunk.sequence && answer.checksum == chunk.checksum, 67,
                  "number and checksum before \"abort\"");
}

// Nothing is under way afterwards.
void endTransfer(Bench& bench) {
    if (bench.module.sendMessage(hostlink::exchange::writeAbort())) bench.module.nextMessage(bench.waits.message);
}

void wholeFile(Bench& bench) {
    requireWhole(bench, File(), 68);
}

void wrongChecksum(Bench& bench) {
    const File file;
    requireTaken(bench, file, 0, 63);
    Chunk damaged = file.chunk(1);
    damaged.checksum = file.checksumOf(1) ^ 1U;
    const ChunkAnswer answer = send(bench, damaged, 65);
    bench.require(!answer.aborted, 65, "a chunk with a wrong checksum does not end the transfer");
    bench.require(answer.checksum == file.checksumOf(1), 65, "the checksum of the data as they arrived");
    requireWhole(bench, file, 65, 1);
}

void repeatedChunk(Bench& bench) {
    const File file;
    requireTaken(bench, file, 0, 63);
    requireTaken(bench, file, 1, 63);
    requireTaken(bench, file, 1, 66);
    requireTaken(bench, file, 2, 66);
    requireTaken(bench, file, 2, 66);
}

void missingChunk(Bench& bench) {
    const File file(4);
    requireTaken(bench, file, 0, 63);
    requireAbort(bench, file.chunk(2), "a chunk whose predecessor is missing");
    requireAbort(bench, file.chunk(1), "a chunk of a transfer that is over");
}

void swappedChunks(Bench& bench) {
    const File file(4);
    requireTaken(bench, file, 0, 63);
    requireTaken(bench, file, 1, 63);
    requireAbort(bench, file.chunk(3), "chunk 3 in the place of chunk 2");
    endTransfer(bench);
}

void withoutBeginning(Bench& bench) {
    endTransfer(bench);
    requireAbort(bench, File().chunk(1), "a chunk without a transfer");
}

void anyFirstNumber(Bench& bench) {
    File file;
    file.first = UINT32_MAX;
    requireWhole(bench, file, 63);
    file.width = ENC_Uint8;
    file.first = UINT8_MAX;
    requireWhole(bench, file, 63);
}

void begunAnew(Bench& bench) {
    const File file;
    requireTaken(bench, file, 0, 63);
    requireTaken(bench, file, 1, 63);
    File other(4);
    other.chunks[0][0] ^= 1;
    requireWhole(bench, other, 63);
}

void damagedBeginning(Bench& bench) {
    const File file;
    requireTaken(bench, file, 0, 63);
    requireTaken(bench, file, 1, 63);
    Chunk damaged = file.chunk(0);
    damaged.checksum = 1;
    const ChunkAnswer answer = send(bench, damaged, 64);
    bench.require(!answer.aborted, 64, "a damaged beginning does not end the transfer under way");
    requireTaken(bench, file, 2, 64);
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> transferChecks() {
    const Wires all = Wires::All;
    return {
        {"transfer-whole", transferGroup, all, true, 68, "Sends a file of 74 bytes in three chunks.", "Each is acknowledged; size and checksum of the file at the end.", wholeFile},
        {"transfer-wrong-checksum", transferGroup, all, true, 65, "Sends a chunk with a wrong checksum, then the rest.", "The host's own checksum; the file arrives.", wrongChecksum},
        {"transfer-repeated", transferGroup, all, true, 66, "Sends the second and the last chunk twice.", "The same answers; the file arrives.", repeatedChunk},
        {"transfer-missing", transferGroup, all, true, 67, "Leaves a chunk out.", "Abort; the transfer is over.", missingChunk},
        {"transfer-swapped", transferGroup, all, true, 67, "Sends chunk 3 before chunk 2.", "Abort.", swappedChunks},
        {"transfer-without-beginning", transferGroup, all, true, 67, "Sends a chunk without a transfer.", "Abort.", withoutBeginning},
        {"transfer-first-number", transferGroup, all, true, 63, "Begins with the largest Uint32, and with the largest Uint8.", "The next numbers are 0 and 1.", anyFirstNumber},
        {"transfer-begun-anew", transferGroup, all, true, 63, "Begins another file in the middle of one.", "The second one arrives.", begunAnew},
        {"transfer-damaged-beginning", transferGroup, all, true, 64, "Sends a beginning with a wrong checksum in the middle of a file.", "The file goes on.", damagedBeginning},
    };
}
// clang-format on

} // namespace hostcheck
