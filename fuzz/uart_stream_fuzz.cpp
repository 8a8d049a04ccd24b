// The machine that cuts the bytes of a serial line into packets.
#include <algorithm>
#include <iterator>
#include <vector>

#include <hostlink/machines/UartStream.h>

#include "support/Input.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

using Event = UartStream::Event;

constexpr int wantAtOnce = 64;

/// Watches the machine from outside: which bytes it has been given, and how far it has come in them.
class Watched {
public:
    void append(const ByteArray& bytes) {
        machine.append(bytes);
        given.insert(given.end(), bytes.begin(), bytes.end());
    }

    /// Steps until the machine asks for bytes; how many it asks for.
    int run() {
        for (;;) {
            const size_t before = given.size() - at;
            const UartStream::Step step = machine.next();
            if (step.event == Event::NeedBytes) {
                checkNeed(step.count);
                return step.count;
            }
            check(step);
            require(given.size() - at < before, "every step but asking takes something out");
        }
    }

    const std::vector<ByteArray>& packets() const { return verified; }
    size_t pending() const { return given.size() - at; }

private:
    ByteArray ahead() const { return slice(given, at, given.size()); }
    bool markIn(size_t from, size_t to) const {
        const unsigned char mark[] = {0xFF, 0xFE};
        const auto begin = given.begin();
        const auto end = begin + static_cast<std::ptrdiff_t>(to);
        return std::search(begin + static_cast<std::ptrdiff_t>(from), end, std::begin(mark), std::end(mark)) != end;
    }

    // Nothing that could be decided is left lying: too little for any packet, or a good one that is not complete.
    void checkNeed(int count) const {
        require(count >= 1 && count <= 65535, "a number of bytes that can be read");
        if (pending() < 8) return require(count == wantAtOnce, "asks for a packet of the usual size between packets");
        const ByteArray left = ahead();
        require(reference::packetCode(left) == 21 && reference::beginsWithMark(left),
                "what waits is a packet's beginning");
        require(static_cast<size_t>(count) == reference::word(left, 2) - left.size(),
                "asks for the rest of the packet and no more");
    }

    void check(const UartStream::Step& step) {
        require(pending() >= 8, "nothing is decided before there is a header");
        switch (step.event) {
        case Event::NoStart:
            require(!markIn(at, given.size()), "bytes are dropped when there is no start mark in them");
            at = given.size();
            break;
        case Event::Skipped: skip(static_cast<size_t>(step.count)); break;
        case Event::Packet:
            require(step.code == 0, "a good packet has no code");
            take(step.packet, 0);
            require(step.packet.size() == reference::word(step.packet, 2), "a packet is as long as it declares");
            verified.push_back(step.packet);
            break;
        case Event::BadPacket: takeBad(step); break;
        case Event::NeedBytes: break;
        }
    }

    void skip(size_t count) {
        require(count > 0 && count < pending(), "something is skipped, not all");
        require(!markIn(at, at + count + 1), "no start mark is skipped");
        at += count;
        require(reference::beginsWithMark(given, at), "a skip ends at a start mark");
    }

    void take(const ByteArray& packet, unsigned code) {
        require(packet.size() <= pending(), "a packet is made of bytes that came");
        ByteArray left = ahead();
        left.resize(std::min(left.size(), reference::longestPacket));
        require(reference::beginsWithMark(left) && reference::packetCode(left) == code,
                "a packet is judged as it stands");
        require(std::equal(packet.begin(), packet.end(), left.begin()), "a packet is taken as it came");
        at += packet.size();
    }

    void takeBad(const UartStream::Step& step) {
        require(step.code == 10, "behind a start mark only a length can be bad");
        const size_t declared = reference::word(given, at + 2);
        const size_t wanted = declared == 0 ? 2 : std::min(declared, pending());
        require(step.packet.size() == wanted, "a bad packet costs what it declares, and its mark at least");
        take(step.packet, 10);
    }

    UartStream machine;
    ByteArray given;
    size_t at = 0; // how many of them are taken out
    std::vector<ByteArray> verified;
};

// Reads of any size, as the machine asked or not.
void anyBytes(Input& input) {
    Watched stream;
    int wanted = stream.run();
    require(wanted == wantAtOnce, "a new machine asks for a packet of the usual size");
    while (!input.empty()) {
        const unsigned choice = input.byte();
        const size_t most = choice == 0 ? static_cast<size_t>(wanted) : choice;
        stream.append(input.bytes(std::min(most, static_cast<size_t>(wanted))));
        wanted = stream.run();
        require(stream.pending() < reference::longestPacket, "what waits is bounded by the longest packet");
    }
}

// A line that carries nothing but packets: each comes out, however the bytes are cut into reads.
void onlyPackets(Input& input) {
    std::vector<ByteArray> packets;
    ByteArray line;
    const unsigned count = input.below(24);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned length = input.byte();
        const unsigned flags = input.byte();
        packets.push_back(length < 64 ? responseFrame(flags, length) : packetOf(flags, i, 7, input.bytes(length - 63)));
        if (packets.back().size() == 10) packets.back() = packetOf(flags, i, 7, {0xFF});
        line = line + packets.back();
    }
    Watched stream;
    for (size_t from = 0; from < line.size();) {
        const size_t to = std::min(line.size(), from + 1 + input.byte() % 97U);
        stream.append(slice(line, from, to));
        stream.run();
        from = to;
    }
    require(stream.packets() == packets, "the packets do not depend on how the line was cut");
    require(stream.pending() == 0, "nothing is left of whole packets");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    if (input.flag()) {
        onlyPackets(input);
    } else {
        anyBytes(input);
    }
    return 0;
}
