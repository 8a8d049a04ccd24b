// Packets and messages, by the function core.
#include <cstdint>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPrinter.h>

#include "Conversions.h"
#include "Parts.h"

namespace binding {

namespace {

constexpr size_t longestMessage = 65535;
constexpr size_t longestChecksum = 65532;

// What the core answers, as the package's exception.
void check(uint32_t code, const char* what) {
    if (code == HOSTLINK_SUCCESS) return;
    const py::object error = py::module_::import("hostlink.errors").attr("BadBytes")(code, what);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
    throw py::error_already_set();
}

// A buffer of the core over bytes that are read.
HostLinkLL reading(ByteArray& bytes) {
    return {bytes.data(), static_cast<uint32_t>(bytes.size()), static_cast<uint32_t>(bytes.size())};
}

void checkLength(const ByteArray& bytes) {
    if (bytes.size() > longestMessage) check(HOSTLINK_NO_ROOM, "a message of more than 65535 bytes");
}

uint32_t append(HostLinkLL& message, uint16_t tag, const hostlink::Value& value) {
    if (const auto* const binary = std::get_if<ByteArray>(&value.alternatives())) {
        if (binary->size() > longestMessage) return HOSTLINK_NO_ROOM;
        return hostLinkMessageVariantAddBin16(&message, tag, binary->data(), static_cast<uint16_t>(binary->size()));
    }
    ByteArray bytes;
    if (value.isNumber()) {
        const uint64_t bits = std::visit(
            [](const auto& held) -> uint64_t {
                if constexpr (std::is_integral_v<std::decay_t<decltype(held)>>) return static_cast<uint64_t>(held);
                return 0;
            },
            value.alternatives());
        for (unsigned at = 0; at < 64; at += 8) bytes.push_back(static_cast<unsigned char>(bits >> at));
    }
    return hostLinkMessageVariantAddValue(&message, tag, bytes.data(), value.encoding());
}

py::bytes encodeValues(uint16_t id, const std::vector<std::pair<uint16_t, py::tuple>>& items) {
    ByteArray bytes(longestMessage);
    HostLinkLL message{bytes.data(), static_cast<uint32_t>(bytes.size()), 0};
    check(hostLinkMessageVariantInit(&message, id), "the message's id");
    for (const auto& [tag, pair] : items) check(append(message, tag, valueOf(pair)), "an item");
    bytes.resize(message.used);
    return bytesOf(bytes);
}

py::bytes encodeList(uint16_t id, const std::vector<uint16_t>& numbers) {
    ByteArray bytes(longestMessage);
    HostLinkLL message{bytes.data(), static_cast<uint32_t>(bytes.size()), 0};
    check(hostLinkMessageUint16Init(&message, id), "the message's id");
    for (const uint16_t number : numbers) check(hostLinkMessageUint16AddItem(&message, number), "an item");
    bytes.resize(message.used);
    return bytesOf(bytes);
}

hostlink::Value valueIn(const HostLinkVariant& item) {
    const auto encoding = static_cast<Encoding>(item.encoding);
    if (encoding == ENC_Nil) return {};
    if (encoding == ENC_Bin16)
        return ByteArray(item.value.bin16.first, item.value.bin16.first + item.value.bin16.firstLength);
    uint64_t bits = 0;
    for (size_t i = 0; i < sizeof bits; ++i) bits |= static_cast<uint64_t>(item.value.bytes[i]) << (8 * i);
    switch (encoding) {
    case ENC_Uint8: return {std::in_place_type<uint8_t>, static_cast<uint8_t>(bits)};
    case ENC_Uint16: return {std::in_place_type<uint16_t>, static_cast<uint16_t>(bits)};
    case ENC_Uint32: return {std::in_place_type<uint32_t>, static_cast<uint32_t>(bits)};
    case ENC_Int8: return {std::in_place_type<int8_t>, static_cast<int8_t>(bits)};
    case ENC_Int16: return {std::in_place_type<int16_t>, static_cast<int16_t>(bits)};
    case ENC_Int32: return {std::in_place_type<int32_t>, static_cast<int32_t>(bits)};
    case ENC_Int64: return {std::in_place_type<int64_t>, static_cast<int64_t>(bits)};
    default: return {std::in_place_type<uint64_t>, bits};
    }
}

py::list itemsOf(const HostLinkLL& message) {
    HostLinkVariantIter iterator{};
    check(hostLinkVariantIterator(&message, &iterator), "the message");
    py::list items;
    for (unsigned left = hostLinkMessageVariantItemsCount(&message); left > 0; --left) {
        HostLinkVariant item{};
        check(hostLinkVariantIteratorGetNext(&iterator, &item), "an item");
        items.append(py::make_tuple(item.tag, pairOf(valueIn(item))));
    }
    return items;
}

bool isList(uint16_t id) {
    uint8_t header[3];
    HostLinkLL message{header, sizeof header, 0};
    return hostLinkMessageUint16Init(&message, id) == HOSTLINK_SUCCESS;
}

// The id, whether the body is a list, and the items or numbers.
py::tuple decode(const py::bytes& given) {
    ByteArray bytes = byteArrayOf(given);
    checkLength(bytes);
    const HostLinkLL message = reading(bytes);
    const uint16_t id = hostLinkMessageId(bytes.data(), static_cast<uint16_t>(bytes.size()));
    uint8_t count = 0;
    const uint32_t code = hostLinkMessageUint16Verify(&message, &count);
    if (code == HOSTLINK_MESSAGE_ID_WRONG_KIND) return py::make_tuple(id, false, itemsOf(message));
    check(code, "the message");
    py::list numbers;
    for (unsigned i = 0; i < count; ++i) numbers.append(hostLinkMessageUint16Get(&message, static_cast<uint8_t>(i)));
    return py::make_tuple(id, true, numbers);
}

py::list packets(const py::bytes& given, uint8_t frameId, uint16_t maxPacketSize, bool ackRequest) {
    const ByteArray message = byteArrayOf(given);
    checkLength(message);
    const auto size = static_cast<uint32_t>(message.size());
    py::list made;
    for (uint32_t index = 0; index < hostLinkFramePacketCount(size, maxPacketSize); ++index) {
        ByteArray packet(longestMessage);
        uint16_t length = 0;
        const int32_t code = hostLinkFrameMsgSerialize(packet.data(), static_cast<uint16_t>(packet.size()), &length,
                                                       frameId, message.data(), size, maxPacketSize,
                                                       static_cast<uint8_t>(index), ackRequest ? 1 : 0);
        if (code != 0 || index > UINT8_MAX) check(HOSTLINK_NO_ROOM, "a message of more than 256 packets");
        packet.resize(length);
        made.append(bytesOf(packet));
    }
    return made;
}

// Frame type, frame id, packet id, flags, payload.
py::tuple readPacket(const py::bytes& given) {
    const ByteArray packet = byteArrayOf(given);
    checkLength(packet);
    check(hostLinkPacketVerify(packet.data(), static_cast<uint16_t>(packet.size())), "the packet");
    uint16_t size = 0;
    const uint8_t* const payload = hostLinkPacketGetData(packet.data(), &size);
    return py::make_tuple(hostLinkPacketGetFrameType(packet.data()), hostLinkPacketGetFrameId(packet.data()),
                          hostLinkPacketGetPacketId(packet.data()), hostLinkPacketGetFlags(packet.data()),
                          bytesOf(ByteArray(payload, payload + size)));
}

py::bytes responsePacket(uint8_t frameId, int acknowledgement) {
    ByteArray packet(HOSTLINK_RSP_FRAME_SIZE);
    hostLinkFrameRspSerialize(packet.data(), frameId, static_cast<AcknowledgeType>(acknowledgement));
    return bytesOf(packet);
}

py::bytes resetPacket(uint8_t frameId) {
    ByteArray packet(HOSTLINK_RST_FRAME_SIZE);
    hostLinkFrameRstSerialize(packet.data(), frameId);
    return bytesOf(packet);
}

py::bytes irqPacket(uint8_t frameId, uint32_t value) {
    ByteArray packet(HOSTLINK_IRQ_FRAME_SIZE);
    hostLinkFrameIrqSerialize(packet.data(), frameId, value);
    return bytesOf(packet);
}

uint32_t checksum(const py::bytes& data) {
    ByteArray block = byteArrayOf(data);
    while (block.size() % 4 != 0) block.push_back(0);
    if (block.size() > longestChecksum) check(HOSTLINK_NO_ROOM, "a chunk of more than 65532 bytes");
    std::vector<uint32_t> table(dataTransferCrc32TableSize());
    genDataTransferCrc32Table(table.data(), static_cast<uint16_t>(table.size()));
    return dataTransferCalcCrc32(table.data(), static_cast<uint16_t>(table.size()), block.data(),
                                 static_cast<uint16_t>(block.size()));
}

} // namespace

void defineCodec(py::module_& module) {
    module.def("encode_values", &encodeValues, py::arg("id"), py::arg("items"));
    module.def("encode_list", &encodeList, py::arg("id"), py::arg("numbers"));
    module.def("decode", &decode, py::arg("message"));
    module.def("packets", &packets, py::arg("message"), py::arg("frame_id"), py::arg("max_packet_size"),
               py::arg("ack_request"));
    module.def("read_packet", &readPacket, py::arg("packet"));
    module.def("response_packet", &responsePacket, py::arg("frame_id"), py::arg("acknowledgement"));
    module.def("reset_packet", &resetPacket, py::arg("frame_id"));
    module.def("irq_packet", &irqPacket, py::arg("frame_id"), py::arg("value"));
    module.def("checksum", &checksum, py::arg("data"));
    module.def(
        "print_packet", [](const py::bytes& packet) { return textOf(HostLinkPrinter::print(byteArrayOf(packet))); },
        py::arg("packet"));
    module.def(
        "print_message",
        [](const py::bytes& message) { return textOf(HostLinkPrinter::printHostLinkMessage(byteArrayOf(message))); },
        py::arg("message"));
    module.def(
        "print_value",
        [](uint16_t state, const py::tuple& value) { return textOf(valueOf(value).print(hostlink::StateId(state))); },
        py::arg("state"), py::arg("value"));
    module.def(
        "state_number",
        [](const py::handle& state) {
            const hostlink::StateId id = stateOf(state);
            if (!id.isValid()) raise({hostlink::Outcome::BadArgument, id.problem()});
            return id.number();
        },
        py::arg("state"));
    module.def(
        "value_named",
        [](uint16_t state, const std::string& name) {
            const hostlink::Result<hostlink::Value> value = hostlink::Value::named(hostlink::StateId(state), name);
            raiseIfFailed(value);
            return pairOf(*value);
        },
        py::arg("state"), py::arg("name"));
    module.def("is_list", &isList, py::arg("id"));
    module.def(
        "encoding_for",
        [](const py::int_& number, int encoding) {
            return static_cast<int>(valueOf(py::make_tuple(encoding, number)).encoding());
        },
        py::arg("number"), py::arg("encoding"));
}

} // namespace binding
