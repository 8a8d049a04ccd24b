/// @file
/// A host, a wire with faults and a clock for the matcher, in which every answer bears the mark of its question.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <hostlink/HostLinkLib.h>
#include <hostlinkclient/machines/Matcher.h>
#include <hostlinkclient/machines/Questions.h>
#include <hostlinkclient/machines/RepeatedPackets.h>

/// Asks questions about few states, so that most could be confused, and answers, loses, delays, repeats and swaps as
/// `choose` says. No answer comes later than the matcher is told that answers may come. The answer to question n holds
/// the number n; a set is asked with it.
class MatcherWorld {
public:
    /// @param chooser a number below its argument
    explicit MatcherWorld(std::function<unsigned(unsigned)> chooser)
        : choose(std::move(chooser)), matcher(std::chrono::milliseconds(lateMs)) {
        matcher.setLink(hostlink::Matcher::Link::Up, now);
    }

    struct Tally {
        unsigned asked = 0, answered = 0, unsupported = 0, unanswered = 0, others = 0;
    };

    /// One choice of what happens next.
    void step() {
        switch (choose(8)) {
        case 0:
        case 1:
        case 2: ask(); break;
        case 3: write(); break;
        case 4: cancelOne(); break;
        default: pass(1 + choose(12)); break;
        }
        write();
        settle();
    }

    /// Lets time pass until everything has ended.
    void finish() {
        for (unsigned i = 0; i < 1000 && !open.empty(); ++i) {
            write();
            pass(10);
            settle();
        }
        if (!open.empty()) complain("a question never ends");
    }

    /// The first claim that did not hold; empty when all did.
    const std::string& complaint() const { return problem; }
    const Tally& tally() const { return counts; }
    const hostlink::Matcher::Counts& dropped() const { return matcher.counts(); }

private:
    using Id = hostlink::Matcher::Id;
    using How = hostlink::Matcher::How;
    static constexpr unsigned answerMs = 20;
    static constexpr unsigned lateMs = 60;

    struct OnTheWay {
        hostlink::Time due;
        unsigned order;
        ByteArray packet;
    };

    void complain(const std::string& what) {
        if (problem.empty()) problem = what;
    }

    void ask() {
        using namespace hostlink;
        const auto state = static_cast<uint16_t>(9 + choose(2));
        const Id id = counts.asked + 1; // the matcher counts so too
        Question question;
        switch (choose(6)) {
        case 0: question = itemsQuestion(MSG_SetLedApi, {{state, Value(1)}}); break;
        case 1: question = itemsQuestion(MSG_SetState, {{state, Value(id)}}); break;
        case 2: question = getQuestion({state, 100}); break;
        default: question = getQuestion({state}); break;
        }
        question.answerTime = std::chrono::milliseconds(answerMs);
        question.sendings = choose(2) == 0 ? 1 : 3;
        question.deadline = now + std::chrono::milliseconds(40 + choose(200));
        const Id given = matcher.add(question, now);
        if (given != id) complain("questions are counted in another way");
        ++counts.asked;
        open.insert(given);
    }

    // One message is written, and the host takes it or not.
    void write() {
        const auto id = matcher.nextToSend(now);
        if (!id) return;
        const hostlink::Question question = matcher.question(*id);
        const unsigned fate = choose(16);
        if (fate == 0) {
            matcher.written(hostlink::Written::Unknown, 0, now); // its last packet has never gone out
            return;
        }
        matcher.lastPacketGoesOut();
        if (fate == 1) {
            matcher.written(hostlink::Written::Refused, 4, now);
            return;
        }
        if (fate != 2) answer(*id, question);
        if (choose(4) == 0) deliver(); // before the writer comes back
        const bool ackLost = fate <= 3;
        matcher.written(ackLost ? hostlink::Written::Unknown : hostlink::Written::Accepted, 0, now);
    }

    void answer(Id id, const hostlink::Question& question) {
        using namespace hostlink;
        const bool refuses = question.answerId == MSG_Invalid ? choose(2) == 0 : choose(8) == 0;
        ByteArray message;
        if (refuses) {
            message = *writeItems(MSG_UnsupportedMessageResponse, {});
            calledUnsupported.insert(id);
        } else if (question.answerId == MSG_Invalid) {
            return;
        } else {
            std::vector<Item> items;
            for (const uint16_t state : question.key) items.push_back({state, Value(id)});
            if (choose(16) == 0) items.pop_back(); // the host does not know one of them
            message = *writeItems(question.answerId, items);
        }
        unsigned delay = choose(4);
        const unsigned fault = choose(8);
        if (fault == 0) return;                                // lost
        if (fault == 1) delay = choose(lateMs);                // late, maybe behind answers to later questions
        const unsigned times = fault == 2 ? 2 + choose(2) : 1; // repeated
        const ByteArray packet = packetOf(message);
        for (unsigned i = 0; i < times; ++i) line.push_back({now + std::chrono::milliseconds(delay), ++sent, packet});
    }

    ByteArray packetOf(const ByteArray& message) {
        ByteArray packet(message.size() + 10);
        uint16_t length = 0;
        hostLinkFrameMsgSerialize(packet.data(), static_cast<uint16_t>(packet.size()), &length, frameId++,
                                  message.data(), static_cast<uint32_t>(message.size()), 1024, 0, 0);
        return packet;
    }

    // What has come by now, in the order of its arrival.
    void deliver() {
        for (;;) {
            auto next = line.end();
            for (auto one = line.begin(); one != line.end(); ++one)
                if (one->due <= now &&
                    (next == line.end() || std::pair(one->due, one->order) < std::pair(next->due, next->order)))
                    next = one;
            if (next == line.end()) return;
            const ByteArray packet = next->packet;
            line.erase(next);
            if (repeated.isRepeated(packet, now)) continue;
            matcher.received(ByteArray(packet.begin() + 8, packet.end() - 2), now);
        }
    }

    void cancelOne() {
        if (choose(4) == 0 && !open.empty()) matcher.cancel(*open.begin(), now);
    }

    void pass(unsigned milliseconds) {
        for (unsigned i = 0; i < milliseconds; ++i) {
            now += std::chrono::milliseconds(1);
            deliver();
            matcher.tick(now);
        }
    }

    void settle() {
        for (const auto& end : matcher.takeEnds()) check(end);
    }

    void check(const hostlink::Matcher::End& end) {
        const std::string which = "question " + std::to_string(end.id);
        if (open.erase(end.id) != 1) complain(which + " ends twice");
        switch (end.how) {
        case How::Answered:
        case How::Part: {
            ++counts.answered;
            const auto items = hostlink::readItems(end.answer);
            if (!items) return complain(which + " has an answer that cannot be read");
            for (const hostlink::Item& item : *items)
                if (item.value != hostlink::Value(end.id)) complain(which + " has the answer of another");
            break;
        }
        case How::Unsupported:
            ++counts.unsupported;
            if (calledUnsupported.count(end.id) == 0) complain(which + " has the refusal of another");
            break;
        case How::Unanswered: ++counts.unanswered; break;
        default: ++counts.others; break;
        }
    }

    std::function<unsigned(unsigned)> choose;
    hostlink::Time now{std::chrono::hours(1)};
    hostlink::Matcher matcher;
    hostlink::RepeatedPackets repeated;
    std::set<Id> open;
    std::set<Id> calledUnsupported;
    std::vector<OnTheWay> line;
    uint8_t frameId = 0;
    unsigned sent = 0;
    Tally counts;
    std::string problem;
};
