#include "FileSending.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkMessage.h>

namespace hostsim {

namespace exchange = hostlink::exchange;

namespace {

exchange::SendingOptions optionsFor(const std::string& name, size_t size, int packetSize) {
    exchange::SendingOptions options;
    options.name = name;
    options.size = static_cast<uint32_t>(size);
    options.chunk = exchange::fittingChunk(packetSize, exchange::chunkOverheadBytes, exchange::usualChunk);
    return options;
}

// The same chunk with one bit of its data turned over: its checksum is another's.
ByteArray damaged(ByteArray message) {
    const auto chunk = exchange::readChunk(message);
    if (chunk && chunk->size > 0) message[static_cast<size_t>(chunk->data - message.data())] ^= 1U;
    return message;
}

std::string hexadecimal(uint32_t number) {
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[number >> shift & 0xFU];
    return text;
}

} // namespace

const char* nameOf(exchange::TransferEnd end) {
    using exchange::TransferEnd;
    switch (end) {
    case TransferEnd::Complete: return "complete";
    case TransferEnd::Cancelled: return "cancelled";
    case TransferEnd::Refused: return "refused by the module";
    case TransferEnd::Unsupported: return "not supported by the module";
    case TransferEnd::Forgotten: return "forgotten by the module";
    case TransferEnd::Unanswered: return "not answered by the module";
    case TransferEnd::Damaged: return "held differently by the module";
    case TransferEnd::Unreadable: break;
    }
    return "not readable";
}

std::string textOf(const SentFile& file) {
    const exchange::SendingReport& report = file.report;
    return file.name + ": " + nameOf(report.end) + ", " + std::to_string(report.bytes) + " bytes, checksum " +
           hexadecimal(report.checksum) + ", " + std::to_string(report.repeated) + " chunks sent again";
}

class FileSending::Content : public exchange::ByteSource {
public:
    explicit Content(ByteArray content) : bytes(std::move(content)) {}
    std::optional<size_t> read(uint8_t* to, size_t room) override {
        const size_t count = std::min(room, bytes.size() - at);
        std::copy_n(bytes.begin() + static_cast<long>(at), count, to);
        at += count;
        return count;
    }
    bool rewind() override {
        at = 0;
        return true;
    }
    size_t size() const { return bytes.size(); }

private:
    const ByteArray bytes;
    size_t at = 0;
};

class FileSending::Transfer {
public:
    Transfer(std::string fileName, ByteArray content, int packetSize, Time now)
        : name(std::move(fileName)),
          source(std::move(content)),
          sender(source, optionsFor(name, source.size(), packetSize), now) {}

    const std::string name;
    Content source;
    exchange::ChunkSender sender;
};

FileSending::FileSending(SimulatedHost& simulatedHost) : host(simulatedHost) {
    host.application().attach(*this);
}

FileSending::~FileSending() = default;

void FileSending::send(const std::string& name, ByteArray content) {
    waiting.emplace_back(name, std::move(content));
}

void FileSending::abort() {
    waiting.clear();
    isAborted = transfer != nullptr;
}

std::optional<std::vector<ByteArray>> FileSending::handle(const ByteArray& message) {
    const MessageId id = HostLinkMessage::messageId(message);
    const bool isAnswer = id == MSG_DataTransferResponse || id == MSG_UnsupportedMessageResponse;
    if (!transfer || !isAnswer) return std::nullopt;
    answers.push_back(message);
    return std::vector<ByteArray>{}; // it speaks in advance()
}

void FileSending::begin(Time now) {
    if (transfer || waiting.empty()) return;
    auto [name, content] = std::move(waiting.front());
    waiting.pop_front();
    transfer = std::make_unique<Transfer>(name, std::move(content), host.engine().setup.packetSize, now);
}

void FileSending::advance(Time now) {
    begin(now);
    if (!transfer) return;
    exchange::ChunkSender& sender = transfer->sender;
    if (isOnItsWay && host.isIdle()) {
        isOnItsWay = false;
        const bool arrived = host.counts().messagesGivenUp == givenUpBefore;
        sender.sent(arrived ? exchange::Delivery::Accepted : exchange::Delivery::Unknown, now);
    }
    for (const ByteArray& answer : std::exchange(answers, {})) sender.answered(answer, now);
    if (std::exchange(isAborted, false)) sender.cancel(now);
    sender.advance(now);
    if (!isOnItsWay)
        if (const auto message = sender.nextMessage(now)) put(*message, now);
    if (!sender.ended()) return;
    ended.push_back({transfer->name, sender.report()});
    transfer.reset();
    isOnItsWay = false;
    begin(now);
}

// A chunk that gets lost has been sent, as far as the sender can know.
void FileSending::put(const ByteArray& message, Time now) {
    ++chunks;
    if (host.faults().losesChunk(chunks)) {
        transfer->sender.sent(exchange::Delivery::Accepted, now);
        return;
    }
    givenUpBefore = host.counts().messagesGivenUp;
    isOnItsWay = true;
    host.send({host.faults().damagesChunk(chunks) ? damaged(message) : message});
}

std::optional<Time> FileSending::deadline() const {
    if (!transfer) return waiting.empty() ? std::nullopt : std::optional(Time::zero());
    const auto due = transfer->sender.deadline();
    if (!due) return std::nullopt;
    return std::chrono::ceil<Time>(*due);
}

std::vector<SentFile> FileSending::takeEnded() {
    return std::exchange(ended, {});
}

} // namespace hostsim
