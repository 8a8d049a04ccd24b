#include "OutboundRules.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "FaultTimeline.h"

namespace truth {

namespace {

constexpr size_t headerBytes = 8;
constexpr size_t trailerBytes = 2;
constexpr Moment never = Moment::max();

// The packets of a message, put together from the description of the format.
std::vector<ByteArray> cut(const ByteArray& message, unsigned char frameId, int maxPacketSize) {
    const size_t room = static_cast<size_t>(maxPacketSize) - headerBytes - trailerBytes;
    std::vector<ByteArray> packets;
    for (size_t at = 0; at < message.size(); at += room) {
        const size_t count = std::min(room, message.size() - at);
        const size_t length = headerBytes + count + trailerBytes;
        const bool isLast = at + count == message.size();
        ByteArray packet{0xFF,
                         0xFE,
                         static_cast<unsigned char>(length & 0xFF),
                         static_cast<unsigned char>(length >> 8),
                         static_cast<unsigned char>(isLast ? 0x23 : 0x03),
                         frameId,
                         static_cast<unsigned char>(packets.size()),
                         0};
        const auto begin = message.begin() + static_cast<std::ptrdiff_t>(at);
        packet.insert(packet.end(), begin, begin + static_cast<std::ptrdiff_t>(count));
        packet.insert(packet.end(), trailerBytes, 0);
        packets.push_back(packet);
    }
    return packets;
}

class Outbound {
public:
    Outbound(const Record& run, Verdict& runVerdict) : record(run), verdict(runVerdict), timeline(run) {
        for (const Entry& entry : record.journal) {
            if (entry.kind == EntryKind::ToHost && typeOf(entry.sent) == FRT_Message) crossings.push_back(&entry);
            if (entry.kind == EntryKind::HostReceived) takeDelivery(entry);
        }
    }

    void judge() {
        if (!judgeWire()) return;
        findLateAnswers();
        for (size_t i = 0; i < record.calls.size(); ++i) {
            const Call& call = record.calls[i];
            judgePackets(i);
            judgeBound(call);
            call.result ? judgeTrue(i) : judgeFalse(i, inOrderSince[i]);
        }
        judgeDeliveries();
        count();
    }

private:
    struct Deliveries {
        std::vector<Moment> at;
    };

    void takeDelivery(const Entry& entry) {
        const auto found = std::find(record.outbound.begin(), record.outbound.end(), entry.sent);
        if (found == record.outbound.end()) {
            strange.push_back(&entry);
            return;
        }
        const auto message = static_cast<size_t>(found - record.outbound.begin());
        deliveries.resize(record.outbound.size());
        deliveries[message].at.push_back(entry.at);
    }

    void fail(size_t call, const std::string& what) {
        std::ostringstream text;
        text << "call " << call << " (message " << record.calls[call].message << "): " << what;
        verdict.failures.push_back(text.str());
    }
    void late(size_t call, const std::string& what) {
        fail(call, what);
        verdict.late.push_back(verdict.failures.back());
        verdict.failures.pop_back();
    }
    void except(Limit limit) { ++verdict.exceptions[limit]; }

    // What the module wrote is what came out of its end of the wire.
    bool judgeWire() {
        bool same = crossings.size() == record.attempts.size();
        for (size_t i = 0; same && i < crossings.size(); ++i) same = crossings[i]->sent == record.attempts[i].packet;
        if (!same) verdict.failures.emplace_back("the wire did not carry the packets that were written");
        return same;
    }

    void judgePackets(size_t index) {
        const Call& call = record.calls[index];
        if (call.attempts == 0) return fail(index, "nothing was written");
        const unsigned char frameId = record.attempts[call.firstAttempt].packet.at(5);
        const auto packets = cut(record.outbound[call.message], frameId, record.maxPacketSize);
        size_t packet = 0;
        int tries = 0;
        for (size_t i = 0; i < call.attempts; ++i) {
            const Attempt& attempt = record.attempts[call.firstAttempt + i];
            if (packet == packets.size() || attempt.packet != packets[packet])
                return fail(index, "the wire carried another packet than the next of the message");
            ++tries;
            const bool isLast = i + 1 == call.attempts;
            if (attempt.response == Accepted) {
                ++packet;
                tries = 0;
            } else if (attempt.response == Rejected ? tries > attemptsOfPacket || (isLast && tries < attemptsOfPacket)
                                                    : !isLast) {
                return fail(index, "retries do not follow the rule");
            }
        }
        if (call.result != (packet == packets.size())) fail(index, "the result is not that of the packets");
    }

    void judgeBound(const Call& call) {
        const size_t room = static_cast<size_t>(record.maxPacketSize) - headerBytes - trailerBytes;
        const size_t packets = (record.outbound[call.message].size() + room - 1) / room;
        Duration bound = uartBound(packets, record.timing);
        if (record.kind != LinkKind::Uart) bound = busBound(packets, exchangesDuring(call), record.timing);
        const auto took = std::chrono::duration_cast<Duration>(call.end - call.begin);
        const double share = static_cast<double>(took.count()) / static_cast<double>(bound.count());
        verdict.figures.slowestOfBound = std::max(verdict.figures.slowestOfBound, share);
        if (took > bound + timeline.stalled(call.begin, call.end))
            late(static_cast<size_t>(&call - record.calls.data()),
                 "took " + std::to_string(took.count()) + " us, bound " + std::to_string(bound.count()));
    }
    size_t exchangesDuring(const Call& call) const {
        return static_cast<size_t>(std::count_if(record.journal.begin(), record.journal.end(), [&](const Entry& entry) {
            return entry.kind == EntryKind::ToHost && typeOf(entry.sent) == FRT_Irq && entry.at >= call.begin &&
                   entry.at <= call.end;
        }));
    }

    bool has(size_t message) const { return message < deliveries.size() && !deliveries[message].at.empty(); }

    Moment beginBefore(size_t index, size_t calls) const { return record.calls[index - std::min(index, calls)].begin; }

    void judgeTrue(size_t index) {
        if (has(record.calls[index].message)) return;
        ++verdict.figures.trueNotHad;
        const std::optional<Limit> reason = whyTrueIsWrong(index);
        reason ? except(*reason) : fail(index, "returned true, and the host does not have the message");
    }
    std::optional<Limit> whyTrueIsWrong(size_t index) const {
        const Call& call = record.calls[index];
        const bool stream = record.kind == LinkKind::Uart;
        bool unheard = false;
        for (size_t i = 0; i < call.attempts; ++i) {
            const WireFault fault = crossings[call.firstAttempt + i]->fault;
            if (faultywire::hitsByte(fault)) return Limit::DamagedPacket;
            unheard = unheard || fault == WireFault::Silence || fault == WireFault::Nack;
        }
        // On a stream the damage of an earlier packet reaches into the next one.
        if (stream && timeline.byteFault(beginBefore(index, 2), call.end, EntryKind::ToHost))
            return Limit::DamagedPacket;
        if (!unheard) return std::nullopt;
        if (timeline.byteFault(call.begin, call.end, EntryKind::ToModule)) return Limit::DamagedResponse;
        const Moment before = beginBefore(index, 3);
        if (stream && (timeline.happened(before, call.end, WireFault::LateAnswer, EntryKind::ToModule) ||
                       timeline.byteFault(before, call.end) || isAnyAnswerLate(before, call.end)))
            return Limit::StaleResponse;
        return std::nullopt;
    }

    // After two calls of which the second returned true the link was in order, as far as one can know.
    void judgeFalse(size_t index, Moment lastTrue) {
        const Call& call = record.calls[index];
        const bool machine = timeline.stalled(lastTrue, call.end) > Duration::zero();
        if (!timeline.anyFault(lastTrue, call.end)) {
            machine ? except(Limit::Machine) : late(index, "returned false without a reason");
        }
        if (!deliveredDuring(index)) return;
        ++verdict.figures.falseThoughHad;
        const bool lost = timeline.happened(lastTrue, call.end, WireFault::LostAnswer, EntryKind::ToModule) ||
                          timeline.happened(lastTrue, call.end, WireFault::LateAnswer, EntryKind::ToModule);
        if (lost)
            except(Limit::LostResponse);
        else if (timeline.byteFault(lastTrue, call.end))
            except(Limit::DamagedResponse);
        else if (machine)
            except(Limit::Machine);
        else
            fail(index, "returned false, and the host has the message");
    }
    // Whether the host got the message by this call: before the next one that sends the same.
    bool deliveredDuring(size_t index) const {
        const Call& call = record.calls[index];
        if (!has(call.message)) return false;
        Moment end = never;
        for (size_t next = index + 1; next < record.calls.size() && end == never; ++next)
            if (record.calls[next].message == call.message) end = record.calls[next].begin;
        const auto& at = deliveries[call.message].at;
        return std::any_of(at.begin(), at.end(), [&](Moment moment) { return moment >= call.begin && moment < end; });
    }

    void judgeDeliveries() {
        for (const Entry* entry : strange) judgeStrange(*entry);
        std::vector<size_t> calls(record.outbound.size());
        std::vector<size_t> latest(record.outbound.size());
        for (size_t i = 0; i < record.calls.size(); ++i) {
            ++calls[record.calls[i].message];
            latest[record.calls[i].message] = i;
        }
        for (size_t message = 0; message < deliveries.size(); ++message) {
            const size_t times = deliveries[message].at.size();
            if (times > 1) verdict.figures.duplicates += times - 1;
            if (times <= calls[message]) continue;
            const size_t index = latest[message];
            timeline.byteFault(beginBefore(index, callsBack), record.calls[index].end)
                ? except(Limit::RepeatedPacket)
                : fail(index, "the host got the message more often than it was sent");
        }
    }
    void judgeStrange(const Entry& entry) {
        ++verdict.figures.wrongAtHost;
        const size_t index = callAt(entry.at);
        // The host looks again at half a packet when it gives it up, which a busy machine makes late.
        const Moment from = std::min(beginBefore(index, 2), entry.at - 4 * record.timing.response);
        if (timeline.byteFault(from, entry.at, EntryKind::ToHost)) return except(Limit::DamagedPacket);
        const bool unheard = timeline.happened(from, entry.at, WireFault::Silence, EntryKind::ToHost) ||
                             timeline.happened(from, entry.at, WireFault::Nack, EntryKind::ToHost);
        const bool misled = timeline.happened(from, entry.at, WireFault::LateAnswer, EntryKind::ToModule) ||
                            timeline.byteFault(from, entry.at, EntryKind::ToModule) || isAnyAnswerLate(from, entry.at);
        if (unheard && misled) return except(Limit::FrameIdReuse);
        fail(index, "the host put a message together that was not sent");
    }
    size_t callAt(Moment at) const {
        const auto next = std::upper_bound(record.calls.begin(), record.calls.end(), at,
                                           [](Moment moment, const Call& call) { return moment < call.begin; });
        return next == record.calls.begin() ? 0 : static_cast<size_t>(next - record.calls.begin()) - 1;
    }

    void findLateAnswers() {
        Moment lastTrue{}; // before everything: what the host sends first may be hit, too
        for (size_t call = 0; call < record.calls.size(); ++call) {
            inOrderSince.push_back(lastTrue);
            const size_t first = record.calls[call].firstAttempt;
            for (size_t i = first; i < first + record.calls[call].attempts; ++i)
                if (isAnswerLate(i, lastTrue)) lateAnswers.push_back(record.attempts[i].end);
            if (record.calls[call].result) lastTrue = beginBefore(call, 1);
        }
        verdict.hasLateAnswer = !lateAnswers.empty();
    }
    bool isAnyAnswerLate(Moment from, Moment to) const {
        return std::any_of(lateAnswers.begin(), lateAnswers.end(), [&](Moment at) { return from <= at && at <= to; });
    }
    // It came onto the wire late; or soon, and no damage since the link was in order kept the reader from finding it in
    // time.
    bool isAnswerLate(size_t index, Moment linkInOrder) const {
        if (record.kind != LinkKind::Uart) return false;
        const Attempt& attempt = record.attempts[index];
        const Entry& crossing = *crossings[index];
        const bool timedOut = attempt.response == NoResponse && attempt.end - attempt.begin >= record.timing.response;
        if (!timedOut || crossing.fault != WireFault::None) return false;
        const auto answer = std::find_if(record.journal.begin(), record.journal.end(), [&](const Entry& entry) {
            return entry.kind == EntryKind::ToModule && entry.at >= crossing.at && typeOf(entry.sent) == FRT_Response;
        });
        if (answer == record.journal.end() || answer->fault != WireFault::None) return false;
        return answer->at - attempt.begin > record.timing.response / 2 ||
               !timeline.byteFault(linkInOrder, attempt.end, EntryKind::ToModule);
    }

    void count() {
        Figures& figures = verdict.figures;
        figures.messages = record.outbound.size();
        for (size_t message = 0; message < record.outbound.size(); ++message) figures.delivered += has(message);
        figures.calls = record.calls.size();
        for (const Call& call : record.calls) figures.falseCalls += call.result ? 0 : 1;
    }

    static constexpr size_t callsBack = 3;

    const Record& record;
    Verdict& verdict;
    const FaultTimeline timeline;
    std::vector<const Entry*> crossings; // of message packets; one for each attempt
    std::vector<Deliveries> deliveries;  // by message
    std::vector<const Entry*> strange;   // the host got what was not sent
    std::vector<Moment> inOrderSince;    // by call: since then the link was in order, but for faults
    std::vector<Moment> lateAnswers;     // when they were given up, though no fault had hit them
};

} // namespace

void judgeOutbound(const Record& record, Verdict& verdict) {
    Outbound(record, verdict).judge();
}

} // namespace truth
