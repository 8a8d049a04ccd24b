#include "hostlinkclient/session/Core.h"

#include <algorithm>
#include <future>
#include <random>

#include <hostlink/HostLinkMessage.h>

#include "hostlinkclient/machines/Questions.h"
#include "hostlinkclient/session/CancellationState.h"

// Threads
//
//   caller of a blocking request        the link's receiving thread         keeper
//   wait                                takeMessage                         timeIsUp, tasks of the session,
//     mutex: add, is it its turn?         mutex: matcher: whose answer?       the device is gone
//     no lock: Line::write                no lock: end the request
//     wait for the slot  <----------------  (the slot), wake the sender     sender
//                                                                           writeNow, openLine, Line::close
//   callbacks: what the program handed in; each subscription has a thread of its own
//
// One message is written at a time: Matcher::nextToSend gives one out and no other before `written`. It is written by
// whoever waits for it, when its turn has come as he asks, else by the sender.
//
// Stopping, in close(): everything asked ends as cancelled; the sender closes the line and is joined; then the other
// workers.

namespace hostlink {

namespace {

using Clock = std::chrono::steady_clock;

uint64_t anySeed() {
    return std::random_device{}();
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
      packetSize(wire.inside().maxPacketSize),
      matcher(options.lateFor),
      backoff(options.firstPause, options.longestPause, anySeed()),
      line(wire,
           {[this] {
                const std::lock_guard lock(mutex);
                matcher.lastPacketGoesOut();
            },
            [this](const ByteArray& message) { takeMessage(message); },
            [this](const std::string& why) {
                Lock lock(mutex);
                lose(why);
                settle(lock, {});
            }},
           counted, keeper) {}

Core::~Core() {
    close();
}

void Core::start() {
    sender.post([this] { openLine(); });
}

void Core::close() {
    const std::lock_guard once(closeMutex);
    closeCompanions();
    {
        Lock lock(mutex);
        if (closing) return;
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
    callbacks.stop();
}

Core::Id Core::add(Question question, Done done, const std::shared_ptr<Cancellation::State>& by) {
    const Time now = Clock::now();
    const Id id = matcher.add(std::move(question), now);
    dones.emplace(id, std::move(done));
    if (by) {
        cancellations.emplace(id, by);
        if (!by->enter(weak_from_this(), id)) matcher.cancel(id, now);
    }
    if (closing) matcher.cancel(id, now);
    return id;
}

void Core::submit(Question question, const std::shared_ptr<Cancellation::State>& by, Done done) {
    Lock lock(mutex);
    add(std::move(question), std::move(done), by);
    settle(lock, {});
}

Matcher::End Core::wait(Question question, const std::shared_ptr<Cancellation::State>& by) {
    const auto slot = std::make_shared<Slot>();
    const ByteArray message = question.message;
    Lock lock(mutex);
    const Id id = add(
        std::move(question), [slot](const Matcher::End& end) { slot->put(end); }, by);
    const bool isTurn = settle(lock, id);
    if (!isTurn) return slot->take();

    writeNow(message);
    for (;;) {
        lock.lock();
        const std::optional<Time> time = matcher.timeOf(id);
        lock.unlock();
        if (!time || slot->waitUntil(*time)) return slot->take();
        timeIsUp();
    }
}

void Core::cancel(Id id) {
    Lock lock(mutex);
    matcher.cancel(id, Clock::now());
    settle(lock, {});
}

// After everything that changes what is asked: tells what has ended, and has the next message written. Releases the
// lock.
// @return whether the caller is to write his own message
bool Core::settle(Lock& lock, std::optional<Id> own) {
    const Time now = Clock::now();
    std::vector<std::pair<Done, Matcher::End>> ended;
    for (const Matcher::End& end : matcher.takeEnds()) {
        const auto found = dones.find(end.id);
        ended.emplace_back(std::move(found->second), end);
        dones.erase(found);
        selfTimed.erase(end.id);
        const auto cancellation = cancellations.find(end.id);
        if (cancellation == cancellations.end()) continue;
        cancellation->second->leave(*this, end.id);
        cancellations.erase(cancellation);
    }
    const std::optional<Id> next = matcher.nextToSend(now);
    const bool isOwn = next && next == own;
    if (isOwn)
        selfTimed.insert(*own);
    else if (next)
        sender.post([this, message = matcher.question(*next).message] { writeNow(message); });
    if (next && !isOwn) selfTimed.erase(*next);
    arm(now);
    lock.unlock();
    for (const auto& [done, end] : ended) done(end);
    return isOwn;
}

// The keeper wakes for those that nobody waits for with a clock. What it is armed for already comes early enough.
void Core::arm(Time now) {
    const std::optional<Time> next = matcher.nextTime(selfTimed);
    if (!next || closing || (armed && *armed <= *next && *armed > now)) return;
    armed = next;
    keeper.postAt(*next, [this] { timeIsUp(); });
}

void Core::timeIsUp() {
    Lock lock(mutex);
    const Time now = Clock::now();
    if (armed && *armed <= now) armed.reset();
    matcher.tick(now);
    settle(lock, {});
}

void Core::writeNow(const ByteArray& message) {
    const Line::Sent sent = line.write(message);
    Lock lock(mutex);
    matcher.written(sent.result, sent.refusals, Clock::now());
    unanswered = sent.result == Written::Unknown ? unanswered + 1 : 0;
    if (unanswered >= settings.unansweredWrites && (state == LinkState::Up || state == LinkState::Opening)) {
        countUp(counted.resynchronisations);
        lose("the host did not accept " + std::to_string(unanswered) + " messages in a row");
    }
    settle(lock, {});
}

void Core::takeMessage(const ByteArray& message) {
    countUp(counted.messagesIn);
    std::vector<Task> calls;
    {
        Lock lock(mutex);
        // Answers that somebody listens for are not for the matcher: they are numbered on their own.
        if (isListenedAnswer(HostLinkMessage::messageId(message)) || !matcher.received(message, Clock::now()))
            takeHostsMessage(message, calls);
        settle(lock, {});
    }
    for (Task& call : calls) keeper.post(std::move(call));
}

bool Core::isListenedAnswer(MessageId id) const {
    return HostLinkMessage::isResponseMessageId(id) &&
           std::any_of(listeners.begin(), listeners.end(), [id](const auto& one) { return one.second.id == id; });
}

void Core::takeHostsMessage(const ByteArray& message, std::vector<Task>& calls) {
    const MessageId id = HostLinkMessage::messageId(message);
    for (const auto& [key, listener] : listeners) {
        if (listener.id != id) continue;
        calls.push_back([this, handle = key, message] {
            std::function<void(const ByteArray&)> told;
            {
                const std::lock_guard lock(mutex);
                const auto found = listeners.find(handle);
                if (found != listeners.end()) told = found->second.told;
            }
            if (told) told(message);
        });
    }
}

void Core::setState(LinkState now, const std::string& why) {
    const bool wasUp = state == LinkState::Up;
    state = now;
    stateText = why;
    linkChanged.notify_all();
    if (wasUp == (now == LinkState::Up)) return;
    for (const auto& [key, told] : linkWatchers) keeper.post([told = told, up = !wasUp] { told(up); });
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
        unanswered = 0;
        matcher.setLink(Matcher::Link::Probing, Clock::now());
        restore(++linkNumber);
    }
    settle(lock, {});
}

// Whether there is a host at the other end: it is asked something.
void Core::restore(uint64_t number) {
    Question question = getQuestion({settings.probe.number()});
    question.isProbe = true;
    question.sendings = 2;
    question.answerTime = settings.answerTime;
    question.deadline = Clock::now() + settings.deadline;
    add(
        std::move(question), [this, number](const Matcher::End& end) { restored(number, end); }, nullptr);
}

void Core::restored(uint64_t number, const Matcher::End& end) {
    Lock lock(mutex);
    if (closing || number != linkNumber) return;
    using How = Matcher::How;
    if (end.how == How::Answered || end.how == How::Part || end.how == How::Unsupported) {
        backoff.reset();
        setState(LinkState::Up, "the host answers");
        matcher.setLink(Matcher::Link::Up, Clock::now());
    } else {
        lose("the host does not answer");
    }
    settle(lock, {});
}

// With the lock. The link goes, and a new one is made after a pause.
void Core::lose(const std::string& why) {
    if (closing || isReopening) return;
    isReopening = true;
    ++linkNumber;
    unanswered = 0;
    countUp(counted.losses);
    setState(LinkState::Down, why);
    matcher.setLink(Matcher::Link::Down, Clock::now());
    sender.post([this] { line.close(); });
    keeper.postAt(Clock::now() + backoff.next(), [this] { sender.post([this] { openLine(); }); });
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
    linkChanged.wait_for(lock, within, [this] { return state == LinkState::Up || state == LinkState::Closed; });
    return state == LinkState::Up;
}

void Core::ask(Question question, Done done) {
    submit(std::move(question), nullptr,
           [this, done = std::move(done)](const Matcher::End& end) { keeper.post([done, end] { done(end); }); });
}

Session::Handle Core::listen(MessageId id, std::function<void(const ByteArray&)> told) {
    const std::lock_guard lock(mutex);
    const uint64_t key = ++lastHandle;
    listeners.emplace(key, Listener{id, std::move(told)});
    return {nullptr, [this, key](void*) {
                const std::lock_guard guard(mutex);
                listeners.erase(key);
            }};
}

Session::Handle Core::watchLink(std::function<void(bool)> told) {
    const std::lock_guard lock(mutex);
    const uint64_t key = ++lastHandle;
    keeper.post([told, up = state == LinkState::Up] { told(up); });
    linkWatchers.emplace(key, std::move(told));
    return {nullptr, [this, key](void*) {
                const std::lock_guard guard(mutex);
                linkWatchers.erase(key);
            }};
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
    keeper.post([this, role, companion] {
        std::shared_ptr<Companion> last;
        const std::lock_guard lock(mutex);
        const auto found = companions.find(role);
        if (found == companions.end() || found->second.get() != companion) return;
        last = std::move(found->second);
        companions.erase(found);
    });
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
