#include "InboundRules.h"

#include <algorithm>
#include <map>
#include <optional>

#include "FaultTimeline.h"

namespace truth {

namespace {

constexpr std::chrono::seconds retryTimes{2}; // far more than four attempts of a packet take

size_t declaredLength(const ByteArray& packet) {
    return static_cast<size_t>(packet.at(2)) | static_cast<size_t>(packet.at(3)) << 8;
}
unsigned char frameIdOf(const ByteArray& packet) {
    return packet.at(5);
}
unsigned char packetIdOf(const ByteArray& packet) {
    return packet.at(6);
}
bool isLastOfFrame(const ByteArray& packet) {
    return (packet.at(4) & 0x20) != 0;
}
void appendPayload(ByteArray& message, const ByteArray& packet) {
    message.insert(message.end(), packet.begin() + 8,
                   packet.begin() + static_cast<std::ptrdiff_t>(declaredLength(packet)) - 2);
}

/// A message that the host has put onto the wire whole.
struct SentMessage {
    Moment begin;
    Moment end;
    ByteArray bytes;
};

/// What the transport had to deliver.
struct Expected {
    ByteArray bytes;
    std::vector<size_t> packets; // indexes into Record::packets
};

class Inbound {
public:
    Inbound(const Record& run, Verdict& runVerdict) : record(run), verdict(runVerdict), timeline(run) {}

    void judge() {
        findSent();
        judgePackets();
        putTogether();
        judgeTransport();
        judgeMessages();
        judgeConfirmed();
        judgeGivenUp();
    }

private:
    void fail(const std::string& what) { verdict.failures.push_back("inbound: " + what); }
    void late(const std::string& what) { verdict.late.push_back("inbound: " + what); }
    void except(Limit limit) { ++verdict.exceptions[limit]; }

    // The host's end of the wire is clean, and it sends one frame at a time in the order of packet ids.
    void findSent() {
        struct Open {
            Moment begin;
            unsigned next = 0;
            ByteArray bytes;
        };
        std::map<unsigned char, Open> open;
        for (const Entry& entry : record.journal) {
            if (entry.kind != EntryKind::ToModule || typeOf(entry.sent) != FRT_Message) continue;
            const unsigned id = packetIdOf(entry.sent);
            Open& frame = open[frameIdOf(entry.sent)];
            if (id == 0) frame = {entry.at, 0, {}};
            if (id != frame.next) continue; // again
            appendPayload(frame.bytes, entry.sent);
            ++frame.next;
            if (!isLastOfFrame(entry.sent) || isRepeated(frame.begin, entry.at, frame.bytes)) continue;
            sent.push_back({frame.begin, entry.at, frame.bytes});
        }
    }
    // The same frame once more: its only packet was refused or, on a bus, read again.
    bool isRepeated(Moment, Moment at, const ByteArray& bytes) const {
        return !sent.empty() && sent.back().bytes == bytes && at - sent.back().end < retryTimes;
    }

    void judgePackets() {
        damaged.resize(record.packets.size());
        record.kind == LinkKind::Uart ? judgeStream() : judgeReads();
    }

    void judgeStream() {
        ByteArray stream;
        std::vector<std::pair<size_t, const Entry*>> pieces; // where each begins
        for (const Entry& entry : record.journal) {
            if (entry.kind != EntryKind::ToModule || entry.arrived.empty()) continue;
            pieces.emplace_back(stream.size(), &entry);
            stream.insert(stream.end(), entry.arrived.begin(), entry.arrived.end());
        }
        auto cursor = stream.begin();
        for (size_t i = 0; i < record.packets.size(); ++i) {
            const ByteArray& packet = record.packets[i].bytes;
            const auto found = std::search(cursor, stream.end(), packet.begin(), packet.end());
            if (found == stream.end()) {
                fail("the link delivered bytes that did not come over the wire");
                continue;
            }
            cursor = found + static_cast<std::ptrdiff_t>(packet.size());
            judgeRegion(i, static_cast<size_t>(found - stream.begin()), pieces);
        }
    }
    void judgeRegion(size_t index, size_t begin, const std::vector<std::pair<size_t, const Entry*>>& pieces) {
        const size_t end = begin + record.packets[index].bytes.size();
        auto piece = std::upper_bound(pieces.begin(), pieces.end(), begin,
                                      [](size_t at, const auto& entry) { return at < entry.first; });
        --piece;
        bool hit = false;
        const Moment first = piece->second->at;
        for (; piece != pieces.end() && piece->first < end; ++piece) {
            if (piece->second->sent == record.packets[index].bytes) return;
            hit = hit || faultywire::hitsByte(piece->second->fault);
        }
        damaged[index] = true;
        // Out of step: begun by damage further back.
        if (!hit && !timeline.byteFault(Moment(), first, EntryKind::ToModule))
            fail("the link delivered a packet that the host did not send, without a fault on the wire");
    }

    void judgeReads() {
        size_t next = 0;
        std::vector<const Entry*> reads;
        for (const Entry& entry : record.journal)
            if (entry.kind == EntryKind::ToModule && !entry.arrived.empty()) reads.push_back(&entry);
        for (size_t i = 0; i < record.packets.size(); ++i) {
            const ByteArray& packet = record.packets[i].bytes;
            while (next < reads.size() && reads[next]->arrived != packet) ++next;
            if (next == reads.size()) return fail("the link delivered bytes that did not come over the wire");
            const Entry& read = *reads[next++];
            damaged[i] =
                !std::equal(read.sent.begin(), read.sent.end(), packet.begin(), packet.end()) &&
                (packet.size() < read.sent.size() || !std::equal(read.sent.begin(), read.sent.end(), packet.begin()));
            if (damaged[i] && !faultywire::hitsByte(read.fault))
                fail("the link delivered a packet that the host did not send, without a fault on the wire");
        }
    }

    // The transport's duty, done here once more from the description.
    void putTogether() {
        std::map<unsigned char, Expected> open;
        unsigned link = 0;
        for (size_t i = 0; i < record.packets.size(); ++i) {
            const Arrival& packet = record.packets[i];
            if (packet.link != link) open.clear();
            link = packet.link;
            if (packet.bytes.size() < declaredLength(packet.bytes)) {
                fail("the link delivered a part of a packet");
                continue;
            }
            Expected& frame = open[frameIdOf(packet.bytes)];
            appendPayload(frame.bytes, packet.bytes);
            frame.packets.push_back(i);
            if (!isLastOfFrame(packet.bytes)) continue;
            expected.push_back(frame);
            open.erase(frameIdOf(packet.bytes));
        }
    }
    void judgeTransport() {
        bool same = expected.size() == record.messages.size();
        for (size_t i = 0; same && i < expected.size(); ++i) same = expected[i].bytes == record.messages[i].bytes;
        if (!same) fail("the transport did not deliver what the packets make");
    }

    size_t timesSent(const ByteArray& bytes) const {
        return static_cast<size_t>(std::count_if(sent.begin(), sent.end(),
                                                 [&](const SentMessage& message) { return message.bytes == bytes; }));
    }

    void judgeMessages() {
        verdict.figures.inbound = sent.size();
        std::map<ByteArray, size_t> arrived;
        for (const Expected& message : expected) {
            const size_t times = timesSent(message.bytes);
            if (times == 0) {
                judgeStrange(message);
                continue;
            }
            if (++arrived[message.bytes] <= times) {
                ++verdict.figures.arrived;
                continue;
            }
            ++verdict.figures.duplicatesAtModule;
            const Moment at = record.packets[message.packets.back()].at;
            timeline.byteFault(at - retryTimes, at) ? except(Limit::RepeatedPacket)
                                                    : fail("a message came twice without a reason");
        }
        if (verdict.figures.inbound == 0) return;
    }
    void judgeStrange(const Expected& message) {
        ++verdict.figures.wrongAtModule;
        const std::optional<Limit> reason = whyStrange(message);
        reason ? except(*reason) : fail("a message came that was not sent");
    }
    std::optional<Limit> whyStrange(const Expected& message) const {
        if (std::any_of(message.packets.begin(), message.packets.end(), [this](size_t i) { return damaged[i]; }))
            return Limit::DamagedPacket;
        const Moment first = record.packets[message.packets.front()].at;
        const Moment last = record.packets[message.packets.back()].at;
        const bool inOrder = isSequence(message);
        if (!inOrder && timeline.byteFault(first - retryTimes, last))
            return hasRepetition(message) ? Limit::RepeatedPacket : Limit::FrameIdReuse;
        if (!inOrder && timeline.happened(first - retryTimes, last, WireFault::LostAnswer, EntryKind::ToHost))
            return Limit::FrameIdReuse;
        const unsigned link = record.packets[message.packets.front()].link;
        if (link > 0 && packetIdOf(record.packets[message.packets.front()].bytes) != 0) return Limit::LinkMadeAnew;
        return std::nullopt;
    }
    bool isSequence(const Expected& message) const {
        unsigned next = 0;
        return std::all_of(message.packets.begin(), message.packets.end(),
                           [&](size_t i) { return packetIdOf(record.packets[i].bytes) == next++; });
    }
    bool hasRepetition(const Expected& message) const {
        for (size_t i = 1; i < message.packets.size(); ++i)
            if (record.packets[message.packets[i]].bytes == record.packets[message.packets[i - 1]].bytes) return true;
        return false;
    }

    void judgeConfirmed() {
        for (const Entry& entry : record.journal) {
            if (entry.kind != EntryKind::HostConfirmed) continue;
            const bool has = std::any_of(record.messages.begin(), record.messages.end(),
                                         [&](const Arrival& message) { return message.bytes == entry.sent; });
            if (has) continue;
            const Moment begin = beginOf(entry);
            if (timeline.byteFault(begin - std::chrono::seconds(1), entry.at))
                except(Limit::DamagedPacket);
            else if (strangeDuring(begin, entry.at))
                except(Limit::FrameIdReuse);
            else if (timeline.reopened(begin, entry.at))
                except(Limit::LinkMadeAnew);
            else
                fail("a message was acknowledged to its last packet and did not arrive");
        }
    }
    Moment beginOf(const Entry& confirmed) const {
        for (const SentMessage& message : sent)
            if (message.bytes == confirmed.sent) return message.begin;
        return confirmed.at;
    }
    bool strangeDuring(Moment begin, Moment end) const {
        return std::any_of(record.messages.begin(), record.messages.end(), [&](const Arrival& message) {
            return message.at >= begin && message.at <= end + retryTimes && timesSent(message.bytes) == 0;
        });
    }

    void judgeGivenUp() {
        const auto confirmed =
            static_cast<size_t>(std::count_if(record.journal.begin(), record.journal.end(), [](const Entry& entry) {
                return entry.kind == EntryKind::HostConfirmed;
            }));
        if (confirmed >= record.inbound.size() || record.journal.empty()) return;
        const Moment begin = record.journal.front().at;
        const Moment end = record.journal.back().at;
        const bool hasReason = timeline.byteFault(begin, end) ||
                               timeline.happened(begin, end, WireFault::LostAnswer, EntryKind::ToHost) ||
                               !record.reopened.empty();
        if (hasReason) return;
        timeline.stalled(begin, end) > Duration::zero() ? except(Limit::Machine)
                                                        : late("the host gave a message up without a reason");
    }

    const Record& record;
    Verdict& verdict;
    const FaultTimeline timeline;
    std::vector<SentMessage> sent;
    std::vector<bool> damaged; // by packet that the link delivered
    std::vector<Expected> expected;
};

} // namespace

void judgeInbound(const Record& record, Verdict& verdict) {
    Inbound(record, verdict).judge();
}

} // namespace truth
