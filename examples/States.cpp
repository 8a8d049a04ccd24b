#include "States.h"

#include <iostream>
#include <stdexcept>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkVocabulary.h>

#include "Items.h"

namespace {

constexpr double changeSeconds = 3;
constexpr int tries = 3;

// A request for states and its answer, which has one item for each of them.
Conversation::Question about(const std::vector<uint16_t>& states, MessageId request, MessageId answer,
                             const std::string& what) {
    HostLinkUInt16Message message(request);
    for (const uint16_t state : states) message.addValue(state);
    const std::vector<uint16_t> tags = sortedTags(message.serialize());
    const auto isAboutThem = [tags](const ByteArray& bytes) { return sortedTags(bytes) == tags; };
    return {message.serialize(), answer, isAboutThem, what};
}

// A message about this state alone in which it has this value: an earlier one had the other.
bool tellsValue(const ByteArray& message, uint16_t state, long value) {
    return isReadable(message) && sortedTags(message) == std::vector<uint16_t>{state} &&
           hasNumber(HostLinkValueMessage(message), state, value);
}

Conversation::Question setTo(uint16_t state, unsigned char value) {
    return {HostLinkValueMessage(MSG_SetState).addValueUint8(state, value).serialize(), MSG_SetStateResponse,
            [state, value](const ByteArray& answer) { return tellsValue(answer, state, value); },
            "setting " + nameOf(state)};
}

} // namespace

HostLinkValueMessage getStates(Conversation& host, const std::vector<uint16_t>& states) {
    HostLinkValueMessage values(host.ask(about(states, MSG_GetState, MSG_GetStateResponse, "reading states")));
    bool ok = false;
    for (int i = 0; i < values.size(); ++i) {
        const uint16_t state = values.getTag(i, &ok);
        std::cout << "   " << nameOf(state) << " is " << describe(state, values, i) << "\n";
    }
    return values;
}

void subscribe(Conversation& host, const std::vector<uint16_t>& states) {
    host.ask(about(states, MSG_SubscribeState, MSG_SubscribeStateResponse, "subscribing to states"));
    for (const uint16_t state : states) std::cout << "   the host will tell when " << nameOf(state) << " changes\n";
}

void changeState(Conversation& host, uint16_t state, unsigned char value, unsigned char otherValue) {
    for (int i = 0; i < tries; ++i) {
        const unsigned char wanted = i % 2 == 0 ? value : otherValue;
        const HostLinkValueMessage answer(host.ask(setTo(state, wanted)));
        std::cout << "   set " << nameOf(state) << ": the host now holds " << describe(state, answer, 0) << "\n";

        ByteArray change;
        const auto isTheChange = [state, wanted](const ByteArray& message) {
            return HostLinkMessage::messageId(message) == MSG_StateChanged && tellsValue(message, state, wanted);
        };
        if (!host.waitFor(isTheChange, changeSeconds, &change)) continue;
        std::cout << "   the host tells: " << nameOf(state) << " changed to "
                  << describe(state, HostLinkValueMessage(change), 0) << "\n";
        return;
    }
    throw std::runtime_error("the host did not tell that " + nameOf(state) + " changed");
}

unsigned char valueIn(const HostLinkValueMessage& values, uint16_t state) {
    bool ok = false;
    const int index = lastItem(values, state);
    return static_cast<unsigned char>(index < 0 ? 0 : numberOf(values, index, &ok));
}
