#include "Conversation.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkTransportLayer.h>

namespace {

constexpr int tries = 8;
constexpr double answerSeconds = 2;
constexpr size_t keptMessages = 1000; // older ones that nobody asked for are dropped

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
    arrived.notify_all();
}

bool Conversation::waitFor(const Wanted& wanted, double seconds, ByteArray* message) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    std::unique_lock<std::mutex> lock(mutex);
    auto found = messages.end();
    const auto isThere = [&] {
        return (found = std::find_if(messages.begin(), messages.end(), wanted)) != messages.end();
    };
    if (!arrived.wait_until(lock, deadline, isThere)) return false;
    *message = *found;
    messages.erase(found);
    return true;
}

ByteArray Conversation::ask(const ByteArray& request, const Wanted& wanted, const std::string& what) {
    bool taken = false;
    for (int i = 0; i < tries; i++) {
        ByteArray answer;
        const bool sent = transport->writeMessage(request);
        taken = taken || sent;
        if (sent && waitFor(wanted, answerSeconds, &answer)) return answer;
    }
    if (taken) throw std::runtime_error("the host took the request but did not answer: " + what);
    throw std::runtime_error("the host did not accept the request: " + what +
                             ". Is a host at the other end of the line?");
}

Conversation::Wanted Conversation::withId(MessageId id) {
    return [id](const ByteArray& message) { return HostLinkMessage::messageId(message) == id; };
}
