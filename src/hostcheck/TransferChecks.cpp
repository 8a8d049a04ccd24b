#include "Check.h"
#include "TransferSteps.h"

namespace hostcheck {

namespace {

using hostlink::exchange::Chunk;
using hostlink::exchange::ChunkAnswer;

constexpr char transferGroup[] = "transfers";

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
    const ChunkAnswer answer = sendChunk(bench, damaged, 65);
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
    const ChunkAnswer answer = sendChunk(bench, damaged, 64);
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
