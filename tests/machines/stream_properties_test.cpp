// Properties of the UART reader over random input: garbage before, between and inside packets.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMsgFrame.h>
#include <hostlink/HostLinkPacket.h>
#include <hostlink/machines/UartStream.h>

#include "support/Bytes.h"
#include "support/Packets.h"
#include "support/Properties.h"

namespace {

/// The packets that come out when the stream goes in up to each of these positions, in ascending order.
std::vector<ByteArray> packetsOf(const ByteArray& stream, const std::vector<size_t>& cuts) {
    UartStream reader;
    std::vector<ByteArray> packets;
    size_t from = 0;
    for (const size_t to : cuts) {
        reader.append(slice(stream, from, to));
        from = to;
        for (UartStream::Step step = reader.next(); step.event != UartStream::Event::NeedBytes; step = reader.next())
            if (step.event == UartStream::Event::Packet) packets.push_back(step.packet);
    }
    return packets;
}

/// Where a stream of that length is cut, its end included.
rc::Gen<std::vector<size_t>> cutsOf(size_t length) {
    return rc::gen::map(rc::gen::container<std::vector<size_t>>(rc::gen::inRange<size_t>(0, length + 1)),
                        [length](std::vector<size_t> cuts) {
                            cuts.push_back(length);
                            std::sort(cuts.begin(), cuts.end());
                            return cuts;
                        });
}

/// Garbage in which no start mark can begin.
rc::Gen<ByteArray> garbage(size_t longest) {
    return rc::gen::map(bytesUpTo(longest), [](ByteArray noise) {
        std::replace(noise.begin(), noise.end(), static_cast<unsigned char>(0xFF), static_cast<unsigned char>(0x00));
        return noise;
    });
}

rc::Gen<ByteArray> anyPacket() {
    return rc::gen::map(rc::gen::nonEmpty(bytesNearMarks(60)), [](const ByteArray& payload) {
        return HostLinkMsgFrame(payload, payload.front(), 100).serializePacket(0);
    });
}

struct NoisyStream {
    ByteArray bytes;
    std::vector<ByteArray> packets;
    std::vector<size_t> splitMarks; ///< positions between the two bytes of a packet's start mark
};

/// Packets with garbage before each of them and behind the last.
NoisyStream noisyStream() {
    NoisyStream stream;
    stream.packets = *rc::gen::container<std::vector<ByteArray>>(anyPacket());
    for (const ByteArray& packet : stream.packets) {
        const ByteArray noise = *garbage(80);
        stream.bytes.insert(stream.bytes.end(), noise.begin(), noise.end());
        stream.splitMarks.push_back(stream.bytes.size() + 1);
        stream.bytes.insert(stream.bytes.end(), packet.begin(), packet.end());
    }
    const ByteArray noise = *garbage(80);
    stream.bytes.insert(stream.bytes.end(), noise.begin(), noise.end());
    return stream;
}

/// Whether `packets` are non-overlapping parts of the stream, in order, each of which verifies.
bool areValidPartsOf(const ByteArray& stream, const std::vector<ByteArray>& packets) {
    auto from = stream.begin();
    for (const ByteArray& packet : packets) {
        if (!HostLinkPacket::verify(packet)) return false;
        const auto found = std::search(from, stream.end(), packet.begin(), packet.end());
        if (found == stream.end()) return false;
        from = found + static_cast<std::ptrdiff_t>(packet.size());
    }
    return true;
}

} // namespace

TEST(StreamProperties, PacketsComeOutTheSameHoweverTheStreamIsCut) {
    holds("packets back to back", [] {
        const auto packets = *rc::gen::container<std::vector<ByteArray>>(anyPacket());
        ByteArray stream;
        for (const ByteArray& packet : packets) stream.insert(stream.end(), packet.begin(), packet.end());
        RC_ASSERT(packetsOf(stream, *cutsOf(stream.size())) == packets);
    });
}

TEST(StreamProperties, GarbageBeforeAndBetweenPacketsCostsNone) {
    holds("garbage without a start mark", [] {
        const NoisyStream stream = noisyStream();
        auto cuts = *cutsOf(stream.bytes.size());
        // What has no whole mark in it is dropped to its last byte, and half a mark with it.
        for (const size_t split : stream.splitMarks)
            cuts.erase(std::remove(cuts.begin(), cuts.end(), split), cuts.end());
        RC_ASSERT(packetsOf(stream.bytes, cuts) == stream.packets);
    });
}

TEST(StreamProperties, GarbageInsidePacketsNeverMakesOneThatIsNotInTheStream) {
    holds("bytes put into packets and taken out", [] {
        NoisyStream stream = noisyStream();
        for (int i = *rc::gen::inRange(1, 10); i > 0; --i) {
            const auto at = *rc::gen::inRange<size_t>(0, stream.bytes.size() + 1);
            const ByteArray noise = *bytesNearMarks(20);
            stream.bytes.insert(stream.bytes.begin() + static_cast<std::ptrdiff_t>(at), noise.begin(), noise.end());
        }
        RC_ASSERT(areValidPartsOf(stream.bytes, packetsOf(stream.bytes, *cutsOf(stream.bytes.size()))));
    });
}

TEST(StreamProperties, AfterAnyGarbageTheReaderIsInStepAgainWithinTheLongestPacket) {
    holds("good packets behind anything", [] {
        const ByteArray stream = *bytesNearMarks(400);
        UartStream reader;
        reader.append(stream);
        // What a false header declares is waited for: 65535 bytes at most. Packets without a mark inside them.
        const size_t rounds = 65535 / 64 + 2;
        std::vector<ByteArray> last;
        for (size_t round = 0; round < rounds + 3; ++round) {
            reader.append(
                HostLinkMsgFrame(ByteArray(54, static_cast<unsigned char>(round % 200)), 1, 64).serializePacket(0));
            for (UartStream::Step step = reader.next(); step.event != UartStream::Event::NeedBytes;
                 step = reader.next())
                if (step.event == UartStream::Event::Packet && round >= rounds) last.push_back(step.packet);
        }
        RC_ASSERT(last.size() >= 3u);
        for (size_t back = 1; back <= 3; ++back) {
            const auto content = static_cast<unsigned char>((rounds + 3 - back) % 200);
            RC_ASSERT(last[last.size() - back] == messageEnd(1, 0, ByteArray(54, content)));
        }
    });
}
