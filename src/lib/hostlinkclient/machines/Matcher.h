/// @file
/// Which answer belongs to which question.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <vector>

#include <hostlink/ByteArray.h>

#include "hostlinkclient/machines/Question.h"

namespace hostlink {

/// What became of one message that was written.
enum class Written {
    Accepted, ///< the host has it
    Refused,  ///< the host refused a packet each time: it has not got it
    Unknown   ///< no usable answer: the host may have it
};

/// Decides what is sent next and what a message that came in answers. The wire has no number that ties an answer to its
/// question. The rules by which no result is ever another question's:
///
/// - Of the questions with one answer's id, one at a time is under way.
/// - It is answered by a message with that id of which its judge says so, once its last packet is on its way.
/// - A question that ended without its answer is remembered for `lateFor`. A message that could answer it is dropped,
///   and another question with the same id and key waits until that message has come or the time has passed. So do
///   those that may still answer a question which was sent more than once.
/// - "Unsupported" says nothing of its question. It ends the one that can be meant when there is one; of several, it
///   waits until answers have left one.
///
/// Pure: no thread, clock or log. One thread at a time.
class Matcher {
public:
    using Id = uint64_t;

    /// How a question ended.
    enum class How {
        Taken,       ///< the host has the message; nothing answers it
        Answered,    ///< `answer` is its answer
        Part,        ///< `answer` says less than was asked
        Unsupported, ///< the host says so
        Refused,     ///< the host's link refused it, each time
        Unanswered,  ///< sent, and no answer came
        TimedOut,    ///< the deadline passed before it was sent
        LinkDown,    ///< never sent, because there is no link
        Cancelled
    };

    struct End {
        Id id;
        How how;
        ByteArray answer;
        int sendings; ///< how often it was sent, or begun to be
        int refusals; ///< packets that the host's link refused
        bool mayBeExecuted;
        bool mayBeUnsupported; ///< an "unsupported" came that may have been meant for it
        Duration took{};       ///< since its turn came last; of what was never sent nothing
    };

    struct Counts {
        uint64_t late = 0;    ///< answers to questions that had ended
        uint64_t foreign = 0; ///< answers to nothing that was asked, and such as cannot be read
    };

    enum class Link {
        Opening, ///< for the first time: everything waits
        Down,    ///< what does not wait for the link ends
        Probing, ///< nothing but probes is sent
        Up
    };

    explicit Matcher(Duration lateFor) : rememberedFor(lateFor) {}

    /// May end at once, where there is no link.
    Id add(Question question, Time now);
    /// The question to be sent now, which is under way from then on; none while another is being written.
    std::optional<Id> nextToSend(Time now);
    /// The id that the next question gets.
    Id nextId() const { return lastId + 1; }
    /// As if it had never been asked, where that could not be completed. Not of one whose turn has come.
    void forget(Id id);
    /// Of a question that has not ended.
    const Question& question(Id id) const { return *find(id); }
    bool isOpen(Id id) const { return find(id) != nullptr; }

    /// The last packet of the question under way goes out: it can be answered from now on.
    void lastPacketGoesOut();
    /// The question under way has been written, or not.
    void written(Written result, int refusals, Time now);
    /// Takes a message. False when it is not an answer to anything but a message of the host's own.
    bool received(const ByteArray& message, Time now);
    /// Ends what the time has come for.
    void tick(Time now);
    void cancel(Id id, Time now);
    void cancelAll(Time now);
    void setLink(Link state, Time now);

    /// When `tick` and `nextToSend` are to be called next; none when no time matters.
    /// @param but questions whose time is looked at elsewhere
    std::optional<Time> nextTime(const std::set<Id>& but = {}) const;
    /// The same for one question; none when it has ended.
    std::optional<Time> timeOf(Id id) const;

    /// What has ended since the last call.
    std::vector<End> takeEnds();
    const Counts& counts() const { return counted; }

private:
    enum class Stage { Waiting, Writing, Sent };

    struct Open : Question {
        Id id;
        Stage stage;
        Time due;            // Sent: when the answer's time is over
        Time begun{};        // when its turn came last
        int sent = 0;        // sendings begun
        int outstanding = 0; // sendings of which an answer may still come
        int refusals = 0;
        bool isHeld = false;     // as nextToSend found last
        bool isOut = false;      // the last packet of the latest sending was on its way
        bool isAccepted = false; // the host's link has taken the latest sending
        bool mayBeUnsupported = false;
    };
    struct Past { // a question that has ended while answers to it may still come
        Id id = 0;
        MessageId answerId = MSG_Invalid;
        std::vector<uint16_t> key{};
        std::function<Verdict(const ByteArray&)> judge{};
        uint64_t family = 0;
        int outstanding = 0;
        Time until{};
    };
    using OpenAt = std::list<Open>::iterator;

    const Open* find(Id id) const;
    OpenAt at(Id id);
    bool hasOpen(const std::set<Id>& ids) const; // any of them
    bool canBeAnswered(const Open& question) const { return question.outstanding > 0; }
    std::optional<Time> confusedUntil(const Open& question) const;
    bool mayBeSent(const Open& question) const;
    bool isHeldUp(const Open& question, Time now) const;
    bool isBehindOneHeld(const Open& question) const;
    void takeAnswer(OpenAt question, How how, const ByteArray& answer, Time now);
    bool dropLate(const ByteArray& message, bool isNoOther, Time now);
    void takeUnsupported(Time now);
    static bool isSentOnceMore(const Open& one);
    void settleUnsupported(Id answered, Time now);
    void afterSilence(OpenAt question, Time now);
    void end(OpenAt question, How how, const ByteArray& answer, Time now);
    void forgetOld(Time now);

    Duration rememberedFor;
    Link link = Link::Opening;
    std::list<Open> open; // in the order in which they were asked
    std::list<Past> past;
    std::vector<std::set<Id>> unsupported; // for each such message that is not settled: whom it can be meant for
    std::optional<Id> writing;             // may have ended meanwhile
    std::set<MessageId> supported;         // ids of answers that the host has given
    Id lastId = 0;
    std::vector<End> ends;
    Counts counted;
};

} // namespace hostlink
