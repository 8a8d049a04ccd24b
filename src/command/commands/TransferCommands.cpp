// send and receive.
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include <sys/stat.h>

#include "Declare.h"
#include "LinkWatch.h"
#include "ProgressLine.h"
#include "command/UsageError.h"

namespace command {

namespace {

using std::chrono::milliseconds;

struct SendingOptions {
    std::string file;
    std::string name;
    std::size_t chunk = 0;
    int patience = 30000; ///< milliseconds
};

struct ReceivingOptions {
    std::string folder = ".";
    unsigned count = 0;
    bool force = false;
};

std::string hex(uint32_t number) {
    char text[12];
    std::snprintf(text, sizeof text, "0x%08x", number);
    return text;
}

// The transfer goes on by itself when the host is back; whoever waits is told why nothing moves.
hostlink::Listening tellLink(Program& program, ProgressLine& progress) {
    const auto lost = std::make_shared<bool>(false); // of the client's thread for callbacks
    return program.host().onLink([&progress, lost](hostlink::LinkState now, const std::string& why) {
        if (now == hostlink::LinkState::Down && !*lost) {
            *lost = true;
            progress.tell("the link is down: " + why + "; going on when the host is back",
                          json::Object().text("link", "Down").text("text", why));
        } else if (now == hostlink::LinkState::Up && *lost) {
            *lost = false;
            progress.tell("the host is back", json::Object().text("link", "Up").text("text", why));
        }
    });
}

// Whether there is a link to begin with. A device that is not there will not come, a host that says nothing may.
bool isLinked(Program& program) {
    hostlink::Client& host = program.host();
    constexpr milliseconds look{50};
    for (milliseconds waited{0}; waited < program.timeout() && !program.stop().isRequested(); waited += look) {
        if (host.waitUntilUp(look)) return true;
        if (host.linkState() == hostlink::LinkState::Down && host.statistics().links == 0) return false;
    }
    return host.linkState() == hostlink::LinkState::Up;
}

ExitCode send(Program& program, const SendingOptions& options) {
    Output& output = program.output();
    if (!isLinked(program)) return output.failed(ExitCode::NoLink, "LinkDown", program.host().linkText());
    ProgressLine progress(output);
    hostlink::SendOptions how;
    how.name = options.name;
    how.chunk = options.chunk;
    how.patience = milliseconds(options.patience);
    how.progress = [&progress](const hostlink::Progress& now) { progress.show(now); };
    const hostlink::Listening link = tellLink(program, progress);
    const auto sending = program.host().beginSending(options.file, how);
    if (!sending) return output.failed(sending);
    constexpr milliseconds look{50};
    constexpr milliseconds farewell{400}; // a slow line is still busy with a chunk then, and the host is not told
    while (!sending->waitFor(look)) {
        if (!program.stop().isRequested()) continue;
        sending->cancel();
        if (!sending->waitFor(farewell)) program.host().close();
    }
    const auto sent = sending->wait();
    progress.end();
    if (!sent) return output.failed(sent);
    json::Object object;
    object.text("file", options.file).number("bytes", sent->bytes).text("checksum", hex(sent->checksum));
    object.number("chunks", sent->chunks).number("repeated", sent->repeated).number("restarts", sent->restarts);
    object.number("ms", sent->took.count());
    output.line("the host holds " + std::to_string(sent->bytes) + " bytes, checksum " + hex(sent->checksum) +
                    ", after " + std::to_string(sent->took.count()) + " ms; " + std::to_string(sent->repeated) +
                    " of " + std::to_string(sent->chunks) + " chunks sent again",
                object);
    return ExitCode::Good;
}

/// Puts files of the host into a folder, under the last part of their names and never over a file that is there.
class Folder {
public:
    Folder(const ReceivingOptions& receiving, Program& run)
        : options(receiving), program(run), progress(run.output()) {}

    bool begin(const hostlink::IncomingFile& file) {
        const std::string name = file.name.substr(file.name.find_last_of('/') + 1);
        path = options.folder + "/" + name;
        const bool named = !name.empty() && name != "." && name != ".." && name.find('\0') == std::string::npos;
        if (!named) return refuse("the host's file has no name that a file here can have: '" + file.name + "'");
        struct stat found {};
        if (!options.force && ::stat(path.c_str(), &found) == 0)
            return refuse(path + " is there already; --force puts the host's in its place");
        now = {};
        now.total = file.size;
        began = std::chrono::steady_clock::now();
        part.open(partPath(), std::ios::binary | std::ios::trunc);
        return part.is_open() || refuse("cannot write " + partPath());
    }
    bool write(const unsigned char* data, std::size_t size) {
        part.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!part.good()) return refuse("cannot write " + partPath());
        tellProgress(size);
        return true;
    }
    void end(const hostlink::ReceivedFile& file) {
        part.close();
        progress.end();
        const bool whole = file.end == hostlink::FileEnd::Complete && part.good();
        if (whole && std::rename(partPath().c_str(), path.c_str()) == 0) {
            ++received;
            tell(file);
        } else {
            std::remove(partPath().c_str());
            failures = true;
            program.output().failed(ExitCode::HostSaidNo, nameOf(file.end),
                                    path + " has not come whole: " + nameOf(file.end));
        }
        if (isComplete()) program.stop().request();
    }
    bool anyFailed() const { return failures; }
    /// As many as were asked for.
    bool isComplete() const { return options.count != 0 && received == options.count; }

private:
    std::string partPath() const { return path + ".part"; }
    // On average: a host that sends in bursts is no faster for it.
    void tellProgress(std::size_t size) {
        now.bytes += size;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        if (took.count() > 0) now.bytesPerSecond = static_cast<double>(now.bytes) / took.count();
        if (now.total && *now.total >= now.bytes && now.bytesPerSecond > 0) {
            const auto rest = static_cast<double>(*now.total - now.bytes);
            now.left = milliseconds(static_cast<long>(1000 * rest / now.bytesPerSecond));
        }
        progress.show(now);
    }
    bool refuse(const std::string& why) {
        progress.end();
        failures = true;
        program.output().failed(ExitCode::BadUsage, "Refused", why);
        return false;
    }
    void tell(const hostlink::ReceivedFile& file) {
        json::Object object;
        object.text("file", path).number("bytes", file.bytes).text("checksum", hex(file.checksum));
        program.output().line(path + ": " + std::to_string(file.bytes) + " bytes, checksum " + hex(file.checksum),
                              object);
    }

    // By the client's thread for files, until that has ended; the counts are read by the program's own, too.
    const ReceivingOptions& options;
    Program& program;
    ProgressLine progress;
    hostlink::Progress now;
    std::chrono::steady_clock::time_point began;
    std::string path;
    std::ofstream part;
    std::atomic<unsigned> received{0};
    std::atomic<bool> failures{false};
};

ExitCode receive(Program& program, const ReceivingOptions& options) {
    Folder folder(options, program);
    hostlink::ReceiveOptions how;
    how.begin = [&folder](const hostlink::IncomingFile& file) { return folder.begin(file); };
    how.write = [&folder](const unsigned char* data, std::size_t size) { return folder.write(data, size); };
    how.end = [&folder](const hostlink::ReceivedFile& file) { folder.end(file); };
    const auto receiving = program.host().receiveFiles(how);
    if (!receiving) return program.output().failed(receiving);
    const hostlink::Listening link = tellLosses(program);
    program.output().note("waiting for files; Ctrl-C ends");
    program.stop().wait();
    if (folder.isComplete()) program.host().get(STA_HostFirmwareVersion); // behind the answer to the last chunk
    const ExitCode end = endOf(program);
    program.host().close(); // nobody calls the folder any more
    return folder.anyFailed() ? ExitCode::HostSaidNo : end;
}

} // namespace

void declareSend(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<SendingOptions>();
    const auto command = declareCommand(app, chosen, "send", "Send a file to the host", options, send);
    command.option("FILE", options->file, "The file").required().existingFile().plain();
    command.option("--name", options->name, "What the host is to call it; without it as here").argument("NAME");
    command
        .option("--patience", options->patience,
                "How long the host may take nothing, times without a link included, in milliseconds")
        .argument("MS")
        .positive()
        .showPreset();
    command.option("--chunk", options->chunk, "Bytes at a time, a multiple of four [about a thousand]")
        .argument("BYTES");
}

void declareReceive(const commandline::Command& app, Run& chosen) {
    auto options = std::make_shared<ReceivingOptions>();
    const auto command = declareCommand(app, chosen, "receive", "Take the files that the host sends", options, receive);
    command.option("FOLDER", options->folder, "Where to put them").existingFolder().showPreset();
    command.option("--count", options->count, "End after so many files").argument("N");
    command.flag("--force", options->force, "Put the host's file in the place of one that is there");
}

} // namespace command
