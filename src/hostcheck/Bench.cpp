#include "Bench.h"

#include <algorithm>

#include "Packets.h"

namespace hostcheck {

namespace {

constexpr size_t encodingAt = 2;
constexpr size_t valueAt = 3;
constexpr size_t textAt = 5;

} // namespace

Bench::Bench(Link& hostLink, SerialWire* serialWire, BusLink* busPackets, BusWire* hostBus, const Setup& theSetup)
    : module(hostLink, theSetup.waits),
      serial(serialWire),
      busLink(busPackets),
      bus(hostBus),
      setup(theSetup),
      waits(theSetup.waits),
      random(theSetup.seed),
      link(hostLink) {}

void Bench::require(bool isTrue, unsigned rule, const std::string& expected) {
    if (!isTrue) throw Failure{rule, expected};
}

void Bench::requireAnswer(Answer answer, AcknowledgeType expected, unsigned rule, const std::string& to) {
    if (answer == expected) return;
    throw Failure{rule, nameOf(expected) + " in answer to " + to +
                            "; came: " + (answer ? nameOf(*answer) : std::string("nothing"))};
}

void Bench::requireTaken(const ByteArray& packet, unsigned rule, const std::string& what) {
    Answer answer = module.send(packet).answer;
    for (unsigned attempt = 1; attempt < Module::attempts && answer == AcknowledgeType::Nack; ++attempt) {
        module.listen(waits.retry);
        answer = module.send(packet).answer;
    }
    requireAnswer(answer, AcknowledgeType::Ack, rule, what);
}

ByteArray Bench::question() const {
    return listMessage(MSG_GetState, {setup.state});
}

ByteArray Bench::questionPacket() {
    return messagePacket(module.nextId(), 0, true, question());
}

ByteArray Bench::longQuestion(size_t ids) const {
    return listMessage(MSG_GetState, std::vector<uint16_t>(ids, setup.state));
}

ByteArray Bench::ask(const ByteArray& message, uint16_t answerId, unsigned rule, uint16_t packetSize) {
    require(module.sendMessage(message, packetSize), rule, nameOfMessage(idOf(message)) + " is taken");
    return expectMessage(answerId, rule);
}

bool Bench::isEvent(const ByteArray& message) {
    return idOf(message) == MSG_InputEvent;
}

ByteArray Bench::expectMessage(uint16_t id, unsigned rule) {
    while (auto message = module.nextMessage(waits.message)) {
        if (isEvent(*message) && id != MSG_InputEvent) continue;
        require(idOf(*message) == id, rule, nameOfMessage(id) + "; came: " + nameOfMessage(idOf(*message)));
        return *message;
    }
    throw Failure{rule, nameOfMessage(id) + " comes; came: nothing"};
}

unsigned Bench::countMessages(uint16_t id) {
    unsigned count = 0;
    const Time end = module.now() + waits.message;
    while (auto message = module.nextMessage(std::min(waits.quiet, end - module.now()))) {
        if (idOf(*message) == id) ++count;
    }
    return count;
}

void Bench::requireNoMessage(unsigned rule, const std::string& after) {
    module.listen(waits.quiet);
    for (const ByteArray& message : module.inbox) {
        if (!isEvent(message))
            throw Failure{rule, "no message after " + after + "; came: " + nameOfMessage(idOf(message))};
    }
}

void Bench::requireUsable(unsigned rule, const std::string& after) {
    module.plan({});
    module.inbox.clear();
    requireTaken(questionPacket(), rule, "a good packet after " + after);
    while (auto message = module.nextMessage(waits.recovery)) {
        if (idOf(*message) == MSG_GetStateResponse) return;
    }
    throw Failure{rule, "a question after " + after + " is answered; came: nothing"};
}

bool Bench::becomesUsable(Time within) {
    module.plan({});
    const Time end = module.now() + within;
    while (module.now() < end) {
        module.inbox.clear();
        module.sendMessage(question());
        const Time stop = std::min(module.now() + waits.message, end);
        while (module.now() < stop) {
            const auto message = module.nextMessage(stop - module.now());
            if (message && idOf(*message) == MSG_GetStateResponse) return true;
        }
    }
    return false;
}

ByteArray Bench::heldItem() {
    const auto items = rawItems(ask(question(), MSG_GetStateResponse, 50));
    require(items.size() == 1, 50, "one item for one state");
    return items.front();
}

bool Bench::hasValue(const ByteArray& item) {
    return item.size() > encodingAt && item[encodingAt] != ENC_Nil;
}

ByteArray Bench::changed(const ByteArray& item, unsigned by) {
    ByteArray other = item;
    const bool isText = item[encodingAt] == ENC_Bin16;
    const size_t at = isText ? textAt : valueAt;
    if (other.size() <= at) {
        const unsigned char one[] = {1, 0, 'a'};
        other.resize(valueAt);
        other.insert(other.end(), std::begin(one), std::end(one));
    }
    other[at] = static_cast<unsigned char>(other[at] ^ by);
    return other;
}

ByteArray Bench::setMessage(const std::vector<ByteArray>& items) {
    ByteArray message{MSG_SetState & 0xFF, MSG_SetState >> 8, static_cast<unsigned char>(items.size())};
    const ByteArray all = joined(items);
    message.insert(message.end(), all.begin(), all.end());
    return message;
}

ByteArray Bench::willChange() {
    ByteArray item = heldItem();
    if (!hasValue(item))
        throw Skip{"the host holds no value in state " + std::to_string(setup.state) + "; see --state"};
    before.emplace(setup.state, item);
    return item;
}

bool Bench::putBack() {
    bool all = true;
    for (const auto& [id, item] : before) {
        module.inbox.clear();
        bool held = false;
        if (module.sendMessage(setMessage({item}))) {
            while (auto message = module.nextMessage(waits.message)) {
                if (idOf(*message) != MSG_SetStateResponse) continue;
                held = rawItems(*message) == std::vector<ByteArray>{item};
                break;
            }
        }
        all = all && held;
    }
    if (all) before.clear();
    return all;
}

} // namespace hostcheck
