/// @file
/// The inside of a client: who is asked, who is told, and whether there is a link.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hostlinkclient/Client.h"
#include "hostlinkclient/machines/Backoff.h"
#include "hostlinkclient/machines/Matcher.h"
#include "hostlinkclient/machines/SubscriptionTable.h"
#include "hostlinkclient/session/Counters.h"
#include "hostlinkclient/session/EventQueue.h"
#include "hostlinkclient/session/Line.h"
#include "hostlinkclient/session/ListeningState.h"
#include "hostlinkclient/session/Results.h"
#include "hostlinkclient/session/Session.h"
#include "hostlinkclient/session/SubscriptionState.h"
#include "hostlinkclient/session/Worker.h"

namespace hostlink {

/// A place where a request's end is waited for.
class Slot;

class Core : public Session, public std::enable_shared_from_this<Core> {
public:
    using Done = std::function<void(const Matcher::End&)>;

    Core(const Wire& wire, const Options& options);
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;
    ~Core() override;

    /// Begins to open the link.
    void start();
    /// As `Client::open`.
    void open();
    /// Ends everything, and tells the results that are still owed to callbacks. A second call waits for the first; one
    /// from a callback does not wait for that.
    void close();

    const Options& options() const { return settings; }

    /// Asks; `done` is called once, on any thread and without a lock, and must neither block nor throw.
    void submit(Question&& question, const std::shared_ptr<Cancellation::State>& by, Done done);
    /// Asks and waits. On the caller's thread, also for the writing where the line is free: a blocking request costs no
    /// change of threads but those to the link's own.
    Matcher::End wait(Question&& question, const std::shared_ptr<Cancellation::State>& by);
    void cancel(Matcher::Id id);

    LinkState linkState() const;
    std::string linkText() const;
    bool waitUntilUp(std::chrono::milliseconds within) const;

    /// Subscribes; what is wrong with the states is in the result.
    std::shared_ptr<Subscription::State> subscribe(const std::vector<StateId>& states,
                                                   std::function<void(const Change&)> told, Keep keep);
    void unsubscribe(uint64_t id);
    Result<void> awaitSubscription(uint64_t id, std::chrono::milliseconds within) const;
    std::optional<Value> lastValue(uint16_t of) const;

    /// Messages with this id for the program: told on the thread for callbacks.
    std::shared_ptr<Listening::State> tell(MessageId id, std::function<void(const ByteArray&)> told);
    /// The same for the link's state.
    std::shared_ptr<Listening::State> tellLink(std::function<void(LinkState, const std::string&)> told);

    // Session
    void ask(Question question, Done done) override;
    Handle listen(MessageId id, std::function<void(const ByteArray&)> told) override;
    Handle watchLink(std::function<void(bool up)> told) override;
    void post(Task task) override { keeper.post(std::move(task)); }
    Handle postAt(Time when, Task task) override;
    void callBack(Task task) override;
    /// For a callback that is told a result: exactly once, by the thread for callbacks or by `close()`. A callback that
    /// is handed in after the end has begun is told at once, on the caller's thread; one out of such a callback is not,
    /// which would go on without an end.
    std::function<void(Results::Task)> owedCallback();
    bool keep(Role role, const std::shared_ptr<Companion>& companion) override;
    void release(Role role, const Companion* companion) override;
    int maxPacketSize() const override { return packetSize; }
    uint64_t newFamily() override { return ++families; }
    Counters& counters() override { return counted; }

private:
    using Lock = std::unique_lock<std::mutex>;
    using Id = Matcher::Id;
    // Called with the lock: they put the call on a worker and return.
    using MessageTold = std::function<void(const ByteArray&)>;
    using LinkTold = std::function<void(LinkState, const std::string&)>;

    Id add(Question&& question, Done done, const std::shared_ptr<Cancellation::State>& by, bool isSelfTimed = false);
    void forget(Id id, const std::shared_ptr<Cancellation::State>& by);
    bool settle(Lock& lock, std::optional<Id> own);
    static void tellEnds(const std::vector<Matcher::End>& ended, const std::map<Id, Done>& whom);
    void arm(Time now);
    void countEnd(const Matcher::End& end);
    void timeIsUp();
    void keeperWakes();
    void writeNow(const ByteArray& message);
    void writeNext();
    void takeMessage(const ByteArray& message);
    void closeCompanions();
    bool isListenedAnswer(MessageId id) const;
    void takeHostsMessage(const ByteArray& message);
    void enter(const std::shared_ptr<Subscription::State>& made, const std::vector<StateId>& states);
    void tellSubscribers(const std::vector<SubscriptionTable::Told>& told);
    Handle addListener(MessageId id, MessageTold told);
    Handle addLinkListener(LinkTold told);
    void endEverything();
    void tellTheRest();

    Line::Events lineEvents();
    std::unique_ptr<LinkRecording> recordingOf(const Wire& wire);
    void openLine();
    void advance();
    void askStep(const SubscriptionTable::Step& step);
    void probe();
    void stepEnded(uint64_t number, const SubscriptionTable::Step& step, const Matcher::End& end);
    void probeEnded(uint64_t number, const Matcher::End& end);
    Question ownQuestion(Question question) const;
    void setState(LinkState now, const std::string& why);
    void comeUp();
    void lose(const std::string& why);

    const Options settings;
    const std::string wireName;
    const int packetSize;
    const std::shared_ptr<Events::Queue> loop;        // the program's, for callbacks; none: the worker
    const std::shared_ptr<Listening::State> loopGate; // what of ours waits there is not begun after the end
    const std::shared_ptr<Results> results;           // of requests with a callback
    Counters counted;
    static constexpr uint64_t probeFamily = 1;
    std::atomic<uint64_t> families{probeFamily};

    mutable std::mutex mutex;                // guards all from here to the workers; never held while calling out
    mutable std::condition_variable changed; // the link's state, or that of a subscription
    Matcher matcher;
    std::map<Id, Done> dones;
    std::map<Id, std::shared_ptr<Cancellation::State>> cancellations;
    std::set<Id> selfTimed;    // questions whose waiter looks at the clock itself
    std::optional<Time> armed; // when the keeper wakes next
    std::optional<Id> toWrite; // by the sender
    LinkState state = LinkState::Opening;
    std::string stateText = "the link is being opened";
    uint64_t linkNumber = 0; // of the present link; what belongs to another one comes too late
    int unanswered = 0;      // writes in a row
    Backoff backoff;
    bool isRestoring = false;   // the link is open, and the host has not been heard yet or not told everything
    bool wasHeard = false;      // over the present link
    bool isPausing = false;     // a step failed; the next one waits
    bool isStepMissing = false; // there was no memory for the next one
    SubscriptionTable table;
    std::map<uint64_t, std::shared_ptr<Subscription::State>> subscribers;
    std::map<uint64_t, std::pair<MessageId, MessageTold>> listeners;
    std::map<uint64_t, LinkTold> linkListeners;
    std::map<Role, std::shared_ptr<Companion>> companions;
    uint64_t lastHandle = 0;
    bool isReopening = false; // a new link is on its way
    bool closing = false;

    std::atomic<bool> hasBegun{false}; // to open its link
    std::atomic<bool> isEnding{false}; // the first close() has begun
    std::promise<void> hasEnded;
    const std::shared_future<void> wholeEnd{hasEnded.get_future().share()};
    std::mutex joining; // guards the joining of the callbacks' thread

    // Each is ended by close(), in this order backwards.
    Worker keeper;                                  // time, the session's tasks, and the end of the device
    const std::unique_ptr<LinkRecording> recording; // none: nobody records
    Line line;                                      // opened and closed by the sender
    Worker sender;                                  // writes what nobody waits for, makes and ends links
    Worker callbacks;                               // the program's, one after another, and the log
};

} // namespace hostlink
