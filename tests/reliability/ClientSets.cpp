#include "ClientSets.h"

#include <chrono>
#include <cstdio>
#include <random>
#include <thread>

#include <hostlink/HostLinkValueMessage.h>
#include <hostlinkclient/Client.h>

#include "MemoryHost.h"

namespace truth {

namespace {

using namespace hostlink;

constexpr uint16_t firstState = 0x4000;
constexpr uint16_t states = 200; // in turn, so that no set waits for what is still remembered of its state
constexpr uint32_t values = 60000;

Options optionsOfClient(std::chrono::milliseconds answerTime) {
    Options options;
    options.deadline = std::chrono::seconds(20);
    options.answerTime = answerTime;
    options.lateFor = std::chrono::milliseconds(1000); // a busy machine lets it come late
    options.firstPause = std::chrono::milliseconds(1);
    options.longestPause = std::chrono::milliseconds(5);
    options.whileDown = WhileDown::Wait;
    return options;
}

faultywire::WireFaults faultsOf(double rate, uint32_t seed) {
    using faultywire::WireFault;
    faultywire::WireFaults faults;
    faults.seed = seed;
    for (const WireFault kind :
         {WireFault::LostByte, WireFault::CorruptedByte, WireFault::InsertedByte, WireFault::RepeatedByte})
        faults.rate(kind) = rate / 4;
    return faults;
}

Result<void> setOne(Client& client, SetForm form, uint16_t state, uint16_t value) {
    switch (form) {
    case SetForm::Plain:
        return client.send(HostLinkValueMessage(MSG_SetState).addValueUint16(state, value).serialize());
    case SetForm::Compared: return client.set(state, Value(std::in_place_type<uint16_t>, value));
    case SetForm::Confirmed: break;
    }
    return client.set(state, Value(std::in_place_type<uint16_t>, value), Confirm);
}

// One client and its host.
SetFigures setsOfOne(const SetOptions& options, uint64_t sets, uint32_t seed) {
    MemoryHost host;
    Client client(host.wire(), optionsOfClient(options.answerTime));
    if (!client.waitUntilUp(std::chrono::seconds(20))) return {};
    host.setFaults(faultsOf(options.rate, seed));
    std::mt19937 random(seed);
    SetFigures figures;
    for (uint64_t i = 0; i < sets; ++i) {
        const auto state = static_cast<uint16_t>(firstState + i % states);
        auto value = static_cast<uint16_t>(random() % values);
        if (host.held(state).meansSameAs(value)) ++value;
        const Result<void> result = setOne(client, options.form, state, value);
        const bool hasIt = host.held(state).meansSameAs(value);
        ++figures.sets;
        if (result) {
            ++figures.done;
            if (!hasIt) ++figures.wrong;
            continue;
        }
        if (hasIt) ++figures.heldAll;
        ++(result.outcome() == Outcome::HoldsAnother ? figures.another : figures.notDone);
    }
    figures.packets = host.packetsWritten();
    return figures;
}

} // namespace

const char* nameOf(SetForm form) {
    switch (form) {
    case SetForm::Plain: return "plain";
    case SetForm::Compared: return "compared";
    case SetForm::Confirmed: break;
    }
    return "confirmed";
}

void SetFigures::add(const SetFigures& other) {
    sets += other.sets;
    done += other.done;
    wrong += other.wrong;
    another += other.another;
    notDone += other.notDone;
    heldAll += other.heldAll;
    packets += other.packets;
}

SetFigures makeSets(const SetOptions& options) {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<SetFigures> parts(options.clients);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < options.clients; ++i) {
        const uint64_t share = options.sets / options.clients + (i < options.sets % options.clients ? 1 : 0);
        threads.emplace_back([&options, &part = parts[i], share, i] {
            part = setsOfOne(options, share, options.seed + 7919 * i); // the factor only spreads them
        });
    }
    SetFigures all;
    for (unsigned i = 0; i < options.clients; ++i) {
        threads[i].join();
        all.add(parts[i]);
    }
    all.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return all;
}

bool runClientCurve(uint64_t sets, uint32_t seed) {
    constexpr double rates[] = {0, 0.01, 0.05, 0.1};
    constexpr unsigned clientsAtATime = 64;
    std::printf(
        "client, seed %u\n| packets hit | sets | form | done | wrong | holds another | not known | packets a set "
        "| sets/s |\n|---|---|---|---|---|---|---|---|---|\n",
        seed);
    bool isGood = true;
    for (const double rate : rates)
        for (const SetForm form : {SetForm::Plain, SetForm::Compared, SetForm::Confirmed}) {
            const bool isLong = form == SetForm::Confirmed && rate == rates[3];
            const uint64_t asked = isLong ? sets : sets / 10;
            const SetFigures made = makeSets({form, rate, asked, seed, clientsAtATime, SetOptions().answerTime});
            const auto all = static_cast<double>(made.sets);
            std::printf("| %.0f %% | %lu | %s | %.2f %% | %lu | %lu | %lu | %.2f | %.0f |\n", 100 * rate, made.sets,
                        nameOf(form), 100 * static_cast<double>(made.done) / all, made.wrong, made.another,
                        made.notDone, static_cast<double>(made.packets) / all, all / made.seconds);
            std::fflush(stdout);
            isGood = isGood && made.sets == asked && (form != SetForm::Confirmed || made.wrong == 0);
        }
    std::printf("client: %s\n", isGood ? "no confirmed set was wrong" : "FAILED");
    return isGood;
}

} // namespace truth
