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

} // namespace

HostLinkValueMessage getStates(Conversation& host, const std::vector<uint16_t>& states) {
    HostLinkUInt16Message request(MSG_GetState);
    for (const uint16_t state : states) request.addValue(state);
    const ByteArray answer =
        host.ask(request.serialize(), Conversation::withId(MSG_GetStateResponse), "reading states");
    HostLinkValueMessage values(answer);
    bool ok = false;
    for (int i = 0; i < values.size(); i++) {
        const uint16_t state = values.getTag(i, &ok);
        std::cout << "   " << nameOf(state) << " is " << describe(state, values, i) << "\n";
    }
    return values;
}

void subscribe(Conversation& host, const std::vector<uint16_t>& states) {
    HostLinkUInt16Message request(MSG_SubscribeState);
    for (const uint16_t state : states) request.addValue(state);
    host.ask(request.serialize(), Conversation::withId(MSG_SubscribeStateResponse), "subscribing to states");
    for (const uint16_t state : states) std::cout << "   the host will tell when " << nameOf(state) << " changes\n";
}

void changeState(Conversation& host, uint16_t state, unsigned char value, unsigned char otherValue) {
    for (int i = 0; i < tries; i++) {
        const HostLinkValueMessage request =
            HostLinkValueMessage(MSG_SetState).addValueUint8(state, i % 2 == 0 ? value : otherValue);
        const HostLinkValueMessage answer(
            host.ask(request.serialize(), Conversation::withId(MSG_SetStateResponse), "setting " + nameOf(state)));
        const int item = lastItem(answer, state);
        if (item < 0) continue;
        std::cout << "   set " << nameOf(state) << ": the host now holds " << describe(state, answer, item) << "\n";

        ByteArray change;
        const auto aboutState = [state](const ByteArray& message) {
            return HostLinkMessage::messageId(message) == MSG_StateChanged &&
                   lastItem(HostLinkValueMessage(message), state) >= 0;
        };
        if (!host.waitFor(aboutState, changeSeconds, &change)) continue;
        const HostLinkValueMessage changed(change);
        std::cout << "   the host tells: " << nameOf(state) << " changed to "
                  << describe(state, changed, lastItem(changed, state)) << "\n";
        return;
    }
    throw std::runtime_error("the host did not tell that " + nameOf(state) + " changed");
}

unsigned char valueIn(const HostLinkValueMessage& values, uint16_t state) {
    bool ok = false;
    const int index = lastItem(values, state);
    return static_cast<unsigned char>(index < 0 ? 0 : numberOf(values, index, &ok));
}
