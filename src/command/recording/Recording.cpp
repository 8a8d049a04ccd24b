#include "Recording.h"

#include <algorithm>
#include <map>
#include <utility>

#include <capture/PcapngReader.h>

#include "command/UsageError.h"

namespace command {

namespace {

// All bytes that one side has said on a serial line, and where each piece ends.
struct Stream {
    ByteArray bytes;
    std::vector<std::pair<std::size_t, std::size_t>> pieces; // end in the bytes, order
};

bool isFiller(const ByteArray& bytes) {
    const auto all = [&](unsigned char value) {
        return std::all_of(bytes.begin(), bytes.end(), [value](unsigned char byte) { return byte == value; });
    };
    return all(0x00) || all(0xFF);
}

std::size_t orderOfByte(const Stream& stream, std::size_t at) {
    const auto piece = std::upper_bound(stream.pieces.begin(), stream.pieces.end(), at,
                                        [](std::size_t where, const auto& one) { return where < one.first; });
    return piece->second;
}

bool isSerialLine(const capture::Interface& interface) {
    const auto wire = capture::wireOf(interface);
    return !wire || wire->form == capture::Form::Pieces;
}

} // namespace

bool isRecording(const std::string& content) {
    return content.compare(0, 4, "\x0A\x0D\x0D\x0A") == 0;
}

Recording recordingOf(const std::string& content) {
    capture::PcapngReader reader;
    reader.append(reinterpret_cast<const uint8_t*>(content.data()), content.size());
    Recording recording;
    while (auto packet = reader.next()) recording.packets.push_back(std::move(*packet));
    if (!reader.problem().empty()) throw UsageError("this recording is damaged, " + reader.problem());
    recording.interfaces = reader.interfaces();
    recording.cutOff = reader.waiting();
    return recording;
}

std::vector<Said> saidIn(const Recording& recording) {
    std::vector<Said> all;
    std::map<std::pair<uint32_t, capture::Direction>, Stream> streams;
    const auto add = [&](std::size_t order, Stretch stretch) {
        const capture::Packet& packet = recording.packets[order];
        all.push_back({order, packet.time, packet.interface, packet.direction, std::move(stretch)});
    };
    for (std::size_t order = 0; order < recording.packets.size(); ++order) {
        const capture::Packet& packet = recording.packets[order];
        if (packet.bytes.empty()) continue;
        if (isSerialLine(recording.interfaces[packet.interface])) {
            Stream& stream = streams[{packet.interface, packet.direction}];
            stream.bytes.insert(stream.bytes.end(), packet.bytes.begin(), packet.bytes.end());
            stream.pieces.emplace_back(stream.bytes.size(), order);
            continue;
        }
        for (Stretch& stretch : findPackets(packet.bytes))
            if (stretch.kind == Stretch::Kind::Packet || !isFiller(stretch.bytes)) add(order, std::move(stretch));
    }
    for (const auto& [side, stream] : streams)
        for (Stretch& stretch : findPackets(stream.bytes)) {
            const std::size_t last = stretch.at + stretch.bytes.size() - 1;
            add(orderOfByte(stream, last), std::move(stretch));
        }
    std::stable_sort(all.begin(), all.end(),
                     [](const Said& one, const Said& other) { return one.order < other.order; });
    return all;
}

} // namespace command
