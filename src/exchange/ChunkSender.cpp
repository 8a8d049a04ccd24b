#include "ChunkSender.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkMessage.h>

namespace hostlink::exchange {

namespace {

constexpr unsigned tries = 3; // of an abort, of totals that differ, of an answer that says "unsupported"

} // namespace

ChunkSender::ChunkSender(ByteSource& byteSource, const SendingOptions& sendingOptions, Time now)
    : source(byteSource), options(sendingOptions), speed(now), lastProgress(now) {
    // Only then is the checksum of the file that of its chunks one behind another.
    options.chunk = std::max(options.chunk / checksumWord * checksumWord, checksumWord);
    if (begin())
        sendNow(now);
    else
        endAs(TransferEnd::Unreadable);
}

// Makes the first chunk; false when the source cannot give it.
bool ChunkSender::begin() {
    sequence.number = 0;
    file = TransferChecksum();
    readSoFar = 0;
    atEnd = false;
    result.bytes = 0;
    result.chunks = 0;
    return readAhead() && makeChunk();
}

// Only one chunk ahead is known which one is the last.
bool ChunkSender::readAhead() {
    ahead.resize(options.chunk);
    const auto count = source.read(ahead.data(), ahead.size());
    if (!count) return false;
    ahead.resize(*count);
    atEnd = *count < options.chunk;
    readSoFar += *count;
    if (!options.size) return true;
    return atEnd ? readSoFar == *options.size : readSoFar <= *options.size;
}

bool ChunkSender::makeChunk() {
    current = std::exchange(ahead, {});
    if (!atEnd && !readAhead()) return false;
    currentIsLast = atEnd && ahead.empty();
    currentChecksum = TransferChecksum::of(current.data(), current.size());
    complaints = 0;
    return true;
}

ByteArray ChunkSender::messageOfCurrent() const {
    Chunk chunk;
    if (result.chunks == 0) {
        chunk.name = options.name;
        chunk.fileSize = options.size;
    }
    chunk.sequence = sequence;
    chunk.data = current.data();
    chunk.size = current.size();
    chunk.last = currentIsLast;
    return writeChunk(chunk);
}

std::optional<ByteArray> ChunkSender::nextMessage(Time now) {
    if (ended() || !linkIsUp || inFlight || !sendAt || now < *sendAt) return std::nullopt;
    sendAt.reset();
    inFlight = true;
    awaiting = true;
    if (timesSent++ > 0 && state == State::Sending) ++result.repeated;
    return state == State::Aborting ? writeAbort() : messageOfCurrent();
}

void ChunkSender::sent(Delivery delivery, Time now) {
    inFlight = false;
    if (!awaiting || ended()) return; // the answer was faster
    if (delivery == Delivery::Accepted) {
        answerBy = now + options.answerTimeout;
        return;
    }
    trouble = true;
    repeat(now + options.retryPause);
}

void ChunkSender::answered(const ByteArray& message, Time now) {
    if (ended()) return;
    if (HostLinkMessage::messageId(message) == MSG_UnsupportedMessageResponse) {
        takeUnsupported(now);
        return;
    }
    const auto answer = readAnswer(message);
    if (answer && state == State::Aborting && answer->aborted)
        endAs(endAfterAbort);
    else if (answer && state == State::Sending && isForCurrent(*answer))
        takeAnswer(*answer, now);
    else
        ++result.stale;
    // A host that refuses a chunk whose number has suffered on the way has ended the transfer all the same.
    if (answer && answer->aborted) trouble = true;
}

bool ChunkSender::isForCurrent(const ChunkAnswer& answer) const {
    return timesSent > 0 && answer.sequence && *answer.sequence == sequence;
}

void ChunkSender::takeAnswer(const ChunkAnswer& answer, Time now) {
    if (answer.checksum != currentChecksum) {
        ++result.damaged;
        trouble = true;
        repeat(now);
    } else if (answer.aborted) {
        takeAbort(now);
    } else if (currentIsLast) {
        takeTotals(answer, now);
    } else {
        takeAcknowledgement(now);
        if (makeChunk())
            sendNow(now);
        else
            abort(TransferEnd::Unreadable, now);
    }
}

void ChunkSender::takeAcknowledgement(Time now) {
    file.add(current.data(), current.size());
    result.checksum = file.value();
    result.bytes += current.size();
    ++result.chunks;
    sequence = sequence.next();
    speed.note(result.bytes, now);
    lastProgress = now;
    trouble = false;
}

// What the answer says about the whole may have suffered on the way: the host is asked again before it is believed.
void ChunkSender::takeTotals(const ChunkAnswer& answer, Time now) {
    TransferChecksum whole = file;
    whole.add(current.data(), current.size());
    const auto bytes = static_cast<uint32_t>(result.bytes + current.size());
    result.hostChecksum = answer.fileChecksum.value_or(0);
    if (answer.last && answer.fileSize == bytes && answer.fileChecksum == whole.value()) {
        takeAcknowledgement(now);
        endAs(TransferEnd::Complete);
    } else if (++complaints >= tries) {
        endAs(TransferEnd::Damaged);
    } else {
        repeat(now + options.retryPause);
    }
}

void ChunkSender::takeAbort(Time now) {
    if (!trouble || result.chunks == 0) {
        endAs(TransferEnd::Refused);
        return;
    }
    if (result.restarts == options.restarts || !source.rewind()) {
        endAs(TransferEnd::Forgotten);
        return;
    }
    ++result.restarts;
    trouble = false;
    if (begin())
        sendNow(now);
    else
        endAs(TransferEnd::Unreadable);
}

// It has no number: it may answer this chunk, which arrived unreadable, or something else.
void ChunkSender::takeUnsupported(Time now) {
    if (!awaiting) {
        ++result.stale;
        return;
    }
    if (state == State::Aborting || (result.chunks == 0 && ++complaints >= tries)) {
        endAs(state == State::Aborting ? endAfterAbort : TransferEnd::Unsupported);
        return;
    }
    repeat(now + options.retryPause);
}

void ChunkSender::sendNow(Time at) {
    timesSent = 0;
    repeat(at);
}

void ChunkSender::repeat(Time at) {
    awaiting = false;
    answerBy.reset();
    sendAt = at;
}

void ChunkSender::linkDown() {
    linkIsUp = false;
    trouble = true;
    if (state == State::Aborting) endAs(endAfterAbort);
}

// What is still in flight will be told of.
void ChunkSender::linkUp(Time now) {
    if (linkIsUp) return;
    linkIsUp = true;
    if (!ended() && !inFlight) repeat(now);
}

void ChunkSender::cancel(Time now) {
    if (state == State::Sending) abort(TransferEnd::Cancelled, now);
}

void ChunkSender::abort(TransferEnd end, Time now) {
    endAfterAbort = end;
    const bool hostKnows = result.chunks > 0 || timesSent > 0;
    if (!hostKnows || !linkIsUp) {
        endAs(end);
        return;
    }
    state = State::Aborting;
    sendNow(now);
}

void ChunkSender::endAs(TransferEnd end) {
    result.end = end;
    state = State::Ended;
    sendAt.reset();
    answerBy.reset();
}

void ChunkSender::advance(Time now) {
    if (answerBy && now >= *answerBy) {
        trouble = true;
        repeat(now);
    }
    if (state == State::Aborting && timesSent >= tries && sendAt && !inFlight) endAs(endAfterAbort);
    if (!ended() && now - lastProgress >= options.patience)
        endAs(state == State::Aborting ? endAfterAbort : TransferEnd::Unanswered);
}

std::optional<Time> ChunkSender::deadline() const {
    if (ended()) return std::nullopt;
    Time due = lastProgress + options.patience;
    if (answerBy) due = std::min(due, *answerBy);
    if (sendAt && linkIsUp && !inFlight) due = std::min(due, *sendAt);
    return due;
}

TransferProgress ChunkSender::progress(Time now) const {
    TransferProgress progress{result.bytes, std::nullopt, speed.rate(now), std::nullopt};
    if (options.size) {
        progress.total = *options.size;
        progress.left = speed.left(*options.size, now);
    }
    return progress;
}

} // namespace hostlink::exchange
