#include "LineWorld.h"

#include <algorithm>
#include <utility>

namespace {

constexpr hostcheck::Time often = hostcheck::milliseconds(20);

} // namespace

LineWorld::LineWorld(const hostsim::HostOptions& options, Wrongs wrongs, unsigned long baud)
    : wrong(std::move(wrongs)), endpoint(options), line(endpoint, wrong.line), toHost(baud), toModule(baud) {
    endpoint.application().attach(service);
}

void LineWorld::send(const ByteArray& bytes) {
    toHost.push(wrong.toHost(bytes), clock);
}

void LineWorld::letHostAct() {
    const ByteArray arrived = toHost.take(clock);
    if (!arrived.empty()) line.receive(arrived, clock);
    line.advance(clock);
    if (!toModule.empty()) return; // the line is busy
    if (wrong.byItself) toModule.push(wrong.byItself(clock), clock);
    const ByteArray bytes = line.nextWrite(clock);
    if (bytes.empty()) return;
    toModule.push(wrong.toModule(bytes), clock);
    toModule.push(wrong.afterWrite(bytes), clock);
    toHost.push(wrong.hears(bytes), clock);
}

std::optional<LineWorld::Time> LineWorld::nextMoment() const {
    std::optional<Time> next;
    for (const auto& moment :
         {toHost.nextDeadline(), toModule.nextDeadline(), toModule.empty() ? line.nextDeadline(clock) : std::nullopt}) {
        if (moment && (!next || *moment < *next)) next = moment;
    }
    if (wrong.byItself && (!next || *next > clock + often)) next = clock + often;
    return next;
}

ByteArray LineWorld::receive(Time until) {
    while (true) {
        letHostAct();
        ByteArray come = toModule.take(clock);
        if (!come.empty()) return come;
        if (interruptAt && clock >= *interruptAt) {
            interruptAt.reset();
            throw hostcheck::Interrupted();
        }
        if (clock >= until) return {};
        const std::optional<Time> next = nextMoment();
        clock = std::max(clock + Time(1), std::min(until, next.value_or(until)));
    }
}
