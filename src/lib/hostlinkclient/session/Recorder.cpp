#include "hostlinkclient/Recorder.h"

#include <atomic>
#include <utility>

#include <unistd.h>

#include "hostlinkclient/session/RecorderRun.h"

namespace hostlink {

namespace {

// "4711", then "4711.2".
std::string nextWriter() {
    static std::atomic<unsigned> recorders{0};
    const unsigned number = ++recorders;
    return std::to_string(::getpid()) + (number == 1 ? "" : "." + std::to_string(number));
}

} // namespace

Recorder::Recorder(const RecordingRing& ring) : inside(std::make_shared<Run>(RecordedFiles(ring, nextWriter()))) {}
Recorder::Recorder(const RecordingFile& file) : inside(std::make_shared<Run>(RecordedFiles(file))) {}
Recorder::Recorder(std::shared_ptr<Run> with) : inside(std::move(with)) {}
Recorder::Recorder(const Recorder& other) = default;
Recorder& Recorder::operator=(const Recorder& other) = default;
Recorder::~Recorder() = default;

std::string Recorder::file() const {
    return inside->file();
}

std::string Recorder::problem() const {
    return inside->problem();
}

uint64_t Recorder::lost() const {
    return inside->lost();
}

void Recorder::flush() const {
    inside->flush();
}

} // namespace hostlink
