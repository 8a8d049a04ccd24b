#include "Program.h"

#include "Profiles.h"
#include "UsageError.h"

namespace command {

Program::Program(const CommonOptions& options, Output& output, Stop& stop) : common(options), out(output), end(stop) {}

Program::~Program() = default;

WireOptions Program::wire() const {
    if (common.profile.empty()) return common.wire;
    return common.wire.over(Profiles(common.profiles).profile(common.profile));
}

hostlink::Recorder Program::recordInto(const std::string& file) {
    recorder.emplace(hostlink::RecordingFile{file});
    if (!recorder->problem().empty()) throw UsageError(recorder->problem());
    return *recorder;
}

hostlink::Client& Program::host() {
    hostToBe().open();
    return *client;
}

hostlink::Client& Program::hostToBe() {
    if (!client) {
        hostlink::Options options;
        options.deadline = timeout();
        options.refusalTime = refusalTime.value_or(options.refusalTime);
        if (!common.record.empty()) recordInto(common.record);
        options.recorder = recorder;
        options.opensLater = true;
        client = std::make_unique<hostlink::Client>(wire().wire(), options);
    }
    return *client;
}

hostlink::Call Program::call() const {
    return hostlink::Call().within(timeout()).cancelledBy(end.cancellation());
}

} // namespace command
