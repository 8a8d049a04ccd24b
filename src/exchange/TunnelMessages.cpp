#include "TunnelMessages.h"

#include <array>

#include "TransferChecksum.h"

namespace hostlink::exchange {

namespace {

// What stands before the data when the checksum is made, so that nothing of a message can change unseen.
enum : uint8_t { requestMark = 1, answerMark = 2 };

struct Summed {
    uint8_t mark;
    uint8_t what; // the command or the result
    uint16_t connection;
    uint32_t position;
    uint32_t size; // of the data, or the room
};

uint32_t checksumOf(const Summed& head, const uint8_t* data, size_t size) {
    std::array<uint8_t, 12> bytes{head.mark, head.what, static_cast<uint8_t>(head.connection),
                                  static_cast<uint8_t>(head.connection >> 8)};
    for (size_t i = 0; i < 4; ++i) {
        bytes[4 + i] = static_cast<uint8_t>(head.position >> (8 * i));
        bytes[8 + i] = static_cast<uint8_t>(head.size >> (8 * i));
    }
    TransferChecksum sum;
    sum.add(bytes.data(), bytes.size());
    sum.add(data, size);
    return sum.value();
}

uint32_t checksumOf(const TunnelRequest& request) {
    return checksumOf({requestMark, static_cast<uint8_t>(request.command), request.connection, request.position,
                       static_cast<uint32_t>(request.size)},
                      request.data, request.size);
}

uint32_t checksumOf(const TunnelAnswer& answer) {
    return checksumOf(
        {answerMark, static_cast<uint8_t>(answer.result), answer.connection, answer.position, answer.room}, nullptr, 0);
}

// Whether an item stands where it belongs.
bool is(const Item& item, uint16_t tag, Encoding encoding) {
    return item.tag == tag && item.encoding == encoding;
}

} // namespace

ByteArray writeTunnelRequest(const TunnelRequest& request) {
    return MessageWriter(MSG_TcpTunneling)
        .number(TCP_Connection, ENC_Uint16, request.connection)
        .number(TCP_Command, ENC_Uint8, static_cast<uint8_t>(request.command))
        .number(TCP_Command, ENC_Uint32, request.position)
        .binary(TCP_Data, request.data, request.size)
        .number(TCP_Command, ENC_Uint32, checksumOf(request))
        .message();
}

std::optional<TunnelRequest> readTunnelRequest(const ByteArray& message) {
    const auto items = itemsOf(message);
    if (!items || items->size() != 5) return std::nullopt;
    const std::vector<Item>& item = *items;
    const bool fits = is(item[0], TCP_Connection, ENC_Uint16) && is(item[1], TCP_Command, ENC_Uint8) &&
                      is(item[2], TCP_Command, ENC_Uint32) && is(item[3], TCP_Data, ENC_Bin16) &&
                      is(item[4], TCP_Command, ENC_Uint32);
    if (!fits) return std::nullopt;
    const TunnelRequest request{static_cast<uint16_t>(item[0].number), static_cast<TunnelCommand>(item[1].number),
                                static_cast<uint32_t>(item[2].number), item[3].data, item[3].size};
    if (item[4].number != checksumOf(request)) return std::nullopt;
    return request;
}

ByteArray writeTunnelAnswer(const TunnelAnswer& answer) {
    return MessageWriter(MSG_TcpTunnelingResponse)
        .number(TCP_Connection, ENC_Uint16, answer.connection)
        .number(TCP_Data, ENC_Uint8, static_cast<uint8_t>(answer.result))
        .number(TCP_Command, ENC_Uint32, answer.position)
        .number(TCP_Command, ENC_Uint16, answer.room)
        .number(TCP_Command, ENC_Uint32, checksumOf(answer))
        .message();
}

std::optional<TunnelAnswer> readTunnelAnswer(const ByteArray& message) {
    const auto items = itemsOf(message);
    if (!items || items->size() != 5) return std::nullopt;
    const std::vector<Item>& item = *items;
    const bool fits = is(item[0], TCP_Connection, ENC_Uint16) && is(item[1], TCP_Data, ENC_Uint8) &&
                      is(item[2], TCP_Command, ENC_Uint32) && is(item[3], TCP_Command, ENC_Uint16) &&
                      is(item[4], TCP_Command, ENC_Uint32);
    if (!fits) return std::nullopt;
    const TunnelAnswer answer{static_cast<uint16_t>(item[0].number), static_cast<TcpTunnelingResult>(item[1].number),
                              static_cast<uint32_t>(item[2].number), static_cast<uint16_t>(item[3].number)};
    if (item[4].number != checksumOf(answer)) return std::nullopt;
    return answer;
}

std::optional<uint16_t> connectionOf(const ByteArray& message) {
    const auto items = itemsOf(message);
    if (!items || items->empty() || !is(items->front(), TCP_Connection, ENC_Uint16)) return std::nullopt;
    return static_cast<uint16_t>(items->front().number);
}

} // namespace hostlink::exchange
