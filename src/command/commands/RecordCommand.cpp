// record: what goes over a wire, into a file.
#include <memory>
#include <string>
#include <vector>

#include "Declare.h"
#include "command/UsageError.h"
#include "command/recording/CaptureSink.h"
#include "command/recording/Follower.h"
#include "command/recording/LineTap.h"

namespace command {

namespace {

struct RecordOptions {
    std::string file;
    std::vector<std::string> tap; ///< two devices
    std::string from;
    bool list = false;
};

ExitCode list(Output& out) {
    for (const capture::RunningRecorder& recorder : runningRecorders()) {
        json::Object object;
        object.text("recorder", recorder.writer).text("folder", recorder.folder);
        out.line(recorder.writer + "  " + recorder.folder, object);
    }
    return ExitCode::Good;
}

ExitCode done(Output& out, const CaptureSink& sink, const std::string& problem) {
    json::Object object;
    object.number("packets", sink.packets());
    if (!problem.empty()) object.text("problem", problem);
    out.line(std::to_string(sink.packets()) + " packets recorded" + (problem.empty() ? "" : "; " + problem), object);
    return problem.empty() ? ExitCode::Good : ExitCode::NoLink;
}

TapOptions tapOf(const RecordOptions& options, const WireOptions& wire) {
    TapOptions tap;
    tap.toHost = options.tap[0];
    tap.fromHost = options.tap[1];
    tap.baud = wire.baud.value_or(tap.baud);
    tap.parity = wire.parity.value_or(tap.parity);
    return tap;
}

ExitCode recordTap(Program& program, const RecordOptions& options) {
    CaptureSink sink(options.file);
    const LineTap tap(tapOf(options, program.wire()), sink);
    program.output().note("recording both lines");
    while (!program.stop().waitFor(captureInterval) && !tap.isLost() && sink.problem().empty()) {
    }
    return done(program.output(), sink, tap.isLost() ? "a line was lost" : sink.problem());
}

ExitCode recordBeside(Program& program, const RecordOptions& options) {
    for (const capture::RunningRecorder& recorder : runningRecorders()) {
        if (recorder.writer != options.from) continue;
        CaptureSink sink(options.file);
        Follower follower(recorder);
        program.output().note("recording beside process " + recorder.writer);
        while (follower.follow(sink) && sink.problem().empty() && !program.stop().waitFor(captureInterval)) {
        }
        return done(program.output(), sink, follower.problem() + sink.problem());
    }
    throw UsageError("there is no recorder " + options.from + "; hostlink record --list lists them");
}

ExitCode recordLink(Program& program, const RecordOptions& options) {
    const hostlink::Recorder recorder = program.recordInto(options.file);
    const hostlink::Listening link =
        program.host().onLink([&program](hostlink::LinkState state, const std::string& why) {
            if (state == hostlink::LinkState::Up) program.output().note("recording, the link is up");
            if (state == hostlink::LinkState::Down) program.output().failed(ExitCode::NoLink, "LinkDown", why);
        });
    program.stop().wait();
    recorder.flush();
    if (recorder.problem().empty() && recorder.lost() == 0) return ExitCode::Good;
    return program.output().failed(ExitCode::NoLink, "NotRecorded",
                                   std::to_string(recorder.lost()) + " pieces were not recorded " + recorder.problem());
}

ExitCode record(Program& program, const RecordOptions& options) {
    if (options.list) return list(program.output());
    if (options.file.empty()) throw UsageError("into which file?");
    if (!options.tap.empty()) return recordTap(program, options);
    if (!options.from.empty()) return recordBeside(program, options);
    return recordLink(program, options);
}

} // namespace

void declareRecord(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<RecordOptions>();
    const auto command = declareCommand(app, chosen, "record",
                                        "Record what goes over a wire until Ctrl-C: of a link that is opened, beside a "
                                        "program that has a recorder, or of two receive lines that look on",
                                        options, record);
    command.option("FILE", options->file, "Where to, as pcapng").plain();
    const auto tap = command.option("--tap", options->tap,
                                    "Two serial ports: the one that receives what the module sends, and the one that "
                                    "receives what the host sends");
    tap.argument("DEVICE DEVICE").arguments(2);
    const auto from = command.option("--from", options->from, "Which running recorder to go along with");
    from.argument("RECORDER").excludes(tap);
    command.flag("--list", options->list, "List running recorders: what --from takes, and their folders");
}

} // namespace command
