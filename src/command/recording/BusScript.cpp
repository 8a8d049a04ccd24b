#include "BusScript.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkPacket.h>

#include "BusPacket.h"

namespace command {

namespace {

// Whether the module asks once more without having been asked: it was told how much there is, or refused.
bool leadsToAnother(const BusExchange& exchange) {
    return isRefusal(exchange.answer) || HostLinkPacket::frameType(exchange.answer) == FRT_Irq;
}

// The wire's packets, one after another.
class Exchanges {
public:
    void take(const capture::Packet& packet, Moment when) {
        if (packet.direction == capture::Direction::Outbound && !packet.bytes.empty())
            takeWrite(packet.bytes, when);
        else if (!packet.bytes.empty())
            takeRead(packet.bytes, when);
        else if (capture::isEdge(packet))
            edges.push_back(when);
    }

    std::vector<BusExchange> all;

private:
    void takeWrite(const ByteArray& bytes, Moment when) {
        BusExchange exchange{when, bytes, {}, {}, {}, {}};
        const int type = exchange.type();
        if (type == FRT_Irq && !isFollowing) exchange.request = requestBefore(when);
        // The line falls for the next packet when this one has been served.
        if (type == FRT_Irq || type == FRT_Response) served = when;
        if (type == FRT_Irq) isFollowing = false;
        all.push_back(std::move(exchange));
    }

    void takeRead(const ByteArray& bytes, Moment when) {
        if (all.empty()) return; // it was asked for before the recording began
        BusExchange& exchange = all.back();
        exchange.reads.push_back(bytes);
        ByteArray packet = packetAtBegin(bytes);
        if (packet.empty()) return;
        exchange.answer = std::move(packet);
        exchange.answered = when;
        if (exchange.type() == FRT_Irq) isFollowing = leadsToAnother(exchange);
    }

    // The latest: one that the host repeated meanwhile, and nobody needed, must not come before the next question.
    Moment requestBefore(Moment asked) {
        Moment edge = asked;
        if (!edges.empty()) {
            edge = edges.back();
            edges.pop_back();
        }
        if (served && edge.order <= served->order) return {served->order + 1, std::max(edge.time, served->time)};
        return edge;
    }

    std::vector<Moment> edges; // that no IRQ frame has followed yet
    std::optional<Moment> served;
    bool isFollowing = false; // the next IRQ frame follows the last
};

bool wasInVain(const BusExchange& irq) {
    return irq.answer.empty() || isResponse(irq.answer);
}

void appendModule(std::vector<Step>& steps, const std::vector<BusExchange>& exchanges) {
    std::size_t turn = 0;     // of the IRQ frame before
    bool isInVain = false;    // that one
    bool isRequested = false; // and nothing has come yet
    for (const BusExchange& exchange : exchanges) {
        const Moment& when = exchange.when;
        const int type = exchange.type();
        if (type == FRT_Irq) {
            isInVain = wasInVain(exchange);
            isRequested = isRequested || exchange.request;
            if (exchange.request) turn = when.order + 1;
        }
        const bool isOfTurn = type == FRT_Irq || type == FRT_Response;
        if ((isOfTurn && isInVain) || (type != FRT_Response && exchange.reads.empty())) continue;
        BusTurn place{isOfTurn ? turn : 0, exchange.reads.empty() ? 0 : exchange.reads.front().size(), false};
        if (type == FRT_Irq) place.needsRequest = std::exchange(isRequested, false);
        steps.push_back({when.order, when.time, true, exchange.written, place});
        if (exchange.answer.empty()) continue;
        place.needsRequest = false;
        steps.push_back({exchange.answered.order, exchange.answered.time, false, exchange.answer, place});
    }
}

void appendHost(std::vector<Step>& steps, const std::vector<BusExchange>& exchanges) {
    for (const BusExchange& exchange : exchanges) {
        if (exchange.request) steps.push_back({exchange.request->order, exchange.request->time, true, {}});
        ByteArray packet = packetAtBegin(exchange.written);
        if (!packet.empty()) steps.push_back({exchange.when.order, exchange.when.time, false, std::move(packet)});
    }
}

} // namespace

int BusExchange::type() const {
    return HostLinkPacket::verify(written) ? HostLinkPacket::frameType(written) : -1;
}

std::vector<BusExchange> exchangesOf(const Recording& recording, uint32_t interface) {
    Exchanges found;
    for (std::size_t order = 0; order < recording.packets.size(); ++order) {
        const capture::Packet& packet = recording.packets[order];
        if (packet.interface == interface) found.take(packet, {order, packet.time});
    }
    return std::move(found.all);
}

std::vector<Step> scriptOf(const std::vector<BusExchange>& exchanges, Side played) {
    std::vector<Step> steps;
    if (played == Side::Module)
        appendModule(steps, exchanges);
    else
        appendHost(steps, exchanges);
    std::stable_sort(steps.begin(), steps.end(),
                     [](const Step& one, const Step& other) { return one.order < other.order; });
    return steps;
}

} // namespace command
