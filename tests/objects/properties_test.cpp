// Properties of packets, frames, messages and the checksum over random input.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>

#include "support/Bytes.h"
#include "support/Properties.h"

namespace {

uint32_t naiveHasSop(const ByteArray& stream) {
    for (size_t i = 0; i + 1 < stream.size(); ++i) {
        if (stream[i] == 0xFF && stream[i + 1] == 0xFE) return static_cast<uint32_t>(i);
    }
    return 0xFFFFFFFFu;
}

uint32_t hasSop(const ByteArray& stream) {
    const ExactBytes block(stream);
    return hostLinkPacketHasSop(block.data(), block.size16());
}

/// Cuts a message into packets, checks what each must be, and puts it together again.
void cutAndReassemble(const ByteArray& message, int frameId, int maxPacketSize) {
    const HostLinkMsgFrame outgoing(message, frameId, maxPacketSize);
    const size_t room = static_cast<size_t>(maxPacketSize) - 10;
    RC_ASSERT(static_cast<size_t>(outgoing.packetCount()) == (message.size() + room - 1) / room);
    HostLinkFrame incoming;
    for (int i = 0; i < outgoing.packetCount(); ++i) {
        const bool last = i + 1 == outgoing.packetCount();
        const ByteArray packet = outgoing.serializePacket(i);
        RC_ASSERT(packet.size() <= static_cast<size_t>(maxPacketSize));
        RC_ASSERT(last || packet.size() == static_cast<size_t>(maxPacketSize));
        RC_ASSERT(HostLinkPacket::verify(packet));
        RC_ASSERT(hasSop(packet) == 0u);
        RC_ASSERT(HostLinkPacket::frameType(packet) == 3);
        RC_ASSERT(HostLinkPacket::frameId(packet) == frameId);
        RC_ASSERT(HostLinkPacket::isLast(packet) == last);
        RC_ASSERT(packet[6] == i);
        RC_ASSERT(incoming.addPacket(packet) == 0u);
        RC_ASSERT(incoming.complete() == last);
    }
    RC_ASSERT(incoming.data() == message);
}

/// The checksum bit by bit: no table, the words reversed by hand.
uint32_t bitwiseChecksum(const ByteArray& data) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t word = 0; word < data.size(); word += 4) {
        for (size_t k = 4; k-- > 0;) {
            for (int bit = 7; bit >= 0; --bit) {
                const bool feedback = ((crc >> 31) ^ ((data[word + k] >> bit) & 1u)) != 0;
                crc = (crc << 1) ^ (feedback ? 0x04C11DB7u : 0u);
            }
        }
    }
    return crc;
}

/// One item of a value message, as a test remembers it.
struct Item {
    Encoding encoding;
    uint16_t tag;
    uint64_t number;
    ByteArray binary;
};

void showValue(const Item& item, std::ostream& out) {
    out << "tag " << item.tag << " encoding " << int(item.encoding) << " number " << item.number << " bytes "
        << hex(item.binary);
}

rc::Gen<Item> anyItem() {
    const auto encoding = rc::gen::element(ENC_Nil, ENC_Bin16, ENC_Uint8, ENC_Uint16, ENC_Uint32, ENC_Uint64, ENC_Int8,
                                           ENC_Int16, ENC_Int32, ENC_Int64);
    return rc::gen::construct<Item>(
        encoding, rc::gen::arbitrary<uint16_t>(),
        rc::gen::map(rc::gen::container<std::vector<unsigned char>>(8, rc::gen::arbitrary<unsigned char>()),
                     [](const std::vector<unsigned char>& raw) {
                         uint64_t number = 0;
                         for (const unsigned char byte : raw) number = number << 8 | byte;
                         return number;
                     }),
        bytesUpTo(120));
}

void append(HostLinkValueMessage& message, const Item& item) {
    const uint64_t number = item.number;
    switch (item.encoding) {
    case ENC_Nil: message.addValueNil(item.tag); break;
    case ENC_Bin16: message.addValueBin16(item.tag, item.binary); break;
    case ENC_Uint8: message.addValueUint8(item.tag, static_cast<unsigned char>(number)); break;
    case ENC_Uint16: message.addValueUint16(item.tag, static_cast<unsigned short>(number)); break;
    case ENC_Uint32: message.addValueUint32(item.tag, static_cast<unsigned int>(number)); break;
    case ENC_Uint64: message.addValueUint64(item.tag, number); break;
    case ENC_Int8: message.addValueInt8(item.tag, static_cast<signed char>(number)); break;
    case ENC_Int16: message.addValueInt16(item.tag, static_cast<short>(number)); break;
    case ENC_Int32: message.addValueInt32(item.tag, static_cast<int>(number)); break;
    case ENC_Int64: message.addValueInt64(item.tag, static_cast<long>(number)); break;
    }
}

/// Whether item `index` reads back as it was appended.
bool readsBack(const HostLinkValueMessage& message, int index, const Item& item) {
    bool tagOk = false;
    bool encodingOk = false;
    bool ok = false;
    if (message.getTag(index, &tagOk) != item.tag || !tagOk) return false;
    if (message.getEnc(index, &encodingOk) != item.encoding || !encodingOk) return false;
    const uint64_t number = item.number;
    bool same = false;
    switch (item.encoding) {
    case ENC_Nil: same = message.getNil(index, &ok); break;
    case ENC_Bin16: same = message.getBin16(index, &ok) == item.binary; break;
    case ENC_Uint8: same = message.getUint8(index, &ok) == static_cast<unsigned char>(number); break;
    case ENC_Uint16: same = message.getUint16(index, &ok) == static_cast<unsigned short>(number); break;
    case ENC_Uint32: same = message.getUint32(index, &ok) == static_cast<unsigned int>(number); break;
    case ENC_Uint64: same = message.getUint64(index, &ok) == number; break;
    case ENC_Int8: same = message.getInt8(index, &ok) == static_cast<signed char>(number); break;
    case ENC_Int16: same = message.getInt16(index, &ok) == static_cast<short>(number); break;
    case ENC_Int32: same = message.getInt32(index, &ok) == static_cast<int>(number); break;
    case ENC_Int64: same = message.getInt64(index, &ok) == static_cast<long>(number); break;
    }
    return same && ok;
}

/// The length that an item takes in a message.
size_t itemLength(const Item& item) {
    switch (item.encoding) {
    case ENC_Nil: return 3;
    case ENC_Bin16: return 5 + item.binary.size();
    case ENC_Uint8:
    case ENC_Int8: return 4;
    case ENC_Uint16:
    case ENC_Int16: return 5;
    case ENC_Uint32:
    case ENC_Int32: return 7;
    case ENC_Uint64:
    case ENC_Int64: return 11;
    }
    return 0;
}

} // namespace

// ---- cutting and reassembling

TEST(Properties, AMessageComesBackFromPacketsOfEverySizeThereIs) {
    const ByteArray message = patternBytes(256); // 256 packets of the smallest size, the most that ids tell apart
    for (int maxPacketSize = 11; maxPacketSize <= 65535; ++maxPacketSize) {
        const HostLinkMsgFrame outgoing(message, 7, maxPacketSize);
        HostLinkFrame incoming;
        for (int i = 0; i < outgoing.packetCount(); ++i) ASSERT_EQ(incoming.addPacket(outgoing.serializePacket(i)), 0u);
        ASSERT_TRUE(incoming.complete()) << maxPacketSize;
        ASSERT_EQ(incoming.data(), message) << maxPacketSize;
    }
}

TEST(Properties, AnyMessageComesBackFromPacketsOfAnySize) {
    holds("cut and reassembled", [] {
        const int maxPacketSize = *rc::gen::oneOf(rc::gen::inRange(11, 300), rc::gen::inRange(11, 65536));
        const size_t room = static_cast<size_t>(maxPacketSize) - 10;
        // No more than 256 packets: the packet id has 8 bits.
        const ByteArray message = *bytesUpTo(std::min<size_t>(256 * room, 2000));
        cutAndReassemble(message, *rc::gen::inRange(0, 256), maxPacketSize);
    });
}

TEST(Properties, AMessageThatFillsItsPacketsComesBack) {
    holds("cut and reassembled at an exact multiple and one byte beside it", [] {
        const int maxPacketSize = *rc::gen::inRange(11, 200);
        const int packets = *rc::gen::inRange(1, 20);
        const int beside = *rc::gen::inRange(-1, 2);
        cutAndReassemble(patternBytes(static_cast<size_t>(packets * (maxPacketSize - 10) + beside)), 1, maxPacketSize);
    });
}

TEST(Properties, ACutPacketNeverVerifiesAndALongerOneDoes) {
    holds("every part of a packet is refused", [] {
        const ByteArray message = *rc::gen::nonEmpty(bytesUpTo(60));
        const ByteArray packet = HostLinkMsgFrame(message, 1, 100).serializePacket(0);
        const size_t cut = *rc::gen::inRange<size_t>(0, packet.size());
        RC_ASSERT(!HostLinkPacket::verify(slice(packet, 0, cut)));
        RC_ASSERT(HostLinkPacket::verify(packet + *bytesUpTo(20)));
    });
}

// ---- appending and reading back

TEST(Properties, AnyValuesReadBackAsTheyWereAppended) {
    holds("appended, serialised, parsed, read", [] {
        const auto items = *rc::gen::container<std::vector<Item>>(anyItem());
        HostLinkValueMessage built(MSG_SetState);
        size_t length = 3;
        size_t kept = 0;
        for (const Item& item : items) {
            append(built, item);
            if (kept == 255) continue;
            ++kept;
            length += itemLength(item);
        }
        const ByteArray message = built.serialize();
        RC_ASSERT(message.size() == length);
        const ExactBytes block(message);
        const HostLinkValueMessage parsed(block.copy());
        RC_ASSERT(parsed.isValid());
        RC_ASSERT(static_cast<size_t>(parsed.size()) == kept);
        for (size_t i = 0; i < kept; ++i) {
            RC_ASSERT(readsBack(built, static_cast<int>(i), items[i]));
            RC_ASSERT(readsBack(parsed, static_cast<int>(i), items[i]));
        }
        RC_ASSERT(parsed.serialize() == message);
    });
}

TEST(Properties, AnyListReadsBackAsItWasAppended) {
    holds("appended, serialised, parsed, read", [] {
        const auto items = *rc::gen::arbitrary<std::vector<uint16_t>>();
        HostLinkUInt16Message built(MSG_SubscribeStateResponse);
        for (const uint16_t item : items) built.addValue(item);
        const size_t kept = std::min<size_t>(items.size(), 255);
        const HostLinkUInt16Message parsed(built.serialize());
        RC_ASSERT(built.serialize().size() == 3 + 2 * kept);
        RC_ASSERT(static_cast<size_t>(parsed.size()) == kept);
        for (size_t i = 0; i < kept; ++i) {
            bool ok = false;
            RC_ASSERT(parsed.get(static_cast<int>(i), &ok) == items[i]);
            RC_ASSERT(ok);
            RC_ASSERT(parsed[static_cast<int>(i)] == items[i]);
        }
    });
}

TEST(Properties, RandomBytesAreReadWithoutLeavingThem) {
    // What is expected is only that a sanitizer stays silent and that no reader invents items.
    holds("any bytes behind a good header", [] {
        ByteArray message = *bytesNearMarks(80);
        message.insert(message.begin(), {0x01, 0x00, *rc::gen::arbitrary<unsigned char>()});
        const ExactBytes block(message);
        const HostLinkLL buffer{const_cast<uint8_t*>(block.data()), static_cast<uint32_t>(block.size()),
                                static_cast<uint32_t>(block.size())};
        HostLinkVariantIter iterator{};
        if (hostLinkVariantIterator(&buffer, &iterator) != 0) return;
        HostLinkVariant item{};
        unsigned read = 0;
        uint32_t code = 0;
        while ((code = hostLinkVariantIteratorGetNext(&iterator, &item)) == 0) ++read;
        RC_ASSERT(code == 1u || code == 20u || code == 21u);
        RC_ASSERT(read == iterator.index);
        RC_ASSERT(read <= message[2]);
        RC_ASSERT((code == 1u) == (read == message[2]));
        RC_ASSERT(iterator.position <= message.size());
    });
}

// ---- finding packets

TEST(Properties, APacketIsFoundBehindGarbage) {
    holds("the search passes garbage and stops at the first mark", [] {
        const ByteArray garbage = *bytesNearMarks(200);
        const ByteArray payload = *rc::gen::nonEmpty(bytesNearMarks(60));
        const ByteArray packet = HostLinkMsgFrame(payload, 1, 100).serializePacket(0);
        const ByteArray stream = garbage + packet;
        const uint32_t found = hasSop(stream);
        RC_ASSERT(found == naiveHasSop(stream));
        RC_ASSERT(found <= garbage.size());
        if (naiveHasSop(garbage) == 0xFFFFFFFFu) {
            RC_ASSERT(found == garbage.size());
            RC_ASSERT(HostLinkPacket::verify(slice(stream, found, stream.size())));
        }
    });
}

TEST(Properties, TheSearchAgreesWithALoop) {
    holds("any bytes, any start", [] {
        const ByteArray stream = *bytesNearMarks(600);
        const size_t start = *rc::gen::inRange<size_t>(0, stream.size() + 1);
        const ExactBytes block(stream);
        RC_ASSERT(hostLinkPacketHasSop(block.data() + start, static_cast<uint16_t>(stream.size() - start)) ==
                  naiveHasSop(slice(stream, start, stream.size())));
    });
}

// ---- checksum

TEST(Properties, TheChecksumAgreesWithOneMadeBitByBit) {
    std::vector<uint32_t> table(256);
    ASSERT_EQ(genDataTransferCrc32Table(table.data(), 256), 1u);
    holds("any words", [&table] {
        ByteArray data = *bytesUpTo(400);
        const auto length = static_cast<uint16_t>(data.size());
        data.resize((data.size() + 3) / 4 * 4, 0x5A); // the padding is part of the checksum
        const ExactBytes block(data);
        const uint32_t checksum = dataTransferCalcCrc32(table.data(), 256, block.data(), length);
        RC_ASSERT(checksum == bitwiseChecksum(data));
    });
}

TEST(Properties, TheChecksumTellsAnyChangedBit) {
    std::vector<uint32_t> table(256);
    ASSERT_EQ(genDataTransferCrc32Table(table.data(), 256), 1u);
    holds("one bit differs", [&table] {
        ByteArray data = *bytesUpTo(200);
        data.resize((data.size() + 4) / 4 * 4);
        const uint32_t before =
            dataTransferCalcCrc32(table.data(), 256, data.data(), static_cast<uint16_t>(data.size()));
        const size_t at = *rc::gen::inRange<size_t>(0, data.size());
        data[at] = static_cast<unsigned char>(data[at] ^ (1u << *rc::gen::inRange(0, 8)));
        RC_ASSERT(dataTransferCalcCrc32(table.data(), 256, data.data(), static_cast<uint16_t>(data.size())) != before);
    });
}
