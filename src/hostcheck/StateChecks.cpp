#include "Bench.h"
#include "Check.h"
#include "Packets.h"

namespace hostcheck {

namespace {

constexpr char stateGroup[] = "states";
constexpr long idBytes = 2;

using Items = std::vector<ByteArray>;

Items set(Bench& bench, const Items& items, unsigned rule) {
    return rawItems(bench.ask(Bench::setMessage(items), MSG_SetStateResponse, rule));
}

void subscribe(Bench& bench, const std::vector<uint16_t>& ids) {
    bench.ask(listMessage(MSG_SubscribeState, ids), MSG_SubscribeStateResponse, 56);
}

// The items for the state in all StateChanged messages until it is quiet.
Items told(Bench& bench) {
    Items items;
    bench.module.settle(bench.waits.quiet, bench.waits.message);
    for (const ByteArray& message : bench.module.inbox) {
        if (idOf(message) != MSG_StateChanged) continue;
        for (const ByteArray& item : rawItems(message)) items.push_back(item);
    }
    bench.module.inbox.clear();
    return items;
}

std::string listed(const Items& items) {
    std::string text;
    for (const ByteArray& item : items) text += (text.empty() ? "" : "; ") + hex(item);
    return text.empty() ? "nothing" : text;
}

void setSame(Bench& bench) {
    const ByteArray held = bench.heldItem();
    if (!Bench::hasValue(held)) throw Skip{"the host holds no value in the state; see --state"};
    const Items answer = set(bench, {held}, 51);
    bench.require(answer == Items{held}, 51, "the value that is held, " + hex(held) + "; came: " + listed(answer));
}

void setOther(Bench& bench) {
    const ByteArray held = bench.willChange();
    const Items answer = set(bench, {Bench::changed(held, 1)}, 51);
    const ByteArray now = bench.heldItem();
    bench.require(answer == Items{now}, 51, "the value now held, " + hex(now) + "; came: " + listed(answer));
    if (now == held) bench.notes.emplace_back("the host refused " + hex(Bench::changed(held, 1)));
}

void setOtherEncoding(Bench& bench) {
    const ByteArray held = bench.willChange();
    ByteArray text(held.begin(), held.begin() + idBytes);
    const ByteArray value{ENC_Bin16, 0x02, 0x00, 'o', 'k'};
    text.insert(text.end(), value.begin(), value.end());
    ByteArray number(held.begin(), held.begin() + idBytes);
    const ByteArray one{ENC_Uint64, 0x01, 0, 0, 0, 0, 0, 0, 0};
    number.insert(number.end(), one.begin(), one.end());
    for (const ByteArray& item : {text, number}) {
        const Items answer = set(bench, {item}, 51);
        const ByteArray now = bench.heldItem();
        bench.require(answer == Items{now}, 51, "the value now held, " + hex(now) + "; came: " + listed(answer));
    }
}

void setTwice(Bench& bench) {
    const ByteArray held = bench.willChange();
    const ByteArray other = Bench::changed(held, 2);
    const Items answer = set(bench, {Bench::changed(held, 1), other}, 60);
    const ByteArray now = bench.heldItem();
    bench.require(answer.size() == 2, 60, "two items in answer to two; came: " + listed(answer));
    bench.require(now == other || now == held, 60, "the last of two values is held; held is " + hex(now));
}

void subscriptionAnswer(Bench& bench) {
    const std::vector<uint16_t> ids{bench.setup.state, unknownState, bench.setup.state};
    for (const auto& [request, response] : {std::pair{MSG_SubscribeState, MSG_SubscribeStateResponse},
                                            std::pair{MSG_UnsubscribeState, MSG_UnsubscribeStateResponse}}) {
        const ByteArray answer = bench.ask(listMessage(request, ids), response, 56);
        bench.require(listItems(answer) == ids, 56, "the same ids in the same order; came: " + hex(answer));
    }
}

// Skips a host that refuses the values.
void requireChanges(const ByteArray& answer, const ByteArray& wanted) {
    if (answer != wanted) throw Skip{"the host refuses " + hex(wanted) + "; see --state"};
}

void eachChangeOnce(Bench& bench) {
    const ByteArray held = bench.willChange();
    subscribe(bench, {bench.setup.state, bench.setup.state});
    subscribe(bench, {bench.setup.state});
    Items wanted;
    for (const unsigned by : {1U, 2U, 3U, 1U}) wanted.push_back(Bench::changed(held, by));
    for (const ByteArray& item : wanted) {
        bench.require(bench.module.sendMessage(Bench::setMessage({item})), 8, "SetState is taken");
        bench.module.listen(bench.waits.retry);
    }
    const Items came = told(bench);
    requireChanges(bench.heldItem(), wanted.back());
    bench.require(came == wanted, 57, "each change told once, in order: " + listed(wanted) + "; came: " + listed(came));
}

void ownChanges(Bench& bench) {
    const ByteArray held = bench.willChange();
    subscribe(bench, {bench.setup.state});
    const ByteArray other = Bench::changed(held, 1);
    bench.require(bench.module.sendMessage(Bench::setMessage({other})), 8, "SetState is taken");
    const Items came = told(bench);
    requireChanges(bench.heldItem(), other);
    bench.require(came == Items{other}, 58, "the module's own change is told; came: " + listed(came));
}

void equalValue(Bench& bench) {
    const ByteArray held = bench.heldItem();
    if (!Bench::hasValue(held)) throw Skip{"the host holds no value in the state; see --state"};
    subscribe(bench, {bench.setup.state});
    bench.require(bench.module.sendMessage(Bench::setMessage({held})), 8, "SetState is taken");
    const Items came = told(bench);
    bench.require(came.empty(), 58, "nothing told when the value that is held is set; came: " + listed(came));
}

void unsubscribed(Bench& bench) {
    const ByteArray held = bench.willChange();
    bench.require(bench.module.sendMessage(Bench::setMessage({Bench::changed(held, 1)})), 8, "SetState is taken");
    bench.require(told(bench).empty(), 59, "nothing told of a state that was never subscribed to");
    subscribe(bench, {bench.setup.state, bench.setup.state});
    bench.ask(listMessage(MSG_UnsubscribeState, {bench.setup.state}), MSG_UnsubscribeStateResponse, 56);
    bench.require(bench.module.sendMessage(Bench::setMessage({Bench::changed(held, 2)})), 8, "SetState is taken");
    bench.require(told(bench).empty(), 59, "nothing told of a state that was unsubscribed");
}

void answerFirst(Bench& bench) {
    const ByteArray held = bench.willChange();
    subscribe(bench, {bench.setup.state});
    bench.require(bench.module.sendMessage(Bench::setMessage({Bench::changed(held, 1)})), 8, "SetState is taken");
    while (const auto message = bench.module.nextMessage(bench.waits.message)) {
        bench.require(idOf(*message) != MSG_StateChanged, 62, "SetStateResponse before StateChanged");
        if (idOf(*message) == MSG_SetStateResponse) return;
    }
    throw Failure{49, "SetState is answered; came: nothing"};
}

} // namespace

// The rows of a table stay as they are.
// clang-format off
std::vector<Check> stateChecks() {
    const Wires all = Wires::All;
    return {
        {"set-same", stateGroup, all, false, 51, "Sets the value that is held.", "It stands in the answer.", setSame},
        {"set-other", stateGroup, all, true, 51, "Sets another value.", "The answer and GetState tell the same.", setOther},
        {"set-other-encoding", stateGroup, all, true, 51, "Sets the state to a text and to a Uint64.", "The answer and GetState tell the same.", setOtherEncoding},
        {"set-twice", stateGroup, all, true, 60, "Sets two values in one message.", "Two items; the last value is held.", setTwice},
        {"subscription-answer", stateGroup, all, false, 56, "Subscribes and unsubscribes three ids.", "The same ids in the answers.", subscriptionAnswer},
        {"each-change-once", stateGroup, all, true, 57, "Subscribes three times and changes the state four times.", "Four changes told, in order.", eachChangeOnce},
        {"own-changes", stateGroup, all, true, 58, "Subscribes and changes the state.", "The change is told.", ownChanges},
        {"equal-value", stateGroup, all, false, 58, "Subscribes and sets the value that is held.", "Nothing is told.", equalValue},
        {"unsubscribed", stateGroup, all, true, 59, "Changes the state before a subscription and after its end.", "Nothing is told.", unsubscribed},
        {"answer-first", stateGroup, all, true, 62, "Subscribes and changes the state.", "SetStateResponse comes before StateChanged.", answerFirst},
    };
}
// clang-format on

} // namespace hostcheck
