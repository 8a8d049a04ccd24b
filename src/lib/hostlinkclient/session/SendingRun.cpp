#include "hostlinkclient/session/SendingRun.h"

#include <system_error>
#include <utility>

#include <hostlink/HostLinkMessage.h>

#include "hostlinkclient/session/Calling.h"

// Threads: the file's own (Pump) holds the machine and reads the source; the client's threads hand in what happens.

namespace hostlink {

namespace {

using exchange::Delivery;
using exchange::TransferEnd;
using How = Matcher::How;

constexpr auto longestTurn = std::chrono::seconds(2); // how long a chunk waits to be sent before it is offered anew

// A chunk's answer has its number; that to an abort says abort.
std::function<Verdict(const ByteArray&)> judgeOf(const ByteArray& message) {
    const auto asked = exchange::readChunk(message);
    return [aborted = asked->aborted, sequence = asked->sequence](const ByteArray& answer) {
        const auto read = exchange::readAnswer(answer);
        const bool fits = read && (aborted ? read->aborted && !read->sequence : read->sequence == sequence);
        return fits ? Verdict::Answer : Verdict::Foreign;
    };
}

Delivery deliveryOfChunk(Matcher::How how) {
    switch (how) {
    case How::Answered:
    case How::Unsupported: return Delivery::Accepted;
    case How::Refused:
    case How::TimedOut:
    case How::LinkDown: return Delivery::Refused;
    default: return Delivery::Unknown;
    }
}

Progress publicProgress(const exchange::TransferProgress& from) {
    Progress progress;
    progress.bytes = from.bytes;
    progress.total = from.total;
    progress.bytesPerSecond = from.bytesPerSecond;
    if (from.left) progress.left = std::chrono::duration_cast<std::chrono::milliseconds>(*from.left);
    return progress;
}

// What happened and what to do.
const char* textOf(TransferEnd end) {
    switch (end) {
    case TransferEnd::Cancelled: return "cancelled; the host was told, if it could be reached";
    case TransferEnd::Refused: return "the host has ended the transfer. Look at the host for its reason";
    case TransferEnd::Unsupported: return "the host does not support data transfers";
    case TransferEnd::Forgotten:
        return "the host has lost the transfer, again and again or while the data cannot be "
               "read a second time. Send it again when the host stays up";
    case TransferEnd::Unanswered:
        return "the host has acknowledged nothing for as long as the patience lasts. Look "
               "whether it is there, then send it again";
    case TransferEnd::Damaged:
        return "the host says that it holds something else: another number of bytes or another "
               "checksum. Send it again";
    case TransferEnd::Complete: // which is no failure
    case TransferEnd::Unreadable: break;
    }
    return "the data cannot be read, or are not as many as announced";
}

Outcome outcomeOf(TransferEnd end) {
    switch (end) {
    case TransferEnd::Cancelled: return Outcome::Cancelled;
    case TransferEnd::Refused:
    case TransferEnd::Forgotten: return Outcome::Aborted;
    case TransferEnd::Unsupported: return Outcome::Unsupported;
    case TransferEnd::Unanswered: return Outcome::Unanswered;
    case TransferEnd::Damaged: return Outcome::HoldsAnother;
    case TransferEnd::Complete: // which is no failure
    case TransferEnd::Unreadable: break;
    }
    return Outcome::BadArgument;
}

} // namespace

Sending::Run::Run(std::shared_ptr<Core> with, std::unique_ptr<exchange::ByteSource> from,
                  exchange::SendingOptions sendingOptions, std::function<void(const Progress&)> progress,
                  std::string whatIsSent)
    : core(std::move(with)),
      source(std::move(from)),
      options(std::move(sendingOptions)),
      told(std::move(progress)),
      what(std::move(whatIsSent)),
      family(core->newFamily()),
      began(Pump::now()) {}

std::optional<Failure> Sending::Run::start() {
    Keeping keeping(*core, Role::Sender, shared_from_this());
    if (!keeping)
        return Failure(Outcome::BadArgument, what + ": another file is on its way, or the client was closed. Wait for "
                                                    "the end of the other one");
    pump.post([this] {
        Calling::mark(core.get());
        // It is told of the link a little later than that changes. Where it has to wait for the link it begins when it
        // is told that it is up: told afterwards that it was not, it would take a host's refusal for that of one that
        // has lost the file.
        const bool isUp = core->linkState() == LinkState::Up;
        sender.emplace(*source, options, Pump::now());
        if (!isUp) sender->linkDown();
        watching = core->watchLink([weak = weak_from_this()](bool up) {
            const auto self = weak.lock();
            if (!self) return;
            self->pump.post([self = self.get(), up] {
                if (up)
                    self->sender->linkUp(Pump::now());
                else
                    self->sender->linkDown();
            });
        });
    });
    try {
        pump.start([this](exchange::Time now) { return turn(now); });
    } catch (const std::system_error& error) {
        return Failure(Outcome::NotSent, what + ": no thread for it: " + error.what());
    }
    keeping.goOn();
    return std::nullopt;
}

std::optional<exchange::Time> Sending::Run::turn(exchange::Time now) {
    if (!sender) return std::nullopt;
    sender->advance(now);
    if (const auto message = sender->nextMessage(now)) ask(*message);
    tellProgress(now);
    if (!sender->ended()) return sender->deadline();
    watching.reset();
    core->release(Role::Sender, this); // before anybody hears of the end: he may begin the next
    endWith(resultOf(sender->report()));
    pump.end();
    return std::nullopt;
}

void Sending::Run::ask(const ByteArray& message) {
    Question question;
    question.message = message;
    question.answerId = MSG_DataTransferResponse;
    question.judge = judgeOf(message);
    question.family = family;
    question.answerTime = options.answerTimeout;
    question.deadline = std::chrono::steady_clock::now() + options.answerTimeout + longestTurn;
    core->submit(std::move(question), nullptr, [weak = weak_from_this()](const Matcher::End& how) {
        if (const auto self = weak.lock()) self->pump.post([self = self.get(), how] { self->answered(how); });
    });
}

void Sending::Run::answered(const Matcher::End& how) {
    const exchange::Time now = Pump::now();
    sender->sent(deliveryOfChunk(how.how), now);
    if (how.how == Matcher::How::Answered) sender->answered(how.answer, now);
    if (how.how == Matcher::How::Unsupported)
        sender->answered(exchange::MessageWriter(MSG_UnsupportedMessageResponse).message(), now);
}

void Sending::Run::tellProgress(exchange::Time now) {
    const Progress progress = publicProgress(sender->progress(now));
    {
        const std::lock_guard lock(mutex);
        far = progress;
    }
    if (sender->report().chunks == chunksTold) return;
    chunksTold = sender->report().chunks;
    if (told) told(progress);
}

Result<FileSent> Sending::Run::resultOf(const exchange::SendingReport& report) const {
    if (report.end == TransferEnd::Complete) {
        const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Pump::now() - began);
        return FileSent{
            report.bytes, report.checksum, report.chunks, report.repeated, static_cast<int>(report.restarts), took};
    }
    return Failure(outcomeOf(report.end),
                   what + ": " + textOf(report.end) + " (" + std::to_string(report.bytes) + " bytes acknowledged)",
                   report.bytes > 0, 0, {});
}

void Sending::Run::endWith(Result<FileSent> how) {
    const std::lock_guard lock(mutex);
    if (!end) end = std::move(how);
    ended.notify_all();
}

void Sending::Run::cancel() {
    pump.post([this] { sender->cancel(Pump::now()); });
}

void Sending::Run::close() {
    pump.stop();
    endWith(Failure(Outcome::Cancelled, what + ": the client was closed", true, 0, {}));
}

bool Sending::Run::waitFor(std::optional<std::chrono::milliseconds> time) const {
    std::unique_lock lock(mutex);
    const auto hasEnded = [this] { return end.has_value(); };
    if (time) return ended.wait_for(lock, *time, hasEnded);
    ended.wait(lock, hasEnded);
    return true;
}

Result<FileSent> Sending::Run::result() const {
    const std::lock_guard lock(mutex);
    return *end;
}

Progress Sending::Run::progress() const {
    const std::lock_guard lock(mutex);
    return far;
}

} // namespace hostlink
