#include "hostlinkclient/session/Explain.h"

#include "hostlinkclient/Value.h"

namespace hostlink {

namespace {

using How = Matcher::How;

std::string times(int count) {
    return count == 1 ? "once" : std::to_string(count) + " times";
}

Failure refused(const Matcher::End& end, const std::string& what) {
    if (end.refusals == 0)
        return {Outcome::NotSent,
                what + ": the host's link did not take the whole message, so the host has not got it. Ask again",
                false,
                0,
                {}};
    return {Outcome::NotSent,
            what + ": the host's link refused it (" + times(end.refusals) +
                "), so the host has not got it. Ask again later, when the host is less busy",
            false,
            end.refusals,
            {}};
}

Failure unanswered(const Matcher::End& end, const std::string& what) {
    std::string text = what + ": sent " + times(end.sendings) + ", and no answer came. The host may have acted on it: ";
    text += "read the state back before you ask again, or allow more time";
    if (end.mayBeUnsupported) text += ". The host called a request unsupported meanwhile, which may have been this one";
    return {Outcome::Unanswered, text, true, end.refusals, {}};
}

Failure cancelled(const Matcher::End& end, const std::string& what) {
    const char* far = end.mayBeExecuted ? " after it was sent: the host may have acted on it"
                                        : " before it was sent: the host has not got it";
    return {Outcome::Cancelled, what + ": cancelled" + far, end.mayBeExecuted, end.refusals, {}};
}

} // namespace

Failure explain(const Matcher::End& end, const std::string& what, const std::string& link) {
    switch (end.how) {
    case How::Refused: return refused(end, what);
    case How::Unanswered: return unanswered(end, what);
    case How::Cancelled: return cancelled(end, what);
    case How::Unsupported:
        return {Outcome::Unsupported,
                what +
                    ": the host does not support this request. It needs a firmware that does, or a program that does "
                    "not ask; on a bad line a request that arrived damaged is answered so too",
                false,
                end.refusals,
                {}};
    case How::TimedOut:
        return {Outcome::TimedOutBeforeSending,
                what + ": its time was over before its turn came, so the host has not got it. Allow more time, or ask "
                       "less at once"};
    case How::LinkDown:
        return {Outcome::LinkDown,
                what + ": there is no link to the host (" + link +
                    "), so the host has not got it. The client goes on trying; ask again when it is up, or let the "
                    "request wait"};
    default: break; // Part; the others are no failures
    }
    return {Outcome::WithoutState,
            what + ": the host answered without all that was asked for. Ask for less, or see what this host knows",
            true,
            end.refusals,
            {}};
}

void complain(std::optional<Failure>& wrong, const std::string& what, const std::string& problem) {
    if (!problem.empty() && !wrong) wrong = Failure(Outcome::BadArgument, what + ": " + problem);
}

} // namespace hostlink
