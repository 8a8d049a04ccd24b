#include "HostSlave.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <hostsim/FileSending.h>
#include <hostsim/StateText.h>
#include <hostsim/wire/FaultyBusLine.h>

namespace busrig {

namespace {

using hostsim::FaultOptions;
using hostsim::HostCounts;

uint64_t number(const std::string& text) {
    const bool isNumber =
        !text.empty() && text.size() < 19 && text.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber) throw std::invalid_argument("not a number: " + text);
    return std::stoull(text);
}

template <typename Count> Count numberUpTo(const std::string& text) {
    const uint64_t value = number(text);
    if (value > std::numeric_limits<Count>::max()) throw std::invalid_argument("too large: " + text);
    return static_cast<Count>(value);
}

struct CountedOption {
    const char* name;
    unsigned FaultOptions::*member;
};

constexpr CountedOption countedOptions[] = {
    {"silentEvery", &FaultOptions::silentEvery},
    {"ackNackEvery", &FaultOptions::ackNackEvery},
    {"neitherEvery", &FaultOptions::neitherEvery},
    {"nackFirst", &FaultOptions::nackFirst},
    {"lateEvery", &FaultOptions::lateEvery},
    {"repeatEvery", &FaultOptions::repeatEvery},
    {"burst", &FaultOptions::burst},
    {"garbageEvery", &FaultOptions::garbageEvery},
    {"garbageBytes", &FaultOptions::garbageBytes},
    {"lateTransfers", &FaultOptions::lateTransfers},
    {"irqNackFirst", &FaultOptions::irqNackFirst},
    {"irqAnnounceFirst", &FaultOptions::irqAnnounceFirst},
    {"damageChunkEvery", &FaultOptions::damageChunkEvery},
    {"loseChunkEvery", &FaultOptions::loseChunkEvery},
};

struct NoiseOption {
    const char* name;
    hostsim::ByteNoise FaultOptions::*direction;
    double hostsim::ByteNoise::*rate;
};

/// Probabilities that one byte is hit.
constexpr NoiseOption noiseOptions[] = {
    {"toModule.dropRate", &FaultOptions::toModule, &hostsim::ByteNoise::dropRate},
    {"toModule.corruptRate", &FaultOptions::toModule, &hostsim::ByteNoise::corruptRate},
    {"toModule.insertRate", &FaultOptions::toModule, &hostsim::ByteNoise::insertRate},
    {"toModule.repeatRate", &FaultOptions::toModule, &hostsim::ByteNoise::repeatRate},
    {"toHost.dropRate", &FaultOptions::toHost, &hostsim::ByteNoise::dropRate},
    {"toHost.corruptRate", &FaultOptions::toHost, &hostsim::ByteNoise::corruptRate},
    {"toHost.insertRate", &FaultOptions::toHost, &hostsim::ByteNoise::insertRate},
    {"toHost.repeatRate", &FaultOptions::toHost, &hostsim::ByteNoise::repeatRate},
};

double probability(const std::string& text) {
    char* end = nullptr;
    const double value = strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= 0 && value <= 1)) {
        throw std::invalid_argument("not a probability from 0 to 1: " + text);
    }
    return value;
}

struct CountName {
    const char* name;
    uint64_t HostCounts::*member;
};

/// The names that tests and people use; a count of the rig itself may not bear one of them.
constexpr CountName countNames[] = {
    {"packetsReceived", &HostCounts::packetsReceived},
    {"packetsSent", &HostCounts::packetsSent},
    {"messagesReceived", &HostCounts::messagesReceived},
    {"messagesSent", &HostCounts::messagesSent},
    {"acksReceived", &HostCounts::acksReceived},
    {"nacksReceived", &HostCounts::nacksReceived},
    {"acksSent", &HostCounts::acksSent},
    {"nacksSent", &HostCounts::nacksSent},
    {"badPackets", &HostCounts::badPackets},
    {"bytesSkipped", &HostCounts::bytesSkipped},
    {"duplicatePackets", &HostCounts::duplicatePackets},
    {"framesAbandoned", &HostCounts::framesAbandoned},
    {"strayResponses", &HostCounts::strayResponses},
    {"missingResponses", &HostCounts::missingResponses},
    {"messagesGivenUp", &HostCounts::messagesGivenUp},
    {"unsupportedMessages", &HostCounts::unsupportedMessages},
};

void setOption(HostSetup& setup, const std::string& name, const std::string& value) {
    FaultOptions& faults = setup.host.faults;
    for (const CountedOption& option : countedOptions) {
        if (name != option.name) continue;
        faults.*option.member = numberUpTo<unsigned>(value);
        return;
    }
    for (const NoiseOption& option : noiseOptions) {
        if (name != option.name) continue;
        (faults.*option.direction).*option.rate = probability(value);
        return;
    }
    if (name == "lateByMs") {
        faults.lateBy = std::chrono::milliseconds(numberUpTo<uint32_t>(value));
    } else if (name == "limit") {
        faults.limit = number(value);
    } else if (name == "seed") {
        faults.seed = number(value);
    } else if (name == "interruptRepeatMs") {
        setup.bus.interruptRepeat = std::chrono::milliseconds(numberUpTo<uint16_t>(value));
    } else if (name == "responseTimeoutMs") {
        setup.host.outgoing.responseTimeout = std::chrono::milliseconds(numberUpTo<uint32_t>(value));
    } else if (name == "repeatWindowMs") {
        setup.host.repeatWindow = std::chrono::milliseconds(numberUpTo<uint16_t>(value));
    } else if (name == "byteByByte") {
        setup.bus.byteByByte = numberUpTo<uint8_t>(value) != 0;
    } else if (name == "inputEventEveryMs") {
        const auto interval = std::chrono::milliseconds(numberUpTo<uint32_t>(value));
        if (interval.count() == 0) throw std::invalid_argument("inputEventEveryMs must be above 0");
        setup.inputEventEvery = interval;
    } else {
        throw std::invalid_argument("no such host option: " + name);
    }
}

void setWireOption(faultywire::WireFaults& faults, const std::string& name, const std::string& value) {
    if (name == "late-by-ms") {
        faults.lateBy = std::chrono::milliseconds(numberUpTo<uint32_t>(value));
    } else if (name == "seed") {
        faults.seed = number(value);
    } else {
        faults.rate(faultywire::faultNamed(name)) = probability(value);
    }
}

/// Calls `take(name, value)` for each "name=value".
template <typename Take> void forEachOption(const std::string& text, Take take) {
    std::istringstream stream(text);
    for (std::string option; std::getline(stream, option, ',');) {
        const size_t equals = option.find('=');
        if (equals == std::string::npos) throw std::invalid_argument("host options: no '=' in " + option);
        take(option.substr(0, equals), option.substr(equals + 1));
    }
}

uint16_t stateId(const std::string& text) {
    const hostlink::StateId id(text);
    if (!id.isValid()) throw std::invalid_argument("neither a number nor the name of a state: " + text);
    return id.number();
}

faultywire::WireFaults wireFaultsFromText(const std::string& text) {
    faultywire::WireFaults faults;
    forEachOption(text, [&](const std::string& name, const std::string& value) { setWireOption(faults, name, value); });
    return faults;
}

} // namespace

HostSetup HostSetup::fromText(const std::string& text) {
    HostSetup setup;
    forEachOption(text, [&](const std::string& name, const std::string& value) { setOption(setup, name, value); });
    return setup;
}

struct HostSlave::Host {
    explicit Host(const HostSetup& setup)
        : endpoint(setup.host), bus(endpoint, setup.bus), files(endpoint), inputEventEvery(setup.inputEventEvery) {}

    void pressWhenDue(Time now);
    void sendFile(const std::string& path);
    std::string endedFiles();
    void keepJournal(bool on);
    void setState(const std::string& argument);
    std::string getState(const std::string& argument);

    hostsim::SimulatedHost endpoint;
    hostsim::HostOnBus bus; // speaks for `endpoint`
    hostsim::FileSending files;
    faultywire::WireJournal journal;
    faultywire::FaultyBusLine line{bus, journal}; // in front of `bus`
    const std::optional<Time> inputEventEvery;
    std::optional<Time> nextInputEvent; // none while nobody listens
};

void HostSlave::Host::pressWhenDue(Time now) {
    if (!inputEventEvery || !endpoint.moduleAnswers()) return;
    if (!nextInputEvent) nextInputEvent = now + *inputEventEvery;
    if (now < *nextInputEvent) return;
    endpoint.send(hostsim::HostApplication::press(1));
    nextInputEvent = now + *inputEventEvery;
}

void HostSlave::Host::sendFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    Bytes content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) throw std::invalid_argument("cannot read the file: " + path);
    files.send(path.substr(path.find_last_of('/') + 1), std::move(content));
}

std::string HostSlave::Host::endedFiles() {
    std::string text;
    for (const hostsim::SentFile& file : files.takeEnded()) text += (text.empty() ? "" : "; ") + textOf(file);
    return text;
}

void HostSlave::Host::keepJournal(bool on) {
    journal.keep(on);
    endpoint.setTrace([this](hostsim::TraceEvent event, const Bytes& bytes) {
        if (event == hostsim::TraceEvent::MessageReceived) {
            journal.add({faultywire::EntryKind::HostReceived, {}, faultywire::WireFault::None, 0, bytes, {}});
        }
        if (event == hostsim::TraceEvent::MessageSent) {
            journal.add({faultywire::EntryKind::HostConfirmed, {}, faultywire::WireFault::None, 0, bytes, {}});
        }
    });
}

// "ID VALUE"
void HostSlave::Host::setState(const std::string& argument) {
    const size_t end = argument.find(' ');
    const uint16_t id = stateId(argument.substr(0, end));
    const std::string text = end == std::string::npos ? "" : argument.substr(end + 1);
    const auto value = hostsim::parseValue(id, text, endpoint.application().states().get(id));
    if (!value) throw std::invalid_argument(value.text());
    endpoint.send(endpoint.application().setState(id, *value));
}

std::string HostSlave::Host::getState(const std::string& argument) {
    return endpoint.application().states().get(stateId(argument)).print();
}

HostSlave::HostSlave(const HostSetup& setup) : host(std::make_unique<Host>(setup)) {}

HostSlave::~HostSlave() = default;

void HostSlave::write(const Bytes& bytes, Time now) {
    host->line.write(bytes, now);
    host->pressWhenDue(now);
    host->files.advance(now);
}

Bytes HostSlave::read(size_t count, Time now) {
    return host->line.read(count, now);
}

void HostSlave::advance(Time now) {
    host->bus.advance(now);
    host->pressWhenDue(now);
    host->files.advance(now);
}

bool HostSlave::wantsInterrupt(Time now) const {
    return host->bus.interruptLow(now);
}

std::optional<Time> HostSlave::nextDeadline(Time now) const {
    std::optional<Time> next = host->bus.nextDeadline(now);
    const auto consider = [&next, now](std::optional<Time> moment) {
        if (moment) next = next ? std::min(*next, std::max(*moment, now)) : std::max(*moment, now);
    };
    if (host->endpoint.moduleAnswers()) consider(host->nextInputEvent);
    consider(host->files.deadline());
    return next;
}

std::optional<std::string> HostSlave::command(const std::string& name, const std::string& argument, Time now) {
    if (name == "send") {
        const std::optional<Bytes> message = fromHex(argument);
        if (!message) throw std::invalid_argument("not hexadecimal bytes: " + argument);
        host->endpoint.send({*message});
    } else if (name == "press") {
        host->endpoint.send(hostsim::HostApplication::press(numberUpTo<uint16_t>(argument)));
    } else if (name == "burst") {
        host->endpoint.send(hostsim::HostApplication::burst(numberUpTo<uint16_t>(argument)));
    } else if (name == "set") {
        host->setState(argument);
    } else if (name == "get") {
        return host->getState(argument);
    } else if (name == "send-file") {
        host->sendFile(argument);
        host->files.advance(now);
    } else if (name == "abort-file") {
        host->files.abort();
        host->files.advance(now);
    } else if (name == "files") {
        return host->endedFiles();
    } else if (name == "wire") {
        host->line.dice().set(wireFaultsFromText(argument));
    } else if (name == "journal") {
        if (!argument.empty() && argument != "off") throw std::invalid_argument("neither off nor nothing: " + argument);
        host->keepJournal(argument.empty());
        return faultywire::asText(host->journal.take());
    } else if (name == "host-options") {
        host = std::make_unique<Host>(HostSetup::fromText(argument));
    } else {
        return std::nullopt;
    }
    return "";
}

std::map<std::string, uint64_t> HostSlave::counts() const {
    const HostCounts& counts = host->endpoint.counts();
    std::map<std::string, uint64_t> result;
    for (const CountName& count : countNames) result[count.name] = counts.*count.member;
    result["hostFaults"] = counts.faults();
    result["hostIdle"] = host->endpoint.isIdle() ? 1 : 0;
    return result;
}

} // namespace busrig
