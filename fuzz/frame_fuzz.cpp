// Frame assembly: the core's record in a block of fixed size, and the object that grows.
#include <utility>

#include <hostlink/HostLinkFrame.h>
#include <hostlink/HostLinkLib.h>

#include "support/Input.h"
#include "support/Require.h"
#include "support/WireReference.h"

namespace {

/// What a frame has gathered.
struct Model {
    ByteArray data;
    unsigned frameId = 0;
    unsigned type = 0;
    bool complete = false;

    unsigned add(const ByteArray& bytes, size_t capacity) {
        const unsigned code = reference::packetCode(bytes);
        if (code != 0) return code;
        const reference::Packet packet(bytes);
        if (data.size() + packet.payload.size() > capacity) return 16;
        if (data.empty()) {
            frameId = packet.frameId;
            type = packet.type();
        }
        complete = packet.isLast();
        data = data + packet.payload;
        return 0;
    }
};

ByteArray packetFrom(Input& input) {
    const unsigned choice = input.byte();
    if (choice < 32) return input.bytes(choice);
    const unsigned flags = input.byte();
    if (choice < 48) return responseFrame(flags, choice);
    const unsigned frameId = input.byte();
    const size_t length = choice < 64 ? 600 + 7 * choice : choice % 80 + 1;
    ByteArray packet = packetOf(flags, frameId, choice, choice % 2 == 0 ? patternBytes(length) : input.bytes(length));
    if (choice > 240) packet.pop_back();
    packet.shrink_to_fit();
    return packet;
}

class Frames {
public:
    explicit Frames(size_t capacity) : block(capacity) {
        hostLinkFrameInit(&record, block.data(), static_cast<uint32_t>(capacity));
    }

    void add(const ByteArray& packet) {
        const uint32_t code = hostLinkFrameAddPacket(&record, packet.data(), static_cast<uint32_t>(packet.size()));
        require(code == inBlock.add(packet, block.size()), "a packet is taken, or refused with its code");
        require(grown.addPacket(packet) == inObject.add(packet, SIZE_MAX), "the object takes every good packet");
    }

    // The object by value: copied, moved, and with more or less store behind it.
    void change(unsigned choice) {
        switch (choice % 4) {
        case 0: grown = HostLinkFrame(grown); break;
        case 1: {
            HostLinkFrame moved(std::move(grown));
            grown = std::move(moved);
            break;
        }
        case 2: grown.resize(static_cast<int>(choice)); break;
        default: grown = HostLinkFrame(); inObject = Model();
        }
    }

    void check() const {
        uint32_t size = 0;
        const uint8_t* data = hostLinkFrameData(&record, &size);
        require(size == inBlock.data.size() && ByteArray(data, data + size) == inBlock.data,
                "the record holds the payloads in order");
        require(block.isUntouched(size), "nothing is written behind the payloads");
        require(record.frameId == inBlock.frameId && hostLinkFrameType(&record) == inBlock.type,
                "id and type are those of the first payload");
        require(hostLinkFrameComplete(&record) == (inBlock.complete ? 1 : 0), "the record is complete");
        require(grown.data() == inObject.data, "the object holds the payloads in order");
        require(grown.complete() == inObject.complete, "the object is complete");
    }

private:
    ExactBytes block;
    HostLinkFrameRecord record{};
    HostLinkFrame grown;
    Model inBlock;
    Model inObject;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Frames frames(input.word() % 2048U);
    for (int step = 0; step < 200 && !input.empty(); ++step) {
        const unsigned choice = input.byte();
        if (choice % 8 == 0) frames.change(choice / 8);
        frames.add(packetFrom(input));
        frames.check();
    }
    return 0;
}
