#include "StraightLine.h"

#include <algorithm>
#include <cstring>

namespace bench {

// Not constants: a compiler that knows them copies less.
extern uint8_t straightItem[900];
extern char straightTitle[24];
uint8_t straightItem[900];
char straightTitle[24] = {'A', ' ', 't', 'r', 'a', 'c', 'k', ' ', 't', 'i', 't', 'l',
                          'e', ',', ' ', '2', '4', ' ', 'b', 'y', 't', 'e', 's', ' '};

namespace {

constexpr uint32_t header = 8;
constexpr uint32_t trailer = 2;
constexpr uint32_t readSize = 64;

template <typename T> void store(uint8_t* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

template <typename T> T load(const uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// Id, count, then for each item its tag, its encoding and its value; binary data has a 16-bit length in front.
uint32_t buildTypical(uint8_t* m) {
    store<uint16_t>(m, 0x0001);
    m[2] = 5;
    store<uint16_t>(m + 3, 0x0009), m[5] = 204, m[6] = 40;
    store<uint16_t>(m + 7, 0x0013), m[9] = 205, store<uint16_t>(m + 10, 320);
    store<uint16_t>(m + 12, 0x000A), m[14] = 206, store<uint32_t>(m + 15, 123456);
    store<uint16_t>(m + 19, 0x0018), m[21] = 210, store<int32_t>(m + 22, -7);
    store<uint16_t>(m + 26, 0x000C), m[28] = 197, store<uint16_t>(m + 29, 24);
    std::memcpy(m + 31, straightTitle, 24);
    return 55;
}

uint32_t buildItem900(uint8_t* m) {
    store<uint16_t>(m, 0x0007);
    m[2] = 1;
    store<uint16_t>(m + 3, 2), m[5] = 197, store<uint16_t>(m + 6, 900);
    std::memcpy(m + 8, straightItem, 900);
    return 908;
}

uint32_t readTypical(const uint8_t* m) {
    uint8_t copy[24];
    std::memcpy(copy, m + 31, 24);
    const uint32_t tags = load<uint16_t>(m + 3) + load<uint16_t>(m + 7) + load<uint16_t>(m + 12) +
                          load<uint16_t>(m + 19) + load<uint16_t>(m + 26);
    return tags + m[6] + m[10] + m[15] + m[22] + copy[23];
}

uint32_t readItem900(const uint8_t* m) {
    uint8_t copy[900];
    std::memcpy(copy, m + 8, 900);
    asm volatile("" : : "r"(copy) : "memory"); // the copy is part of the work
    return load<uint16_t>(m + 3) + copy[899];
}

} // namespace

uint32_t straightLineWire(Load load, uint16_t maxPacketSize, uint8_t* wire) {
    uint8_t message[1024];
    const uint32_t size = load == Load::Typical ? buildTypical(message) : buildItem900(message);
    const uint32_t room = maxPacketSize - (header + trailer);
    uint8_t* to = wire;
    uint8_t index = 0;
    for (uint32_t at = 0; at < size; at += room) {
        const uint32_t chunk = std::min(room, size - at);
        store<uint16_t>(to, 0xFEFF);
        store<uint16_t>(to + 2, static_cast<uint16_t>(header + chunk + trailer));
        to[4] = at + room >= size ? 0x23 : 0x03;
        to[5] = 5;
        to[6] = index++;
        to[7] = 0;
        std::memcpy(to + header, message + at, chunk);
        store<uint16_t>(to + header + chunk, 0);
        to += header + chunk + trailer;
    }
    return static_cast<uint32_t>(to - wire);
}

uint32_t straightLine(Load load, uint16_t maxPacketSize) {
    uint8_t wire[2048];
    uint8_t assembled[1024];
    const uint32_t wireSize = straightLineWire(load, maxPacketSize, wire);

    uint32_t size = 0;
    uint32_t start = 0;
    for (uint32_t end = 0; start < wireSize;) {
        end = std::min(end + readSize, wireSize);
        while (end - start >= header && bench::load<uint16_t>(wire + start) == 0xFEFF) {
            const uint32_t length = bench::load<uint16_t>(wire + start + 2);
            if (end - start < length) break;
            std::memcpy(assembled + size, wire + start + header, length - header - trailer);
            size += length - header - trailer;
            start += length;
        }
    }
    return load == Load::Typical ? readTypical(assembled) : readItem900(assembled);
}

} // namespace bench
