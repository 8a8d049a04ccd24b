#include "HostApplication.h"

#include <utility>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkVocabularyNumbers.h>
#include <items/Items.h>

namespace hostsim {

namespace {

using hostlink::Item;
using hostlink::readItems;
using hostlink::readList;

// What a message has no room for is left out, the last first.
ByteArray messageOf(MessageId id, std::vector<Item> items) {
    for (;;) {
        if (auto message = hostlink::writeItems(id, items)) return *message;
        items.pop_back();
    }
}

ByteArray listOf(MessageId id, const std::vector<uint16_t>& numbers) {
    return *hostlink::writeList(id, numbers); // which were in one message already
}

std::vector<ByteArray> unsupported() {
    return {messageOf(MSG_UnsupportedMessageResponse, {})};
}

const Item* find(const std::vector<Item>& items, uint16_t tag) {
    for (const Item& item : items) {
        if (item.tag == tag) return &item;
    }
    return nullptr;
}

std::vector<ByteArray> tunnelAnswer(std::vector<Item> items, TcpTunnelingResult result) {
    items.push_back({TCP_Data, result});
    return {messageOf(MSG_TcpTunnelingResponse, items)};
}

std::vector<ByteArray> tunnel(const ByteArray& message) {
    const auto items = readItems(message);
    if (!items) return unsupported();
    const Item* connection = find(*items, TCP_Connection);
    if (connection == nullptr) return tunnelAnswer({}, TCP_InvalidConnection);
    const Item* data = find(*items, TCP_Data);
    const bool hasData = data != nullptr && data->value.isBinary();
    if (!hasData && find(*items, TCP_Command) == nullptr) return tunnelAnswer({*connection}, TCP_InvalidMessage);

    std::vector<ByteArray> answers = tunnelAnswer({*connection}, TCP_Success);
    if (hasData) answers.push_back(messageOf(MSG_TcpTunneling, {*connection, *data}));
    return answers;
}

ByteArray buttonEvent(ButtonState event, uint16_t button) {
    return messageOf(MSG_InputEvent, {{event, {std::in_place_type<uint16_t>, button}}});
}

} // namespace

HostApplication::HostApplication(HostStates states) : held(std::move(states)) {}

std::vector<ByteArray> HostApplication::handle(const ByteArray& message) {
    for (HostService* service : services)
        if (const auto answers = service->handle(message)) return *answers;
    const MessageId id = HostLinkMessage::messageId(message);
    if (HostLinkMessage::isResponseMessageId(id)) return {};
    switch (id) {
    case MSG_SetState: return setStates(message);
    case MSG_GetState: return getStates(message);
    case MSG_SubscribeState: return subscribe(message);
    case MSG_UnsubscribeState: return unsubscribe(message);
    case MSG_DataTransfer: return {sink.take(message)};
    case MSG_TcpTunneling: return tunnel(message);
    case MSG_StateChanged:
    case MSG_InputEvent: return {}; // they tell and ask nothing
    default: return unsupported();
    }
}

std::vector<ByteArray> HostApplication::setStates(const ByteArray& message) {
    const auto items = readItems(message);
    if (!items) return unsupported();
    std::vector<Item> changed;
    for (const Item& item : *items) {
        if (held.set(item.tag, item.value) && held.isSubscribed(item.tag)) changed.push_back(item);
    }

    std::vector<Item> nowHeld;
    for (const Item& item : *items) nowHeld.push_back({item.tag, held.get(item.tag)});
    std::vector<ByteArray> answers{messageOf(MSG_SetStateResponse, nowHeld)};
    if (!changed.empty()) answers.push_back(messageOf(MSG_StateChanged, changed));
    return answers;
}

std::vector<ByteArray> HostApplication::getStates(const ByteArray& message) const {
    const auto ids = readList(message);
    if (!ids) return unsupported();
    std::vector<Item> values;
    for (const uint16_t id : *ids) values.push_back({id, held.get(id)});
    return {messageOf(MSG_GetStateResponse, values)};
}

std::vector<ByteArray> HostApplication::subscribe(const ByteArray& message) {
    const auto ids = readList(message);
    if (!ids) return unsupported();
    for (const uint16_t id : *ids) held.subscribe(id);
    return {listOf(MSG_SubscribeStateResponse, *ids)};
}

std::vector<ByteArray> HostApplication::unsubscribe(const ByteArray& message) {
    const auto ids = readList(message);
    if (!ids) return unsupported();
    for (const uint16_t id : *ids) held.unsubscribe(id);
    return {listOf(MSG_UnsubscribeStateResponse, *ids)};
}

std::vector<ByteArray> HostApplication::setState(uint16_t id, const hostlink::Value& value) {
    if (!held.set(id, value) || !held.isSubscribed(id)) return {};
    return {messageOf(MSG_StateChanged, {{id, value}})};
}

std::vector<ByteArray> HostApplication::press(uint16_t button) {
    return {buttonEvent(BUT_KeyPressed, button), buttonEvent(BUT_KeyReleased, button)};
}

std::vector<ByteArray> HostApplication::burst(unsigned count) {
    std::vector<ByteArray> events;
    for (unsigned i = 0; i < count; ++i) {
        events.push_back(messageOf(MSG_InputEvent, {{BUT_KeyRepeated, {std::in_place_type<uint32_t>, i}}}));
    }
    return events;
}

} // namespace hostsim
