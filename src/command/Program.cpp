#include "Program.h"

#include "Profiles.h"
#include "UsageError.h"

namespace command {

Program::Program(const CommonOptions& options, Output& output, Stop& stop) : common(options), out(output), end(stop) {}

Program::~Program() = default;

hostlink::Recorder Program::recordInto(const std::string& file) {
    recorder.emplace(hostlink::RecordingFile{file});
    if (!recorder->problem().empty()) throw UsageError(recorder->problem());
    return *recorder;
}

hostlink::Client& Program::host() {
    if (!client) {
        WireOptions wire = common.wire;
        if (!common.profile.empty()) wire = wire.over(Profiles(common.profiles).profile(common.profile));
        hostlink::Options options;
        options.deadline = timeout();
        if (!common.record.empty()) recordInto(common.record);
        options.recorder = recorder;
        client = std::make_unique<hostlink::Client>(wire.wire(), options);
    }
    return *client;
}

hostlink::Call Program::call() const {
    return hostlink::Call().within(timeout()).cancelledBy(end.cancellation());
}

} // namespace command
