#include "hostlinkclient/session/Confirmation.h"

#include <utility>

#include "hostlinkclient/machines/Questions.h"
#include "hostlinkclient/session/Core.h"
#include "hostlinkclient/session/Explain.h"

namespace hostlink {

namespace {

using How = Matcher::How;

// A damaged answer can say by chance what a damaged request has failed to do. Two that agree do not.
constexpr int enough = 2;

// Kept alive by the question that is under way; one question at a time, so nothing here is shared by threads at once.
class Confirmation : public std::enable_shared_from_this<Confirmation> {
public:
    Confirmation(const std::shared_ptr<Core>& inside, Request<void>&& asked, StateValues wanted, const Call& call,
                 std::function<void(Result<void>)> whenDone)
        : core(inside),
          request(std::move(asked)),
          values(std::move(wanted)),
          cancellation(call.isCancelledBy()),
          done(std::move(whenDone)) {
        const Options& options = inside->options();
        std::vector<uint16_t> states;
        for (const StateValue& one : values) states.push_back(one.state.number());
        readBack = getQuestion(states);
        readBack.deadline = request.question.deadline;
        readBack.answerTime = request.question.answerTime;
        readBack.waitsForLink = request.question.waitsForLink;
        readBack.sendings = request.question.sendings = options.sendings;
        readBack.family = request.question.family = inside->newFamily();
        roundsLeft = options.sendings;
    }

    void set() {
        agreeing = 0;
        ask(request.question, [self = shared_from_this()](const Matcher::End& end) { self->afterSet(end); });
    }

private:
    void ask(const Question& question, Core::Done next) {
        const auto present = core.lock();
        if (present) present->submit(Question(question), cancellation, std::move(next));
    }

    // Whatever else the answer says may be damaged; only what keeps the question from being asked ends it here.
    void afterSet(const Matcher::End& end) {
        wasSent = wasSent || end.mayBeExecuted;
        if (end.how == How::Cancelled || end.how == How::LinkDown || end.how == How::TimedOut ||
            end.how == How::Unsupported) {
            finish(end);
            return;
        }
        if (end.how == How::Answered && saysValues(*readItems(end.answer), values)) ++agreeing;
        get();
    }

    void get() {
        ask(readBack, [self = shared_from_this()](const Matcher::End& answer) { self->afterGet(answer); });
    }

    void afterGet(const Matcher::End& end) {
        if (end.how != How::Answered) {
            const bool isForNow =
                end.how == How::Unanswered || end.how == How::Refused || end.how == How::Part; // damaged, mostly
            if (isForNow && --roundsLeft > 0)
                set(); // a serial link in a false header answers nothing before it is made anew
            else
                finish(end);
            return;
        }
        const auto items = readItems(end.answer);
        if (saysValues(*items, values)) {
            if (++agreeing >= enough)
                done({});
            else
                get();
        } else if (--roundsLeft > 0) {
            held = valuesOf(*items);
            set();
        } else {
            held = valuesOf(*items);
            finishHoldingAnother();
        }
    }

    void finishHoldingAnother() {
        done(Failure(Outcome::HoldsAnother,
                     request.what + ": the host holds " + print(held) +
                         " however often it is set. It has limits of its own, or somebody else sets it too",
                     true, 0, held));
    }

    // The end of one question, told as the end of the whole: what an earlier one has done, the host may have done.
    void finish(Matcher::End end) {
        if (!held.empty() && (end.how == How::TimedOut || end.how == How::Unanswered)) {
            finishHoldingAnother();
            return;
        }
        const bool isUnknown = wasSent && (end.how == How::LinkDown || end.how == How::TimedOut ||
                                           end.how == How::Refused || end.how == How::Unsupported);
        if (isUnknown && !(end.how == How::Unsupported && !end.mayBeExecuted)) end.how = How::Unanswered;
        end.mayBeExecuted = end.mayBeExecuted || wasSent;
        const auto present = core.lock();
        done(explain(end, request.what, present ? present->linkText() : ""));
    }

    const std::weak_ptr<Core> core;
    Request<void> request;
    Question readBack;
    const StateValues values;
    const std::shared_ptr<Cancellation::State> cancellation;
    const std::function<void(Result<void>)> done;
    StateValues held; // what the host said last, when it was something else
    int roundsLeft;
    int agreeing = 0; // answers since the last set that say the values, its own included
    bool wasSent = false;
};

} // namespace

void confirm(const std::shared_ptr<Core>& core, Request<void>&& request, const StateValues& values, const Call& call,
             std::function<void(Result<void>)> done) {
    std::make_shared<Confirmation>(core, std::move(request), values, call, std::move(done))->set();
}

} // namespace hostlink
