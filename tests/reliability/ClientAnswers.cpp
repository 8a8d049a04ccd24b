#include "ClientAnswers.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include <hostlink/HostLinkMessage.h>
#include <hostlinkclient/Client.h>
#include <items/Items.h>

#include "hostlinkclient/session/PlayedHost.h"

namespace truth {

namespace {

using namespace hostlink;
using namespace std::chrono_literals;
using Moment = std::chrono::steady_clock::time_point;

constexpr uint16_t firstState = 0x4000;
constexpr unsigned states = 12;
constexpr size_t wrongOnesKept = 5; // of a client
constexpr auto answerTime = 20ms;
constexpr auto longestDelay = 60ms; // of a late answer
constexpr auto lateFor = 400ms;
constexpr auto lostAfter = lateFor - 100ms; // what a busy machine holds up for so long comes no more

Moment now() {
    return std::chrono::steady_clock::now();
}

// Which values a state has held, and when. The host's lock guards it while requests run.
class History {
public:
    void set(uint16_t state, int64_t value) {
        auto& values = held[state];
        if (!values.empty()) values.back().until = now();
        values.push_back({value, now(), Moment::max()});
    }
    // None stands for a state that has no value yet.
    bool wasHeld(uint16_t state, std::optional<int64_t> value, Moment from, Moment until) const {
        const auto found = held.find(state);
        if (found == held.end() || !value)
            return !value && (found == held.end() || found->second.front().since >= from);
        return std::any_of(found->second.begin(), found->second.end(), [&](const Span& one) {
            return one.value == *value && one.since <= until && one.until >= from;
        });
    }

private:
    struct Span {
        int64_t value;
        Moment since, until;
    };
    std::map<uint16_t, std::vector<Span>> held;
};

// Says late what the host has to say. Goes before the host does.
class LateAnswers {
public:
    explicit LateAnswers(PlayedHost& of) : host(of), thread([this] { run(); }) {}
    LateAnswers(const LateAnswers&) = delete;
    LateAnswers& operator=(const LateAnswers&) = delete;
    ~LateAnswers() {
        {
            const std::lock_guard lock(mutex);
            ended = true;
            changed.notify_all();
        }
        thread.join();
    }

    void add(std::chrono::milliseconds delay, const ByteArray& message) {
        const Moment begin = now();
        const std::lock_guard lock(mutex);
        waiting.emplace(begin + delay, Answer{message, begin + lostAfter});
        changed.notify_all();
    }

private:
    struct Answer {
        ByteArray message;
        Moment lastsUntil;
    };

    void run() {
        std::unique_lock lock(mutex);
        while (!ended) {
            if (waiting.empty()) {
                changed.wait(lock);
            } else if (const Moment due = waiting.begin()->first; now() < due) {
                changed.wait_until(lock, due);
            } else {
                const Answer answer = waiting.begin()->second;
                waiting.erase(waiting.begin());
                lock.unlock();
                host.say(answer.message, answer.lastsUntil); // takes the host's lock
                lock.lock();
            }
        }
    }

    PlayedHost& host;
    std::mutex mutex; // guards all below but the thread
    std::condition_variable changed;
    std::multimap<Moment, Answer> waiting; // by when they are due
    bool ended = false;
    std::thread thread;
};

// One client and its host.
class Case {
public:
    Case(uint32_t seed, unsigned number) : random(seed), first(int64_t{number} << 40U), late(host) {
        host.losesAfter(lostAfter);
    }

    AnswerFigures run(unsigned threads, uint64_t requests) {
        Options options;
        options.deadline = 5s;
        options.answerTime = answerTime;
        options.lateFor = lateFor;
        options.refusalTime = 20ms;
        options.unansweredWrites = 1000000; // the same link throughout
        Client client(host.wire(), options);
        if (!client.waitUntilUp(20s)) return {};
        std::vector<uint32_t> seeds(threads);
        for (uint32_t& seed : seeds) seed = static_cast<uint32_t>(random());
        host.does([this](const ByteArray& message) { return react(message); });
        std::vector<std::thread> askers;
        for (unsigned i = 0; i < threads; ++i) {
            const uint64_t share = requests / threads + (i < requests % threads ? 1 : 0);
            askers.emplace_back([this, &client, share, seed = seeds[i]] { ask(client, share, seed); });
        }
        for (std::thread& asker : askers) asker.join();
        figures.stale = client.statistics().staleAnswers;
        return figures;
    }

private:
    using Reaction = PlayedHost::Reaction;

    bool oneIn(unsigned count) { return random() % count == 0; }

    // With the host's lock.
    Reaction react(const ByteArray& message) {
        if (oneIn(40)) return {Rejected};
        if (oneIn(40)) return {NoResponse}; // not heard
        Reaction reaction{oneIn(40) ? NoResponse : Accepted, host.simulated(message)};
        note(message);
        if (oneIn(60)) {
            ++figures.lost;
            reaction.answers.clear();
        } else if (oneIn(8)) {
            ++figures.late;
            const auto delay = std::chrono::milliseconds(random() % static_cast<uint32_t>(longestDelay.count()));
            for (const ByteArray& answer : reaction.answers) late.add(delay, answer);
            reaction.answers.clear();
        } else if (oneIn(8)) {
            ++figures.twice;
            reaction.twice = true;
        } else if (kept.empty() && oneIn(8)) {
            ++figures.swapped; // comes behind the next answer
            kept = reaction.answers;
            keptAt = now();
            reaction.answers.clear();
        } else if (!kept.empty()) {
            if (now() - keptAt < longestDelay)
                reaction.answers.insert(reaction.answers.end(), kept.begin(), kept.end());
            kept.clear();
        }
        return reaction;
    }

    void note(const ByteArray& message) {
        if (HostLinkMessage::messageId(message) != MSG_SetState) return;
        const auto items = readItems(message).value_or(std::vector<Item>());
        for (const Item& item : items) history.set(item.tag, *item.value.to<int64_t>());
    }

    void ask(Client& client, uint64_t requests, uint32_t seed) {
        std::mt19937 choice(seed);
        for (uint64_t i = 0; i < requests; ++i) {
            const auto state = static_cast<uint16_t>(firstState + choice() % states);
            switch (choice() % 8) {
            case 0: askLed(client); break;
            case 1: askMany(client, state); break;
            case 2:
            case 3:
            case 4: askSet(client, state); break;
            default: askGet(client, state); break;
            }
        }
    }

    void askLed(Client& client) {
        const auto result = client.setLed(LED_SetPalette, 1);
        const std::lock_guard lock(mutex);
        ++figures.asked;
        count(result.outcome());
    }
    void askGet(Client& client, uint16_t state) {
        const Moment begin = now();
        const auto result = client.get(state);
        const Moment end = now();
        const std::lock_guard lock(mutex);
        ++figures.asked;
        count(result.outcome(), "get");
        if (result) check("get", state, *result, begin, end);
    }
    void askMany(Client& client, uint16_t state) {
        const auto other = static_cast<uint16_t>(firstState + (state - firstState + 1) % states);
        const Moment begin = now();
        const auto result = client.getMany({state, other});
        const Moment end = now();
        const std::lock_guard lock(mutex);
        ++figures.asked;
        count(result.outcome(), "getMany");
        if (result)
            for (const StateValue& one : *result) check("getMany", one.state.number(), one.value, begin, end);
    }
    void askSet(Client& client, uint16_t state) {
        const int64_t value = first + lastValue.fetch_add(1) + 1;
        const Moment begin = now();
        const auto result = client.set(state, value);
        const Moment end = now();
        const std::lock_guard lock(mutex);
        ++figures.asked;
        count(result.outcome(), "set");
        if (result.outcome() == Outcome::HoldsAnother) complain("set answered for another: " + result.text());
        if (result) check("set", state, value, begin, end);
    }

    void check(const std::string& what, uint16_t state, const Value& value, Moment begin, Moment end) {
        std::optional<int64_t> number;
        if (value.isNumber()) number = *value.to<int64_t>();
        const bool isRight = host.guarded([&] { return history.wasHeld(state, number, begin, end); });
        if (!isRight) complain(what + " " + std::to_string(state) + " answered for another: " + value.print());
    }
    // Only what sets the LEDs is ever called unsupported.
    void count(Outcome outcome, const char* supported = nullptr) {
        switch (outcome) {
        case Outcome::Done:
        case Outcome::HoldsAnother: ++figures.answered; break;
        case Outcome::Unanswered: ++figures.unanswered; break;
        case Outcome::Unsupported: ++figures.unsupported; break;
        default: ++figures.otherwise; break;
        }
        if (outcome == Outcome::Unsupported && supported != nullptr)
            complain(std::string(supported) + " ends as unsupported");
        if (outcome == Outcome::WithoutState) complain("an answer about less than was asked");
    }
    void complain(const std::string& what) {
        if (figures.wrong.size() < wrongOnesKept) figures.wrong.push_back(what);
    }

    PlayedHost host;
    std::mt19937 random; // the host's lock guards this, the history, and what is kept
    History history;
    std::vector<ByteArray> kept;
    Moment keptAt;
    const int64_t first;
    std::atomic<int64_t> lastValue{0};
    std::mutex mutex; // guards the figures but those of the host's faults, which the host's lock guards
    AnswerFigures figures;
    LateAnswers late;
};

void add(AnswerFigures& sum, const AnswerFigures& other) {
    sum.asked += other.asked;
    sum.answered += other.answered;
    sum.unanswered += other.unanswered;
    sum.unsupported += other.unsupported;
    sum.otherwise += other.otherwise;
    sum.stale += other.stale;
    sum.late += other.late;
    sum.lost += other.lost;
    sum.twice += other.twice;
    sum.swapped += other.swapped;
    sum.wrong.insert(sum.wrong.end(), other.wrong.begin(), other.wrong.end());
}

} // namespace

AnswerFigures askForAnswers(const AnswerOptions& options) {
    std::vector<AnswerFigures> parts(options.clients);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < options.clients; ++i) {
        const uint64_t share = options.requests / options.clients + (i < options.requests % options.clients ? 1 : 0);
        threads.emplace_back([&options, &part = parts[i], share, i] {
            part = Case(options.seed + 7919 * i, i).run(options.threads, share); // the factor only spreads them
        });
    }
    AnswerFigures all;
    for (unsigned i = 0; i < options.clients; ++i) {
        threads[i].join();
        add(all, parts[i]);
    }
    return all;
}

bool runClientAnswers(uint64_t requests, uint32_t seed) {
    constexpr unsigned clientsAtATime = 64;
    const AnswerFigures all = askForAnswers({requests, seed, clientsAtATime});
    for (const std::string& one : all.wrong) std::printf("WRONG  %s\n", one.c_str());
    std::printf(
        "answers, seed %u: %lu requests, %lu answered, %lu unanswered, %lu unsupported, %lu otherwise; answers: "
        "%lu late, %lu lost, %lu twice, %lu swapped, %lu dropped: %s\n",
        seed, all.asked, all.answered, all.unanswered, all.unsupported, all.otherwise, all.late, all.lost, all.twice,
        all.swapped, all.stale,
        all.wrong.empty() && all.asked == requests ? "no result is another request's" : "FAILED");
    return all.wrong.empty() && all.asked == requests;
}

} // namespace truth
