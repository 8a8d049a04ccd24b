#include "Conversation.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkTransportLayer.h>

#include "Items.h"

namespace {

constexpr int tries = 8;
constexpr double answerSeconds = 2;
constexpr double lossSeconds = 0.1;   // after a failed write: until the reader, too, has seen that the line is gone
constexpr size_t keptMessages = 1000; // older ones that nobody asked for are dropped

bool hasId(const ByteArray& message, MessageId id) {
    return HostLinkMessage::messageId(message) == id;
}

// Readable messages with the answer's id that answer something else are not among them.
Conversation::Wanted endsTheWaitFor(const Conversation::Question& question) {
    return [&question](const ByteArray& message) {
        if (hasId(message, MSG_UnsupportedMessageResponse)) return true;
        return hasId(message, question.answerId) && (!isReadable(message) || question.isAnswer(message));
    };
}

void check(const ByteArray& answer, const std::string& what) {
    if (hasId(answer, MSG_UnsupportedMessageResponse)) {
        throw std::runtime_error("the host does not support this request: " + what +
                                 ". It needs a firmware that does, or a program that does not ask");
    }
    if (!isReadable(answer)) {
        throw std::runtime_error("the host's answer cannot be read: " + what +
                                 ". --log-level debug shows it; compare it with docs/wire-format.md");
    }
}

} // namespace

void Conversation::listenTo(HostLinkTransportLayer& transportLayer) {
    transport = &transportLayer;
    transport->addMessageReceivedObserver([this](const ByteArray& message) { keep(message); });
}

void Conversation::keep(const ByteArray& message) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(message);
        if (messages.size() > keptMessages) messages.pop_front();
    }
    changed.notify_all();
}

void Conversation::lineLost(const std::string& reason) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lossReason = reason;
    }
    changed.notify_all();
}

void Conversation::forget(const Wanted& unwanted) {
    const std::lock_guard<std::mutex> lock(mutex);
    messages.erase(std::remove_if(messages.begin(), messages.end(), unwanted), messages.end());
}

bool Conversation::waitFor(const Wanted& wanted, double seconds, ByteArray* message) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    std::unique_lock<std::mutex> lock(mutex);
    auto found = messages.end();
    const auto isOver = [&] {
        found = std::find_if(messages.begin(), messages.end(), wanted);
        return found != messages.end() || !lossReason.empty();
    };
    if (!changed.wait_until(lock, deadline, isOver)) return false;
    if (found == messages.end()) {
        throw std::runtime_error("the line to the host is lost (" + lossReason + "). Connect it and start again");
    }
    *message = *found;
    messages.erase(found);
    return true;
}

bool Conversation::isDamagedOnTheWay(const ByteArray& answer, const Question& question) const {
    return hasId(answer, MSG_UnsupportedMessageResponse) && supported.count(question.answerId) != 0;
}

ByteArray Conversation::ask(const Question& question) {
    const Wanted wanted = endsTheWaitFor(question);
    const auto sameId = [&question](const ByteArray& message) {
        return hasId(message, question.answerId) || hasId(message, MSG_UnsupportedMessageResponse);
    };
    forget(sameId);
    bool taken = false;
    ByteArray answer;
    for (int i = 0; i < tries; ++i) {
        const bool sent = transport->writeMessage(question.request);
        taken = taken || sent;
        // A request that was not acknowledged may have arrived all the same.
        if (!waitFor(wanted, sent ? answerSeconds : lossSeconds, &answer)) continue;
        if (i + 1 < tries && isDamagedOnTheWay(answer, question)) continue;
        check(answer, question.what);
        supported.insert(question.answerId);
        return answer;
    }
    if (waitFor(sameId, 0, &answer)) {
        throw std::runtime_error("the host answered something else than it was asked: " + question.what +
                                 ". --log-level debug shows what it said");
    }
    if (taken) throw std::runtime_error("the host took the request but did not answer: " + question.what);
    throw std::runtime_error("the host did not accept the request: " + question.what +
                             ". Is a host at the other end of the line?");
}
