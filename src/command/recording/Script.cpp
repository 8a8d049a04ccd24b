#include "Script.h"

#include <algorithm>
#include <map>
#include <string>

#include <hostlink/HostLinkPacket.h>
#include <hostlink/HostLinkRspFrame.h>

namespace command {

namespace {

constexpr int messageFrame = 3;

capture::Direction directionOf(Side side) {
    return side == Side::Module ? capture::Direction::Outbound : capture::Direction::Inbound;
}

// What the host's link said when the module's made this of it; none when it said nothing.
ByteArray answerBehind(const std::string& verdict) {
    static const std::map<std::string, AcknowledgeType> answers{
        {"Accepted", AcknowledgeType::Ack}, {"Rejected", AcknowledgeType::Nack}, {"Error", AcknowledgeType::AckNack}};
    const auto found = answers.find(verdict);
    return found == answers.end() ? ByteArray() : HostLinkRspFrame::create(0, found->second);
}

bool isMessage(const capture::Packet& packet) {
    return packet.bytes.size() > 8 && HostLinkPacket::frameType(packet.bytes) == messageFrame;
}

// The captured packets of a wire with the answers that nobody captured.
std::vector<capture::Packet> withAnswers(const std::vector<capture::Packet>& packets) {
    std::vector<capture::Packet> all;
    for (const capture::Packet& packet : packets) {
        all.push_back(packet);
        capture::Packet answer = packet;
        answer.comments.clear();
        if (packet.direction == capture::Direction::Inbound && isMessage(packet)) {
            answer.direction = capture::Direction::Outbound;
            answer.bytes = HostLinkRspFrame::create(0, AcknowledgeType::Ack);
            all.push_back(answer);
        }
        answer.bytes = answerBehind(capture::verdictOf(packet));
        answer.direction = capture::Direction::Inbound;
        if (!answer.bytes.empty()) all.push_back(answer);
    }
    return all;
}

} // namespace

std::vector<Step> scriptOf(const Recording& recording, uint32_t interface, Side played) {
    Recording wire{recording.interfaces, {}, 0};
    std::copy_if(recording.packets.begin(), recording.packets.end(), std::back_inserter(wire.packets),
                 [interface](const capture::Packet& packet) { return packet.interface == interface; });
    const auto form = capture::wireOf(wire.interfaces[interface]);
    if (form && form->form == capture::Form::Packets) wire.packets = withAnswers(wire.packets);

    std::vector<Step> steps;
    for (std::size_t order = 0; order < wire.packets.size(); ++order) {
        const capture::Packet& packet = wire.packets[order];
        if (packet.direction == directionOf(played) && !packet.bytes.empty())
            steps.push_back({order, packet.time, true, packet.bytes});
    }
    for (Said& said : saidIn(wire)) {
        if (said.direction == directionOf(played) || said.stretch.kind != Stretch::Kind::Packet) continue;
        steps.push_back({said.order, said.time, false, std::move(said.stretch.bytes)});
    }
    std::stable_sort(steps.begin(), steps.end(),
                     [](const Step& one, const Step& other) { return one.order < other.order; });
    return steps;
}

} // namespace command
