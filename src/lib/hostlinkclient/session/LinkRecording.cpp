#include "hostlinkclient/session/LinkRecording.h"

#include <cstdlib>
#include <memory>
#include <mutex>

#include "hostlinkclient/session/RecorderRun.h"
#include "hostlinkclient/session/SerialRecording.h"

namespace hostlink {

namespace {

// Whoever may not choose what a program does with its rights has no say in where it writes, either.
std::string environment(const char* name) {
    const char* value = ::secure_getenv(name);
    return value == nullptr ? "" : value;
}

capture::Form formOf(const Wire::Data& wire) {
    if (wire.kind == std::string_view(Wire::Data::ownKind) || !canRecordSerialCalls()) return capture::Form::Packets;
    return wire.kind == std::string_view("uart") ? capture::Form::Pieces : capture::Form::Transactions;
}

std::string_view verdictComment(WriteDataResponse response) {
    switch (response) {
    case Accepted: return "verdict Accepted";
    case Rejected: return "verdict Rejected";
    case Error: return "verdict Error";
    default: return "verdict NoResponse";
    }
}

} // namespace

std::optional<Recorder> recorderFor(const std::optional<Recorder>& own) {
    if (own) return own;
    const std::string folder = environment("HOSTLINK_RECORD");
    if (folder.empty()) return {};
    static std::mutex mutex; // guards the recorder of the process, which goes with the last client
    static std::weak_ptr<Recorder::Run> ofProcess;
    const std::lock_guard lock(mutex);
    if (auto present = ofProcess.lock()) return Recorder(present);
    RecordingRing ring{folder};
    const unsigned long mebibytes = std::strtoul(environment("HOSTLINK_RECORD_MIB").c_str(), nullptr, 10);
    if (mebibytes > 0) ring.bytes = uint64_t{mebibytes} << 20;
    const Recorder recorder(ring);
    ofProcess = recorder.run();
    return recorder;
}

LinkRecording::LinkRecording(const Recorder& into, const Wire::Data& wire)
    : recorder(into), kind(wire.kind), device(wire.name), form(formOf(wire)) {}

void LinkRecording::record(capture::Direction direction, const ByteArray& bytes, std::string_view comment) const {
    const char* words = form == capture::Form::Packets ? "as the link has them" : "";
    recorder.run()->record({kind, form, device.c_str(), words, direction, bytes.data(), bytes.size(), comment});
}

void LinkRecording::packetOut(const ByteArray& packet) const {
    if (form == capture::Form::Packets) record(capture::Direction::Outbound, packet, {});
}

void LinkRecording::packetIn(const ByteArray& packet) const {
    if (form == capture::Form::Packets) record(capture::Direction::Inbound, packet, {});
}

void LinkRecording::verdict(WriteDataResponse response) const {
    record(capture::Direction::Inbound, {}, verdictComment(response));
}

void LinkRecording::recordEdges(LinkCounts& counts) {
    counts.tell(
        [](void* context, LinkCounter what, uint64_t times) {
            if (what != LinkCounter::Edges) return;
            const auto& here = *static_cast<const LinkRecording*>(context);
            for (; times > 0; --times) here.record(capture::Direction::Inbound, {}, capture::lineLow);
        },
        this);
}

} // namespace hostlink
