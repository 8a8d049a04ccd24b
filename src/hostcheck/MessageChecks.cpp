#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char messageGroup[] = "messages";
constexpr uint16_t unknownIds[] = {0x000A, 0x001E, 0x003F};
constexpr uint16_t closeTunnel = 4;

ByteArray withItems(uint16_t id, unsigned count, const ByteArray& items) {
    ByteArray head = emptyMessage(id);
    head.back() = static_cast<unsigned char>(count);
    return joined({head, items});
}

// Exactly one message comes, and it has this id or is "UnsupportedMessageResponse" where that will do.
void requireOneAnswer(Bench& bench, const ByteArray& request, uint16_t id, bool orUnsupported) {
    const std::string name = nameOfMessage(idOf(request));
    bench.module.inbox.clear();
    bench.require(bench.module.sendMessage(request), 8, name + " is taken");
    bench.module.awaitOwn(bench.module.own.size() + 1, bench.waits.message);
    bench.module.settle(bench.waits.quiet, bench.waits.message);
    unsigned answers = 0;
    for (const ByteArray& message : bench.module.inbox) {
        if (Bench::isEvent(message) || hostLinkIsResponseMessageId(idOf(message)) == 0) continue;
        const bool isRight = idOf(message) == id || (orUnsupported && idOf(message) == MSG_UnsupportedMessageResponse);
        bench.require(isRight, 49,
                      nameOfMessage(id) + " in answer to " + name + "; came: " + nameOfMessage(idOf(message)));
        ++answers;
    }
    bench.require(answers == 1, 49, "one answer to " + name + "; came: " + std::to_string(answers));
}

void eachRequest(Bench& bench) {
    const ByteArray held = bench.heldItem();
    requireOneAnswer(bench, bench.question(), MSG_GetStateResponse, false);
    requireOneAnswer(bench, listMessage(MSG_SubscribeState, {bench.setup.state}), MSG_SubscribeStateResponse, false);
    requireOneAnswer(bench, listMessage(MSG_UnsubscribeState, {bench.setup.state}), MSG_UnsubscribeStateResponse,
                     false);
    if (Bench::hasValue(held)) requireOneAnswer(bench, Bench::setMessage({held}), MSG_SetStateResponse, false);
    const ByteArray close{0x00, 0x00, ENC_Uint16, 0xFE, 0xFF, 0x02, 0x00, ENC_Uint8, closeTunnel};
    requireOneAnswer(bench, withItems(MSG_TcpTunneling, 2, close), MSG_TcpTunnelingResponse, true);
}

void getInOrder(Bench& bench) {
    const std::vector<uint16_t> ids{bench.setup.state, unknownState, bench.setup.state, unknownState + 1};
    const auto items = rawItems(bench.ask(listMessage(MSG_GetState, ids), MSG_GetStateResponse, 50));
    bench.require(items.size() == ids.size(), 50,
                  "an item for each of four ids; came: " + std::to_string(items.size()));
    for (size_t i = 0; i < ids.size(); ++i) {
        const bool isRight = items[i][0] == (ids[i] & 0xFF) && items[i][1] == ids[i] >> 8;
        bench.require(isRight, 50, "items in the order of the ids");
    }
    bench.require(items[0] == items[2], 50, "the same value for the same state");
}

void getUnknown(Bench& bench) {
    const auto items = rawItems(bench.ask(listMessage(MSG_GetState, {unknownState}), MSG_GetStateResponse, 50));
    bench.require(items.size() == 1 && !Bench::hasValue(items[0]), 50, "Nil for a state that nobody knows");
}

void tagTwice(Bench& bench) {
    const ByteArray held = bench.heldItem();
    const auto items = rawItems(bench.ask(bench.longQuestion(2), MSG_GetStateResponse, 60));
    bench.require(items == std::vector<ByteArray>({held, held}), 60, "two items for a state that is asked for twice");
}

void unknownRequests(Bench& bench) {
    for (const uint16_t id : unknownIds) {
        const ByteArray request = withItems(id, 1, {0x01, 0x00, ENC_Uint8, 0x05});
        bench.require(bench.module.sendMessage(request), 53, "an unknown request is taken");
        bench.expectMessage(MSG_UnsupportedMessageResponse, 53);
    }
    bench.requireNoMessage(53, "the answers to unknown requests");
}

struct Unreadable {
    const char* what;
    ByteArray message;
};

// `item` is one that would change something if it were carried out.
std::vector<Unreadable> unreadables(uint16_t state, const ByteArray& item) {
    const auto low = static_cast<unsigned char>(state);
    const auto high = static_cast<unsigned char>(state >> 8);
    const ByteArray cutItem(item.begin(), item.end() - 1);
    return {
        {"an item whose value is cut off", withItems(MSG_SetState, 1, cutItem)},
        {"a good item and one whose value is cut off", withItems(MSG_SetState, 2, joined({item, cutItem}))},
        {"a good item and a count of 3", withItems(MSG_SetState, 3, item)},
        {"a good item and one with encoding C1", withItems(MSG_SetState, 2, joined({item, {low, high, 0xC1, 0x01}}))},
        {"a text longer than the message",
         withItems(MSG_SetState, 2, joined({item, {low, high, ENC_Bin16, 0xFF, 0x00, 'a'}}))},
        {"a list with fewer ids than its count", withItems(MSG_GetState, 5, {low, high})},
        {"a list with half an id", withItems(MSG_SubscribeState, 1, {low})},
        {"a message without a count", {static_cast<unsigned char>(MSG_GetState), 0x00}},
    };
}

void requireRefusal(Bench& bench, const Unreadable& one) {
    bench.module.inbox.clear();
    // Refused by the link, or answered by the application.
    if (!bench.module.sendMessage(one.message)) {
        bench.requireUsable(54, one.what);
        return;
    }
    const auto message = bench.module.nextMessage(bench.waits.message);
    bench.require(message.has_value(), 54, std::string("an answer to ") + one.what + "; came: nothing");
    bench.require(idOf(*message) == MSG_UnsupportedMessageResponse, 54,
                  std::string("UnsupportedMessageResponse in answer to ") + one.what +
                      "; came: " + nameOfMessage(idOf(*message)));
}

void unreadable(Bench& bench) {
    const ByteArray held = bench.heldItem(); // what is set is what is held, should it be carried out
    const ByteArray item = Bench::hasValue(held) ? held : ByteArray{0xF0, 0xFF, ENC_Uint8, 0x00};
    for (const Unreadable& one : unreadables(bench.setup.state, item)) requireRefusal(bench, one);
}

void unreadableHasNoEffect(Bench& bench) {
    const ByteArray held = bench.willChange();
    for (const Unreadable& one : unreadables(bench.setup.state, Bench::changed(held, 1))) {
        requireRefusal(bench, one);
        bench.module.settle(bench.waits.retry, bench.waits.message);
        bench.module.inbox.clear();
        bench.require(bench.heldItem() == held, 54, std::string("no effect of ") + one.what);
    }
}

void requireUnanswered(Bench& bench, const ByteArray& message) {
    bench.module.inbox.clear();
    const std::string name = nameOfMessage(idOf(message));
    bench.require(bench.module.sendMessage(message), 8, name + " is taken");
    bench.requireNoMessage(55, name);
}

void responsesUnanswered(Bench& bench) {
    const ByteArray item{0xF0, 0xFF, ENC_Nil};
    requireUnanswered(bench, withItems(MSG_GetStateResponse, 1, item));
    requireUnanswered(bench, withItems(MSG_SubscribeStateResponse, 1, {0xF0, 0xFF}));
    requireUnanswered(bench, emptyMessage(MSG_UnsupportedMessageResponse));
}

void notificationsUnanswered(Bench& bench) {
    for (const uint16_t id : {MSG_StateChanged, MSG_InputEvent}) requireUnanswered(bench, emptyMessage(id));
}

void ledUnanswered(Bench& bench) {
    bench.require(bench.module.sendMessage(emptyMessage(MSG_SetLedApi)), 8, "SetLedApi is taken");
    auto message = bench.module.nextMessage(bench.waits.quiet);
    while (message && Bench::isEvent(*message)) message = bench.module.nextMessage(bench.waits.quiet);
    bench.require(!message || idOf(*message) == MSG_UnsupportedMessageResponse, 55,
                  "nothing after SetLedApi, or UnsupportedMessageResponse");
    bench.requireNoMessage(55, "SetLedApi");
}

void tunnelAnswer(Bench& bench) {
    const ByteArray connection{0x00, 0x00, ENC_Uint16, 0xFD, 0xFF};
    const ByteArray close{0x02, 0x00, ENC_Uint8, closeTunnel};
    bench.require(bench.module.sendMessage(withItems(MSG_TcpTunneling, 2, joined({connection, close}))), 8,
                  "a tunnelling request is taken");
    const auto answer = bench.module.nextMessage(bench.waits.message);
    bench.require(answer.has_value(), 69, "an answer to a tunnelling request; came: nothing");
    if (idOf(*answer) == MSG_UnsupportedMessageResponse) return;
    const auto items = rawItems(*answer);
    bench.require(idOf(*answer) == MSG_TcpTunnelingResponse, 69,
                  "0x8009 in answer to a tunnelling request; came: " + nameOfMessage(idOf(*answer)));
    bench.require(!items.empty() && items[0] == connection, 69, "the connection, first in the answer, as it was sent");
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> messageChecks() {
    const Wires all = Wires::All;
    return {
        {"each-request", messageGroup, all, false, 49, "Sends each request of the vocabulary that changes nothing.", "One answer to each, with the right id.", eachRequest},
        {"get-in-order", messageGroup, all, false, 50, "Asks for four states, known and unknown.", "Four items in the order asked.", getInOrder},
        {"get-unknown", messageGroup, all, false, 50, "Asks for a state that nobody knows.", "Nil.", getUnknown},
        {"get-twice", messageGroup, all, false, 60, "Asks for a state twice in one message.", "Two items.", tagTwice},
        {"unknown-requests", messageGroup, all, false, 53, "Sends requests 0x000A, 0x001E and 0x003F.", "UnsupportedMessageResponse to each.", unknownRequests},
        {"unreadable", messageGroup, all, false, 54, "Sends items that are cut off, wrong encodings, wrong counts.", "UnsupportedMessageResponse to each, or nack.", unreadable},
        {"unreadable-no-effect", messageGroup, all, true, 54, "The same with another value for the state in front.", "The state keeps its value.", unreadableHasNoEffect},
        {"responses-unanswered", messageGroup, all, false, 55, "Sends three responses.", "No message.", responsesUnanswered},
        {"notifications-unanswered", messageGroup, all, false, 55, "Sends StateChanged and InputEvent without items.", "No message.", notificationsUnanswered},
        {"led-unanswered", messageGroup, all, false, 55, "Sends SetLedApi without items.", "No message, or UnsupportedMessageResponse.", ledUnanswered},
        {"tunnel-answer", messageGroup, all, false, 69, "Closes a tunnelled connection that is not there.", "0x8009 with the connection as it came, or UnsupportedMessageResponse.", tunnelAnswer},
    };
}
// clang-format on

} // namespace hostcheck
