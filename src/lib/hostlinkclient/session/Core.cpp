#include "hostlinkclient/session/Core.h"

#include <algorithm>
#include <exception>
#include <future>
#include <new>
#include <random>

#include <hostlink/HostLinkMessage.h>

#include "hostlinkclient/machines/Questions.h"
#include "hostlinkclient/session/Calling.h"
#include "hostlinkclient/session/CancellationState.h"
#include "hostlinkclient/session/Log.h"
#include "hostlinkclient/session/Requests.h"

// Threads
//
//   caller of a blocking request        the link's receiving thread         keeper
//   wait                                takeMessage                         timeIsUp, tasks of the session,
//     mutex: add, is it its turn?         mutex: matcher: whose answer?       the device is gone
//     no lock: Line::write                no lock: end the request
//     wait for the slot  <----------------  (the slot), wake the sender     sender
//                                                                           writeNow, openLine, Line::close
//   callbacks: what the program handed in; each subscription has a thread of its own. Or, with Options::events, both on
//   the thread of the program's loop
//
// One message is written at a time: Matcher::nextToSend gives one out and no other before `written`. It is written by
// whoever waits for it, when its turn has come as he asks, else by the sender.
//
// Stopping, in close(): everything asked ends as cancelled; the sender closes the line and is joined, then the keeper;
// nobody is told of keys, messages and the link any more; the results that are left are told, and the thread for
// callbacks is joined. Whoever closes waits for the callbacks that run, but not for the one out of which he does.

namespace hostlink {

namespace {

using Clock = std::chrono::steady_clock;
using How = Matcher::How;

constexpr std::chrono::milliseconds probeInterval{250};

uint64_t anySeed() {
    return std::random_device{}();
}

// A callback that was handed in after the end, told at once. Not out of another such one.
void tellLate(const Results::Task& task) {
    thread_local bool isTelling = false;
    if (isTelling) return;
    struct Telling {
        Telling() { isTelling = true; }
        Telling(const Telling&) = delete;
        Telling& operator=(const Telling&) = delete;
        ~Telling() { isTelling = false; }
    };
    const Telling telling;
    task();
}

} // namespace

// Waits without a limit, or for a time that the waiter looks at.
class Slot {
public:
    void put(const Matcher::End& with) {
        const std::lock_guard lock(mutex);
        end = with;
        came.notify_all();
    }
    bool waitUntil(Time when) {
        std::unique_lock lock(mutex);
        return came.wait_until(lock, when, [this] { return end.has_value(); });
    }
    Matcher::End take() {
        std::unique_lock lock(mutex);
        came.wait(lock, [this] { return end.has_value(); });
        return std::move(*end);
    }

private:
    std::mutex mutex;
    std::condition_variable came;
    std::optional<Matcher::End> end;
};

Core::Core(const Wire& wire, const Options& options)
    : settings(options),
      wireName(wire.inside().name),
      packetSize(wire.inside().maxPacketSize),
      loop(options.events ? options.events->queue() : nullptr),
      loopGate(std::make_shared<Listening::State>()),
      results(std::make_shared<Results>()),
      matcher(options.lateFor),
      backoff(options.firstPause, options.longestPause, anySeed()),
      keeper([this] { keeperWakes(); }),
      recording(recordingOf(wire)),
      line(wire, lineEvents(), counted, recording.get(), keeper),
      sender([this] { writeNext(); }) {}

std::unique_ptr<LinkRecording> Core::recordingOf(const Wire& wire) {
    const std::optional<Recorder> recorder = recorderFor(settings.recorder);
    if (!recorder) return nullptr;
    auto made = std::make_unique<LinkRecording>(*recorder, wire.inside());
    made->recordEdges(counted.ofLinks);
    return made;
}

Line::Events Core::lineEvents() {
    Line::Events events;
    events.lastPacketGoesOut = [this] {
        const std::lock_guard lock(mutex);
        matcher.lastPacketGoesOut();
    };
    events.received = [this](const ByteArray& message) { takeMessage(message); };
    events.hungUp = [this](const std::string& why) {
        Lock lock(mutex);
        lose(why);
        settle(lock, {});
    };
    return events;
}

Core::~Core() {
    close();
}

void Core::start() {
    acceptSilence();
    callbacks.post([this] { Calling::mark(this); });
    if (!settings.opensLater) open();
}

void Core::open() {
    if (!hasBegun.exchange(true)) sender.post([this] { openLine(); });
}

void Core::close() {
    if (!isEnding.exchange(true)) {
        endEverything();
        hasEnded.set_value();
        return;
    }
    if (Calling::isFor(this)) return; // whoever ends it waits for this callback
    wholeEnd.wait();
    const std::lock_guard once(joining);
    callbacks.stop(); // where a callback of its own has ended everything
}

void Core::endEverything() {
    results->beginEnd();
    closeCompanions();
    {
        Lock lock(mutex);
        closing = true;
        setState(LinkState::Closed, "the client was closed");
        matcher.cancelAll(Clock::now());
        settle(lock, {});
    }
    closeCompanions();
    line.stopWriting();
    std::promise<void> closed;
    sender.post([this, &closed] {
        line.close();
        closed.set_value();
    });
    closed.get_future().wait();
    sender.stop();
    keeper.stop();
    loopGate->end();
    tellTheRest();
    std::map<uint64_t, std::shared_ptr<Subscription::State>> told;
    {
        const std::lock_guard lock(mutex);
        told.swap(subscribers);
    }
    for (const auto& [id, subscriber] : told) subscriber->stop();
}

// Where the others were told: on the thread for callbacks; in a loop, here, for nobody knows when that comes round
// again.
void Core::tellTheRest() {
    const std::deque<Results::Task> rest = results->takeRest();
    std::promise<void> told; // until the thread that keeps it has ended
    const auto tell = [&rest] {
        for (const Results::Task& task : rest) task();
    };
    if (loop || callbacks.isItsThread()) {
        const Calling marked(this);
        tell();
    } else {
        callbacks.post([&] {
            tell();
            told.set_value();
        });
        told.get_future().wait();
    }
    const std::lock_guard once(joining);
    callbacks.stop();
}

// Without memory for all of it nothing has been asked.
Core::Id Core::add(Question&& question, Done done, const std::shared_ptr<Cancellation::State>& by, bool isSelfTimed) {
    const Time now = Clock::now();
    const Id id = matcher.nextId();
    try {
        dones.emplace(id, std::move(done));
        if (isSelfTimed) selfTimed.insert(id);
        if (by) cancellations.emplace(id, by);
        const bool isCancelled = by && !by->enter(weak_from_this(), id);
        matcher.add(std::move(question), now);
        if (isCancelled || closing) matcher.cancel(id, now);
    } catch (const std::bad_alloc&) {
        forget(id, by);
        throw;
    }
    return id;
}

void Core::forget(Id id, const std::shared_ptr<Cancellation::State>& by) {
    matcher.forget(id);
    if (by) by->leave(*this, id);
    cancellations.erase(id);
    selfTimed.erase(id);
    dones.erase(id);
}

void Core::submit(Question&& question, const std::shared_ptr<Cancellation::State>& by, Done done) {
    Lock lock(mutex);
    add(std::move(question), std::move(done), by);
    settle(lock, {});
}

Matcher::End Core::wait(Question&& question, const std::shared_ptr<Cancellation::State>& by) {
    const auto slot = std::make_shared<Slot>();
    const ByteArray message = question.message;
    Lock lock(mutex);
    const Id id = add(
        std::move(question), [slot](const Matcher::End& end) { slot->put(end); }, by, true);
    const bool isTurn = settle(lock, id);
    if (!isTurn) return slot->take();

    try {
        writeNow(message);
        for (;;) {
            lock.lock();
            const std::optional<Time> time = matcher.timeOf(id);
            lock.unlock();
            if (!time || slot->waitUntil(*time)) return slot->take();
            timeIsUp();
        }
    } catch (const std::bad_alloc&) {
        lock.lock(); // somebody else looks at its time
        selfTimed.erase(id);
        settle(lock, {});
        throw;
    }
}

void Core::cancel(Id id) {
    Lock lock(mutex);
    matcher.cancel(id, Clock::now());
    settle(lock, {});
}

void Core::countEnd(const Matcher::End& end) {
    if (end.how == Matcher::How::Answered) counted.responseTimes.note(end.took);
    if (end.how == Matcher::How::Unanswered) countUp(counted.timeouts);
    if (end.sendings > 1) countUp(counted.retries, static_cast<uint64_t>(end.sendings) - 1);
}

// After everything that changes what is asked: tells what has ended, and has the next message written. Releases the
// lock. Takes no memory, so that what has been begun goes on.
// @return whether the caller is to write his own message
bool Core::settle(Lock& lock, std::optional<Id> own) {
    const Time now = Clock::now();
    const std::vector<Matcher::End> ended = matcher.takeEnds();
    std::map<Id, Done> told;
    for (const Matcher::End& end : ended) {
        countEnd(end);
        told.insert(dones.extract(end.id));
        selfTimed.erase(end.id);
        const auto cancellation = cancellations.find(end.id);
        if (cancellation == cancellations.end()) continue;
        cancellation->second->leave(*this, end.id);
        cancellations.erase(cancellation);
    }
    counted.staleAnswers.store(matcher.counts().late + matcher.counts().foreign, std::memory_order_relaxed);
    const std::optional<Id> next = matcher.nextToSend(now);
    const bool isOwn = next && next == own;
    if (next && !isOwn) {
        toWrite = next;
        sender.callAt(now);
    }
    if (next && !isOwn) selfTimed.erase(*next);
    if (own && !isOwn) selfTimed.erase(*own);
    arm(now);
    lock.unlock();
    tellEnds(ended, told);
    return isOwn;
}

// Whoever has no memory for one result tells the others all the same.
void Core::tellEnds(const std::vector<Matcher::End>& ended, const std::map<Id, Done>& whom) {
    std::exception_ptr lack;
    for (const Matcher::End& end : ended) {
        try {
            whom.at(end.id)(end);
        } catch (const std::bad_alloc&) {
            lack = std::current_exception();
        }
    }
    if (lack) std::rethrow_exception(lack);
}

// The keeper wakes for those that nobody waits for with a clock. What it is armed for already comes early enough.
void Core::arm(Time now) {
    const std::optional<Time> next = matcher.nextTime(selfTimed);
    if (!next || closing || (armed && *armed <= *next && *armed > now)) return;
    armed = next;
    keeper.callAt(*next);
}

// For the earliest of all that it was armed for; the others are armed for anew.
void Core::keeperWakes() {
    {
        const std::lock_guard lock(mutex);
        armed.reset();
        if (std::exchange(isStepMissing, false)) advance();
    }
    timeIsUp();
}

void Core::timeIsUp() {
    Lock lock(mutex);
    const Time now = Clock::now();
    if (armed && *armed <= now) armed.reset();
    matcher.tick(now);
    settle(lock, {});
}

// On the sender. What has ended meanwhile is not written any more.
void Core::writeNext() {
    Lock lock(mutex);
    const std::optional<Id> id = std::exchange(toWrite, std::nullopt);
    if (!id) return;
    const ByteArray message = matcher.isOpen(*id) ? matcher.question(*id).message : ByteArray();
    lock.unlock();
    writeNow(message);
}

void Core::writeNow(const ByteArray& message) {
    const Line::Sent sent = line.write(message);
    Lock lock(mutex);
    matcher.written(sent.result, sent.refusals, Clock::now());
    unanswered = sent.result == Written::Unknown ? unanswered + 1 : 0;
    if (unanswered >= settings.unansweredWrites &&
        (state == LinkState::Up || state == LinkState::Opening || isRestoring)) {
        countUp(counted.resynchronisations);
        lose("the host did not accept " + std::to_string(unanswered) + " messages in a row");
    }
    settle(lock, {});
}

void Core::takeMessage(const ByteArray& message) {
    countUp(counted.messagesIn);
    Lock lock(mutex);
    // Answers that somebody listens for are not for the matcher: they are numbered on their own.
    if (isListenedAnswer(HostLinkMessage::messageId(message)) || !matcher.received(message, Clock::now()))
        takeHostsMessage(message);
    settle(lock, {});
}

bool Core::isListenedAnswer(MessageId id) const {
    return HostLinkMessage::isResponseMessageId(id) &&
           std::any_of(listeners.begin(), listeners.end(), [id](const auto& one) { return one.second.first == id; });
}

void Core::takeHostsMessage(const ByteArray& message) {
    const MessageId id = HostLinkMessage::messageId(message);
    for (const auto& [key, listener] : listeners)
        if (listener.first == id) listener.second(message);
    if (id != MSG_StateChanged) return;
    if (const auto items = readItems(message)) tellSubscribers(table.take(*items, false));
}

void Core::tellSubscribers(const std::vector<SubscriptionTable::Told>& told) {
    for (const SubscriptionTable::Told& one : told) {
        const auto found = subscribers.find(one.subscriber);
        if (found != subscribers.end()) found->second->push({StateId(one.state), one.value, one.wasRead, 0});
    }
}

// On the sender.
void Core::openLine() {
    const std::string problem = line.open();
    Lock lock(mutex);
    if (closing) return;
    isReopening = false;
    if (!problem.empty()) {
        lose(problem);
    } else {
        ++linkNumber;
        unanswered = 0;
        wasHeard = false;
        isRestoring = true;
        matcher.setLink(Matcher::Link::Probing, Clock::now());
        advance();
    }
    settle(lock, {});
}

void Core::callBack(Task task) {
    if (loop)
        loop->post([this, gate = loopGate, task = std::move(task)] {
            gate->call([&] {
                const Calling marked(this);
                task();
            });
        });
    else
        callbacks.post([gate = loopGate, task = std::move(task)] { gate->call(task); });
}

// What the gate does not let through any more is told by the end.
std::function<void(Results::Task)> Core::owedCallback() {
    const std::shared_ptr<Results::Owed> owed = results->owe();
    if (!owed) return tellLate;
    return [this, owed](Results::Task task) {
        owed->is(std::move(task));
        callBack([from = results] { from->tellNext(); });
    };
}

// With the lock. Asks the host for what it has not been asked for; a new host, besides, whether it is there at all.
// When there is nothing left, the link is up.
void Core::advance() {
    if (closing || isPausing || !(isRestoring || state == LinkState::Up)) return;
    if (const auto step = table.nextStep()) {
        askStep(*step);
    } else if (isRestoring && !wasHeard) {
        probe();
    } else if (isRestoring) {
        comeUp();
    }
}

Question Core::ownQuestion(Question question) const {
    question.isProbe = true;
    question.sendings = settings.sendings;
    question.answerTime = settings.answerTime;
    question.deadline = Clock::now() + settings.deadline;
    return question;
}

void Core::askStep(const SubscriptionTable::Step& step) {
    try {
        add(
            ownQuestion(listQuestion(step.id, step.states)),
            [this, step, number = linkNumber](const Matcher::End& end) { stepEnded(number, step, end); }, nullptr);
    } catch (const std::bad_alloc&) {
        table.stepEnded(step, SubscriptionTable::Ended::Failed);
        throw;
    }
}

void Core::stepEnded(uint64_t number, const SubscriptionTable::Step& step, const Matcher::End& end) {
    Lock lock(mutex);
    if (closing || number != linkNumber) return;
    using Ended = SubscriptionTable::Ended;
    const bool isDone = end.how == Matcher::How::Answered;
    const bool isUnsupported = end.how == Matcher::How::Unsupported;
    table.stepEnded(step, isDone ? Ended::Done : isUnsupported ? Ended::Unsupported : Ended::Failed);
    if (isDone && step.id == MSG_GetState) tellSubscribers(table.take(*readItems(end.answer), true));
    changed.notify_all();
    wasHeard = wasHeard || isDone || isUnsupported;
    if (isDone || isUnsupported) {
        advance();
    } else if (isRestoring) {
        lose("the host does not answer");
    } else {
        isPausing = true;
        keeper.postAt(Clock::now() + settings.answerTime, [this] {
            Lock again(mutex);
            isPausing = false;
            advance();
            settle(again, {});
        });
    }
    settle(lock, {});
}

// Whether there is a host at the other end: it is asked something. Whatever it answers will do, also what it was asked
// over the link before.
void Core::probe() {
    Question question = ownQuestion(getQuestion({settings.probe.number()}));
    question.family = probeFamily;
    // Asked more often in the same time: over a bad line one of many gets through sooner than one of a few.
    const Duration often = std::min<Duration>(settings.answerTime, probeInterval);
    question.sendings *= static_cast<int>(settings.answerTime / often);
    question.answerTime = often;
    add(
        std::move(question), [this, number = linkNumber](const Matcher::End& end) { probeEnded(number, end); },
        nullptr);
}

void Core::probeEnded(uint64_t number, const Matcher::End& end) {
    Lock lock(mutex);
    if (closing || number != linkNumber) return;
    wasHeard = end.how == How::Answered || end.how == How::Part || end.how == How::Unsupported;
    if (wasHeard)
        advance();
    else
        lose("the host does not answer");
    settle(lock, {});
}

void Core::setState(LinkState now, const std::string& why) {
    const bool isNews = state != now || stateText != why;
    state = now;
    stateText = why;
    changed.notify_all();
    if (!isNews) return;
    for (const auto& [key, told] : linkListeners) told(now, why);
    const LogLevel level = now == LinkState::Down ? LogLevel::Warning : LogLevel::Info;
    // On a thread of its own: an appender may take long, and the program's function may ask for the link's state.
    callbacks.post([this, level, text = wireName + ": " + why] {
        writeLog(level, text);
        if (settings.log) settings.log(level, text);
    });
}

void Core::comeUp() {
    isRestoring = false;
    backoff.reset();
    matcher.setLink(Matcher::Link::Up, Clock::now());
    setState(LinkState::Up, "the host answers");
}

// With the lock. The link goes, and a new one is made after a pause. First what takes memory: without it nothing has
// happened, and the next message that fails has it tried again.
void Core::lose(const std::string& why) {
    if (closing || isReopening) return;
    sender.post([this] { line.close(); });
    keeper.postAt(Clock::now() + backoff.next(), [this] { sender.post([this] { openLine(); }); });
    if (isRestoring || state == LinkState::Up) countUp(counted.losses);
    isReopening = true;
    isRestoring = false;
    isPausing = false;
    ++linkNumber;
    unanswered = 0;
    table.linkLost();
    matcher.setLink(Matcher::Link::Down, Clock::now());
    setState(LinkState::Down, why);
}

std::shared_ptr<Subscription::State> Core::subscribe(const std::vector<StateId>& states,
                                                     std::function<void(const Change&)> told, Keep keep) {
    const std::string problem = problemOf(states);
    std::optional<Failure> wrong;
    if (!problem.empty()) wrong = Failure(Outcome::BadArgument, "subscribe: " + problem);
    if (!told && !wrong) wrong = Failure(Outcome::BadArgument, "subscribe: there is no callback to be told");
    Lock lock(mutex);
    auto made =
        std::make_shared<Subscription::State>(weak_from_this(), ++lastHandle, wrong, keep, std::move(told), loop);
    if (wrong || closing) return made;
    made->start();
    try {
        enter(made, states);
    } catch (const std::bad_alloc&) {
        table.remove(made->id);
        subscribers.erase(made->id);
        lock.unlock(); // its callback may be running already
        made->stop();
        throw;
    }
    settle(lock, {});
    return made;
}

void Core::enter(const std::shared_ptr<Subscription::State>& made, const std::vector<StateId>& states) {
    for (auto old = subscribers.begin(); old != subscribers.end();)
        old = old->second->isOver() ? subscribers.erase(old) : std::next(old);
    subscribers.emplace(made->id, made);
    tellSubscribers(table.add(made->id, numbersOf(states)));
    advance();
}

void Core::unsubscribe(uint64_t id) {
    std::shared_ptr<Subscription::State> gone; // goes without the lock
    Lock lock(mutex);
    table.remove(id);
    const auto found = subscribers.find(id);
    // One that its own callback ends is waited for by close(), as all callbacks are.
    if (found != subscribers.end() && !found->second->isOnItsThread()) {
        gone = std::move(found->second);
        subscribers.erase(found);
    }
    try {
        advance();
    } catch (const std::bad_alloc&) { // the host hears of it later
        isStepMissing = true;
        keeper.callAt(Clock::now());
    }
    settle(lock, {});
}

Result<void> Core::awaitSubscription(uint64_t id, std::chrono::milliseconds within) const {
    using Standing = SubscriptionTable::Standing;
    Lock lock(mutex);
    changed.wait_for(lock, within, [this, id] { return closing || table.standingOf(id) != Standing::Pending; });
    switch (table.standingOf(id)) {
    case Standing::Established:
        if (!closing) return {};
        [[fallthrough]];
    case Standing::Gone: return Failure(Outcome::Cancelled, "subscribe: the subscription has ended");
    case Standing::Refused:
        return Failure(Outcome::Unsupported, "subscribe: the host does not support a subscription to one of these "
                                             "states; it will be asked again over a new link");
    case Standing::Pending: break;
    }
    if (state != LinkState::Up)
        return Failure(Outcome::LinkDown, "subscribe: there is no link to the host (" + stateText +
                                              "). It is asked as soon as there is one");
    return Failure(Outcome::Unanswered, "subscribe: the host has not confirmed it yet. It is asked again");
}

std::optional<Value> Core::lastValue(uint16_t of) const {
    const std::lock_guard lock(mutex);
    return table.last(of);
}

LinkState Core::linkState() const {
    const std::lock_guard lock(mutex);
    return state;
}

std::string Core::linkText() const {
    const std::lock_guard lock(mutex);
    return stateText;
}

bool Core::waitUntilUp(std::chrono::milliseconds within) const {
    Lock lock(mutex);
    changed.wait_for(lock, within, [this] { return state == LinkState::Up || state == LinkState::Closed; });
    return state == LinkState::Up;
}

void Core::ask(Question question, Done done) {
    submit(std::move(question), nullptr,
           [this, done = std::move(done)](const Matcher::End& end) { keeper.post([done, end] { done(end); }); });
}

Session::Handle Core::addListener(MessageId id, MessageTold told) {
    const std::lock_guard lock(mutex);
    const uint64_t key = ++lastHandle;
    listeners.emplace(key, std::make_pair(id, std::move(told)));
    return {nullptr, [inside = weak_from_this(), key](void*) {
                const auto core = inside.lock();
                if (!core) return;
                decltype(core->listeners)::node_type gone; // what it holds goes without the lock
                const std::lock_guard guard(core->mutex);
                gone = core->listeners.extract(key);
            }};
}

Session::Handle Core::addLinkListener(LinkTold told) {
    const std::lock_guard lock(mutex);
    const uint64_t key = ++lastHandle;
    told(state, stateText);
    linkListeners.emplace(key, std::move(told));
    return {nullptr, [inside = weak_from_this(), key](void*) {
                const auto core = inside.lock();
                if (!core) return;
                decltype(core->linkListeners)::node_type gone; // what it holds goes without the lock
                const std::lock_guard guard(core->mutex);
                gone = core->linkListeners.extract(key);
            }};
}

// The handle's state is shared with the calls that wait on the keeper: what has been let go is not called any more.
Session::Handle Core::listen(MessageId id, std::function<void(const ByteArray&)> told) {
    const auto listening = std::make_shared<Listening::State>();
    listening->handle = addListener(id, [this, listening, told = std::move(told)](const ByteArray& message) {
        keeper.post([listening, told, message] { listening->call([&] { told(message); }); });
    });
    return {nullptr, [listening](void*) { listening->end(); }};
}

Session::Handle Core::watchLink(std::function<void(bool)> told) {
    const auto listening = std::make_shared<Listening::State>();
    listening->handle = addLinkListener([this, listening, told = std::move(told)](LinkState now, const std::string&) {
        keeper.post([listening, told, up = now == LinkState::Up] { listening->call([&] { told(up); }); });
    });
    return {nullptr, [listening](void*) { listening->end(); }};
}

std::shared_ptr<Listening::State> Core::tell(MessageId id, std::function<void(const ByteArray&)> told) {
    auto listening = std::make_shared<Listening::State>();
    listening->handle = addListener(id, [this, listening, told = std::move(told)](const ByteArray& message) {
        callBack([listening, told, message] { listening->call([&] { told(message); }); });
    });
    return listening;
}

std::shared_ptr<Listening::State> Core::tellLink(std::function<void(LinkState, const std::string&)> told) {
    auto listening = std::make_shared<Listening::State>();
    listening->handle =
        addLinkListener([this, listening, told = std::move(told)](LinkState now, const std::string& why) {
            callBack([listening, told, now, why] { listening->call([&] { told(now, why); }); });
        });
    return listening;
}

Session::Handle Core::postAt(Time when, Task task) {
    const Worker::Timer timer = keeper.postAt(when, std::move(task));
    return {nullptr, [this, timer](void*) { keeper.cancel(timer); }};
}

bool Core::keep(Role role, const std::shared_ptr<Companion>& companion) {
    const std::lock_guard lock(mutex);
    return !closing && companions.emplace(role, companion).second;
}

// Its thread may be the caller, so it is destroyed on the keeper, which may wait for that thread's end.
void Core::release(Role role, const Companion* companion) {
    const std::lock_guard lock(mutex);
    const auto found = companions.find(role);
    if (found == companions.end() || found->second.get() != companion) return;
    keeper.post([last = std::move(found->second)] {});
    companions.erase(found);
}

// They end while the session still takes what they have to say.
void Core::closeCompanions() {
    std::map<Role, std::shared_ptr<Companion>> last;
    {
        const std::lock_guard lock(mutex);
        last = std::exchange(companions, {});
    }
    for (const auto& one : last) one.second->close();
}

Session& sessionOf(const Client& client) {
    return *client.core();
}

} // namespace hostlink
