#include "hostlinkclient/session/SerialRecording.h"

#include <algorithm>
#include <mutex>
#include <string_view>
#include <vector>

#include <serialcomm/SerialTap.h>

#include "hostlinkclient/session/RecorderRun.h"

// A null pointer with a serial library that has no such function.
[[gnu::weak]] void serialTap(SerialTap told);

namespace hostlink {

namespace {

// Never destroyed: threads may be inside the serial library while the process ends.
struct Recorders {
    std::mutex mutex; // guards the list; taken before that of a recorder
    std::vector<Recorder::Run*> all;
};

Recorders& recorders() {
    static auto& here = *new Recorders;
    return here;
}

RecordedPiece pieceOf(const SerialCarried& carried) {
    const bool isSerialLine = std::string_view(carried.wire) == "uart";
    RecordedPiece piece{carried.wire,
                        isSerialLine ? capture::Form::Pieces : capture::Form::Transactions,
                        carried.device,
                        carried.settings,
                        capture::Direction::Inbound,
                        carried.bytes,
                        carried.size};
    if (carried.what == SerialCarried::Written) piece.direction = capture::Direction::Outbound;
    if (carried.what == SerialCarried::Failed) piece.comment = "the call failed";
    return piece;
}

void tell(const SerialCarried& carried) {
    const RecordedPiece piece = pieceOf(carried);
    const std::lock_guard lock(recorders().mutex);
    for (Recorder::Run* recorder : recorders().all) recorder->record(piece);
}

} // namespace

bool canRecordSerialCalls() {
    return serialTap != nullptr;
}

void SerialCalls::enter() {
    const std::lock_guard lock(recorders().mutex);
    recorders().all.push_back(&to);
    if (canRecordSerialCalls()) serialTap(tell);
}

void SerialCalls::leave() {
    const std::lock_guard lock(recorders().mutex);
    auto& all = recorders().all;
    all.erase(std::remove(all.begin(), all.end(), &to), all.end());
    if (all.empty() && canRecordSerialCalls()) serialTap(nullptr);
}

} // namespace hostlink
