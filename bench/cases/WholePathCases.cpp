// A message from its values to the wire and back; see WholePath.h.
#include <algorithm>

#include <hostlink/HostLinkMsgFrame.h>

#include "Case.h"
#include "Samples.h"
#include "WholePath.h"
#include "floors/StraightLine.h"

namespace bench {

namespace {

struct Message {
    Load load;
    const char* name;
};

bool sameOnTheWire(const Message& message, uint16_t packetSize) {
    Sample sample = sampleNamed(message.name);
    if (message.load == Load::Item900) std::fill(sample.items[0].bytes.begin(), sample.items[0].bytes.end(), 0);
    const HostLinkMsgFrame frame(bytesOf(sample), 5, packetSize);
    ByteArray expected;
    for (int i = 0; i < frame.packetCount(); ++i) {
        const ByteArray packet = frame.serializePacket(i);
        expected.insert(expected.end(), packet.begin(), packet.end());
    }
    ByteArray wire(2048);
    wire.resize(straightLineWire(message.load, packetSize, wire.data()));
    return wire == expected;
}

} // namespace

void addWholePathCases(Cases* cases) {
    for (const Message& message : {Message{Load::Typical, "typical"}, Message{Load::Item900, "item900"}}) {
        for (const uint16_t packetSize : {uint16_t{64}, uint16_t{256}}) {
            const std::string point = std::string(message.name) + " " + std::to_string(packetSize);
            const auto add = [&](const char* subject, uint32_t (*path)(Load, uint16_t)) {
                const auto run = [=, load = message.load] { return uint64_t{path(load, packetSize)}; };
                prove(run() != 0, subject, point);
                cases->push_back({"whole path", subject, point, run});
            };
            prove(sameOnTheWire(message, packetSize) &&
                      straightLine(message.load, packetSize) == wholePathCore(message.load, packetSize),
                  "straight line", point);
            add("function core", wholePathCore);
            add("classes", wholePathClasses);
            add("straight line", straightLine);
        }
    }
}

} // namespace bench
