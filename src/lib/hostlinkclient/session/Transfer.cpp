#include "hostlinkclient/Transfer.h"

#include <fstream>
#include <system_error>
#include <utility>

#include "hostlinkclient/Client.h"
#include "hostlinkclient/session/ReceivingRun.h"
#include "hostlinkclient/session/SendingRun.h"
#include "hostlinkclient/session/Sources.h"

namespace hostlink {

namespace {

constexpr uint64_t largestFile = UINT32_MAX; // bytes; the host is told in 32 bits

std::string lastPart(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

// What is wrong with what is asked for; empty when nothing is.
std::string problemWith(const SendOptions& options, const StreamSource& source, const std::string& name) {
    if (name.empty()) return "it has no name. Give one in the options";
    if (name.size() > 255) return "its name is longer than 255 bytes";
    if (options.chunk % 4 != 0 || options.chunk > 64000) return "chunks are a multiple of four bytes, up to 64000";
    if (options.answerTime.count() <= 0 || options.patience.count() <= 0) return "a time of nothing or less";
    if (options.restarts < 0) return "it cannot be begun anew less than never";
    if (source.size().value_or(0) > largestFile) return "it is larger than 4294967295 bytes. Send it in parts";
    return "";
}

size_t chunkFor(const SendOptions& options, int maxPacketSize) {
    if (options.chunk != 0) return options.chunk;
    return exchange::fittingChunk(maxPacketSize, exchange::chunkOverheadBytes, exchange::usualChunk);
}

Result<Sending> begin(const Client& client, std::shared_ptr<std::istream> from, const std::string& name,
                      const SendOptions& options) {
    auto source = std::make_unique<StreamSource>(std::move(from));
    const std::string what = "the file " + name;
    const std::string problem = problemWith(options, *source, name);
    if (!problem.empty()) return Failure(Outcome::BadArgument, what + ": " + problem);
    exchange::SendingOptions sending;
    sending.name = name;
    if (source->size()) sending.size = static_cast<uint32_t>(*source->size());
    const int packetSize = client.core()->maxPacketSize();
    sending.chunk = chunkFor(options, packetSize);
    const size_t longest = exchange::firstChunkOverheadBytes(name) + sending.chunk;
    if (longest > exchange::longestMessage(packetSize))
        return Failure(Outcome::BadArgument,
                       what + ": a chunk of " + std::to_string(sending.chunk) +
                           " bytes does not go, with the name, into 256 packets of this wire. Choose smaller chunks, a "
                           "shorter name or larger packets");
    sending.answerTimeout = options.answerTime;
    sending.patience = options.patience;
    sending.restarts = static_cast<unsigned>(options.restarts);
    try {
        const auto run =
            std::make_shared<Sending::Run>(client.core(), std::move(source), sending, options.progress, what);
        if (const auto failure = run->start()) return *failure;
        return Sending(run);
    } catch (const std::system_error& error) {
        return Failure(Outcome::NotSent, what + ": no descriptor for it: " + error.what());
    }
}

} // namespace

Result<Sending> Client::beginSending(const std::string& path, const SendOptions& options) {
    const auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
    const std::string name = options.name.empty() ? lastPart(path) : options.name;
    if (!file->is_open()) return Failure(Outcome::BadArgument, "the file " + path + " cannot be opened");
    return begin(*this, file, name, options);
}

Result<Sending> Client::beginSending(std::shared_ptr<std::istream> stream, const SendOptions& options) {
    return begin(*this, std::move(stream), options.name, options);
}

Result<FileSent> Client::sendFile(const std::string& path, const SendOptions& options) {
    const Result<Sending> sending = beginSending(path, options);
    if (!sending) return *sending.failure();
    return sending->wait();
}

Result<Receiving> Client::receiveFiles(const ReceiveOptions& options) {
    try {
        const auto run = std::make_shared<Receiving::Run>(inside, options);
        if (const auto failure = run->start()) return *failure;
        return Receiving(run);
    } catch (const std::system_error& error) {
        return Failure(Outcome::NotSent, std::string("receiving files: no descriptor for it: ") + error.what());
    }
}

Sending::Sending(std::shared_ptr<Run> with) : run(std::move(with)) {}
Sending::Sending(const Sending& other) = default;
Sending& Sending::operator=(const Sending& other) = default;
Sending::~Sending() = default;

Result<FileSent> Sending::wait() const {
    run->waitFor(std::nullopt);
    return run->result();
}

bool Sending::waitFor(std::chrono::milliseconds time) const {
    return run->waitFor(time);
}

Progress Sending::progress() const {
    return run->progress();
}

void Sending::cancel() const {
    run->cancel();
}

const char* nameOf(FileEnd end) {
    switch (end) {
    case FileEnd::Complete: return "Complete";
    case FileEnd::Damaged: return "Damaged";
    case FileEnd::Aborted: return "Aborted";
    case FileEnd::Cancelled: return "Cancelled";
    case FileEnd::Silent: return "Silent";
    case FileEnd::Unwritable: return "Unwritable";
    }
    return "unknown";
}

Receiving::Receiving() = default;
// The client holds the run as well: what ends it is the last of the program's copies.
Receiving::Receiving(std::shared_ptr<Run> with) : run(with.get(), [with](Run*) { with->finish(); }) {}
Receiving::Receiving(const Receiving& other) = default;
Receiving& Receiving::operator=(const Receiving& other) = default;
Receiving::~Receiving() = default;

void Receiving::cancel() const {
    if (run) run->cancel();
}

void Receiving::end() {
    if (run) run->finish();
}

} // namespace hostlink
