#include "hostlinkclient/machines/Matcher.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkMessage.h>

namespace hostlink {

namespace {

bool isAboutStates(MessageId answerId) {
    return answerId == MSG_SetStateResponse || answerId == MSG_GetStateResponse;
}

// Both in ascending order.
bool haveCommon(const std::vector<uint16_t>& states, const std::vector<uint16_t>& others) {
    return std::any_of(states.begin(), states.end(),
                       [&](uint16_t state) { return std::binary_search(others.begin(), others.end(), state); });
}

} // namespace

Matcher::Id Matcher::add(Question question, Time now) {
    Open added{std::move(question), lastId + 1, Stage::Waiting, {}};
    open.push_back(std::move(added));
    ++lastId;
    if (link == Link::Down && !open.back().waitsForLink) end(std::prev(open.end()), How::LinkDown, {}, now);
    return lastId;
}

void Matcher::forget(Id id) {
    const OpenAt one = at(id);
    if (one != open.end()) open.erase(one);
}

const Matcher::Open* Matcher::find(Id id) const {
    const auto found = std::find_if(open.begin(), open.end(), [id](const Open& one) { return one.id == id; });
    return found == open.end() ? nullptr : &*found;
}

Matcher::OpenAt Matcher::at(Id id) {
    return std::find_if(open.begin(), open.end(), [id](const Open& one) { return one.id == id; });
}

// Both in ascending order: what is asked later has a higher id.
bool Matcher::hasOpen(const std::set<Id>& ids) const {
    auto id = ids.begin();
    for (const Open& one : open) {
        while (id != ids.end() && *id < one.id) ++id;
        if (id == ids.end()) return false;
        if (*id == one.id) return true;
    }
    return false;
}

// Until when an answer that may still come could be taken for this question's.
std::optional<Time> Matcher::confusedUntil(const Open& question) const {
    std::optional<Time> until;
    for (const Past& one : past) {
        // An answer that says less than the former question asked for can look like the whole answer to this one.
        const bool canLookAlike =
            question.answerId != MSG_Invalid && one.answerId == question.answerId &&
            std::includes(one.key.begin(), one.key.end(), question.key.begin(), question.key.end());
        const bool isAnother = one.family == 0 || one.family != question.family;
        if (canLookAlike && isAnother && (!until || one.until > *until)) until = one.until;
    }
    return until;
}

bool Matcher::mayBeSent(const Open& question) const {
    return link == Link::Up || (link == Link::Probing && question.isProbe);
}

bool Matcher::isHeldUp(const Open& question, Time now) const {
    if (!mayBeSent(question)) return true;
    // What was sent over a former link waits for this one, which waits for the probes: they do not wait for it.
    const auto isInItsWay = [&](const Open& other) {
        return other.id != question.id && other.answerId == question.answerId && other.answerId != MSG_Invalid &&
               (other.stage != Stage::Waiting || (other.outstanding > 0 && mayBeSent(other)));
    };
    if (std::any_of(open.begin(), open.end(), isInItsWay)) return true;
    const auto until = confusedUntil(question);
    return until && *until > now;
}

// What is held up holds up later questions about the same states: they would ask for, or set, the value of before. Not
// probes: what waits for the link waits for them.
std::optional<Matcher::Id> Matcher::nextToSend(Time now) {
    if (writing) return std::nullopt;
    for (Open& one : open) {
        one.isHeld = false;
        if (one.stage != Stage::Waiting || now >= one.deadline) continue;
        if (isHeldUp(one, now) || isBehindOneHeld(one)) {
            one.isHeld = true;
            continue;
        }
        one.stage = Stage::Writing;
        one.isOut = false;
        one.begun = now;
        ++one.sent;
        writing = one.id;
        return writing;
    }
    return std::nullopt;
}

// Of those before it, nextToSend has just found out.
bool Matcher::isBehindOneHeld(const Open& question) const {
    if (question.isProbe || !isAboutStates(question.answerId)) return false;
    for (const Open& one : open) {
        if (one.id == question.id) break;
        if (one.isHeld && isAboutStates(one.answerId) && haveCommon(question.key, one.key)) return true;
    }
    return false;
}

void Matcher::lastPacketGoesOut() {
    if (!writing) return;
    const OpenAt one = at(*writing);
    if (one == open.end() || one->isOut) return;
    one->isOut = true;
    ++one->outstanding;
}

void Matcher::written(Written result, int refusals, Time now) {
    if (!writing) return;
    const OpenAt one = at(*std::exchange(writing, std::nullopt));
    if (one == open.end()) return;
    one->refusals += refusals;
    one->stage = Stage::Sent;
    one->isAccepted = result == Written::Accepted;
    one->due = std::min(now + one->answerTime, one->deadline);
    // Of what was refused, or never went out as a whole, there is nothing to be answered.
    const bool isNotThere = result == Written::Refused || !one->isOut;
    if (isNotThere && one->isOut && one->outstanding > 0) --one->outstanding; // or the host has called it unsupported
    if (isNotThere) {
        if (one->sent < one->sendings && now < one->deadline)
            one->stage = Stage::Waiting;
        else
            end(one, one->outstanding > 0 ? How::Unanswered : How::Refused, {}, now);
    } else if (one->answerId == MSG_Invalid && result == Written::Accepted && one->answerTime <= Duration::zero()) {
        end(one, How::Taken, {}, now);
    }
}

bool Matcher::received(const ByteArray& message, Time now) {
    forgetOld(now);
    const MessageId id = HostLinkMessage::messageId(message);
    if (!HostLinkMessage::isResponseMessageId(id)) return false;
    if (id == MSG_UnsupportedMessageResponse) {
        takeUnsupported(now);
        return true;
    }
    auto part = open.end();
    for (auto one = open.begin(); one != open.end(); ++one) {
        if (one->answerId != id || !canBeAnswered(*one)) continue;
        const Verdict verdict = one->judge(message);
        if (verdict == Verdict::Answer) {
            takeAnswer(one, How::Answered, message, now);
            return true;
        }
        if (verdict == Verdict::Part) part = one;
    }
    if (dropLate(message, part == open.end(), now)) return true;
    if (part != open.end())
        takeAnswer(part, How::Part, message, now);
    else
        ++counted.foreign;
    return true;
}

void Matcher::takeAnswer(OpenAt question, How how, const ByteArray& answer, Time now) {
    const Id id = question->id;
    supported.insert(question->answerId);
    // Another sending of it can still have been called unsupported.
    const bool isSettled = --question->outstanding == 0;
    end(question, how, answer, now);
    if (isSettled) settleUnsupported(id, now);
}

// What can be the answer of several is not counted as that of any: all of them wait for theirs.
bool Matcher::dropLate(const ByteArray& message, bool isNoOther, Time now) {
    const MessageId answerId = HostLinkMessage::messageId(message);
    const auto canBeIts = [&](const Past& one) {
        return one.answerId == answerId && one.judge(message) != Verdict::Foreign;
    };
    const auto found = std::find_if(past.begin(), past.end(), canBeIts);
    if (found == past.end()) return false;
    ++counted.late;
    const bool isOnly = isNoOther && std::find_if(std::next(found), past.end(), canBeIts) == past.end();
    if (!isOnly || found->judge(message) != Verdict::Answer || --found->outstanding > 0) return true;
    const Id id = found->id;
    past.erase(found);
    settleUnsupported(id, now);
    return true;
}

void Matcher::takeUnsupported(Time now) {
    std::set<Id> meant;
    for (const Open& one : open)
        if (canBeAnswered(one)) meant.insert(one.id);
    for (const Past& one : past) meant.insert(one.id);
    if (meant.empty()) {
        ++counted.foreign;
        return;
    }
    for (Open& one : open) one.mayBeUnsupported = one.mayBeUnsupported || meant.count(one.id) != 0;
    unsupported.push_back(std::move(meant));
    settleUnsupported(0, now);
}

// Whether a refused sending is not the last: it came after its time, when the next one was due or on its way; or it is
// still being written, and is looked at again when that is over.
bool Matcher::isSentOnceMore(const Open& one) {
    if (one.stage == Stage::Writing) return !one.isOut || one.outstanding > 0 || one.sent < one.sendings;
    return one.stage == Stage::Waiting;
}

// A question with all its answers was not meant. Whoever is alone then was, unless it has ended.
void Matcher::settleUnsupported(Id answered, Time now) {
    for (auto mark = unsupported.begin(); mark != unsupported.end();) {
        mark->erase(answered);
        const bool anyOpen = hasOpen(*mark);
        if (anyOpen && mark->size() > 1) {
            ++mark;
            continue;
        }
        const Id meant = mark->size() == 1 ? *mark->begin() : 0;
        mark = unsupported.erase(mark);
        if (!anyOpen) {
            ++counted.late;
            const auto old =
                std::find_if(past.begin(), past.end(), [meant](const Past& one) { return one.id == meant; });
            if (old != past.end() && --old->outstanding == 0) past.erase(old);
            continue;
        }
        const OpenAt one = at(meant);
        --one->outstanding;
        one->mayBeUnsupported = false;
        // What the host has answered before it supports: the message was damaged on its way.
        const bool wasDamaged = supported.count(one->answerId) != 0;
        if (wasDamaged && isSentOnceMore(*one)) continue;
        if (wasDamaged && one->stage == Stage::Sent && one->sent < one->sendings && now < one->deadline)
            one->stage = Stage::Waiting;
        else
            end(one, How::Unsupported, {}, now);
    }
}

void Matcher::tick(Time now) {
    forgetOld(now);
    for (auto one = open.begin(); one != open.end();) {
        const auto next = std::next(one);
        if (one->stage == Stage::Sent && now >= one->due) {
            afterSilence(one, now);
        } else if (now >= one->deadline) {
            const bool wasSent = one->stage == Stage::Writing || one->outstanding > 0;
            end(one, wasSent ? How::Unanswered : one->sent > 0 ? How::Refused : How::TimedOut, {}, now);
        }
        one = next;
    }
}

void Matcher::afterSilence(OpenAt question, Time now) {
    const OpenAt one = question;
    if (one->answerId == MSG_Invalid && one->isAccepted && !one->mayBeUnsupported)
        end(one, How::Taken, {}, now);
    else if (one->sent < one->sendings && now < one->deadline)
        one->stage = Stage::Waiting;
    else
        end(one, How::Unanswered, {}, now);
}

void Matcher::cancel(Id id, Time now) {
    const OpenAt one = at(id);
    if (one != open.end()) end(one, How::Cancelled, {}, now);
}

void Matcher::cancelAll(Time now) {
    while (!open.empty()) end(open.begin(), How::Cancelled, {}, now);
}

// What was sent can no longer be answered: the host's answer goes to the old link, or comes late over the new one.
void Matcher::setLink(Link state, Time now) {
    link = state;
    if (state != Link::Down) return;
    for (auto one = open.begin(); one != open.end();) {
        const auto next = std::next(one);
        if (one->isProbe || !one->waitsForLink || (one->sent >= one->sendings && one->stage != Stage::Waiting)) {
            const bool wasSent = one->stage == Stage::Writing || one->outstanding > 0;
            end(one, wasSent ? How::Unanswered : How::LinkDown, {}, now);
        } else if (one->stage == Stage::Sent) {
            one->stage = Stage::Waiting;
        }
        one = next;
    }
}

void Matcher::end(OpenAt question, How how, const ByteArray& answer, Time now) {
    Open& one = *question;
    const bool underWay = one.stage == Stage::Writing;
    // What is being written and has not gone out as a whole may still do so.
    const int outstanding = one.outstanding + (underWay && !one.isOut ? 1 : 0);
    const bool hasActed = how == How::Answered || how == How::Part || how == How::Taken;
    const bool mayBeExecuted = hasActed || outstanding > 0;
    const Duration took = one.sent > 0 ? now - one.begun : Duration::zero();
    const bool mayBeCalledUnsupported = one.answerId == MSG_Invalid && how != How::Unsupported && one.sent > 0;
    // First what takes memory: without it nothing has happened.
    std::list<Past> remembered(outstanding > 0 || mayBeCalledUnsupported ? 1 : 0);
    ends.push_back({one.id, how, answer, one.sent, one.refusals, mayBeExecuted, one.mayBeUnsupported, took});
    if (!remembered.empty()) {
        const int answersOwed = std::max(outstanding, 1);
        remembered.front() = {one.id,     one.answerId, std::move(one.key), std::move(one.judge),
                              one.family, answersOwed,  now + rememberedFor};
        past.splice(past.end(), remembered);
    }
    open.erase(question);
}

void Matcher::forgetOld(Time now) {
    past.remove_if([now](const Past& one) { return one.until <= now; });
    const auto hasNobodyOpen = [this](const std::set<Id>& mark) { return !hasOpen(mark); };
    unsupported.erase(std::remove_if(unsupported.begin(), unsupported.end(), hasNobodyOpen), unsupported.end());
}

std::optional<Time> Matcher::nextTime(const std::set<Id>& but) const {
    std::optional<Time> next;
    for (const Open& one : open) {
        if (but.count(one.id) != 0) continue;
        const auto time = timeOf(one.id);
        if (!next || *time < *next) next = time;
    }
    return next;
}

std::optional<Time> Matcher::timeOf(Id id) const {
    const Open* one = find(id);
    if (one == nullptr) return std::nullopt;
    if (one->stage == Stage::Sent) return one->due;
    if (one->stage == Stage::Writing) return one->deadline;
    const auto until = confusedUntil(*one);
    return until && mayBeSent(*one) ? std::min(*until, one->deadline) : one->deadline;
}

std::vector<Matcher::End> Matcher::takeEnds() {
    return std::exchange(ends, {});
}

} // namespace hostlink
