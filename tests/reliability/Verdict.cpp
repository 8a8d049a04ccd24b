#include "Verdict.h"

#include <algorithm>

#include "FaultTimeline.h"
#include "InboundRules.h"
#include "OutboundRules.h"

namespace truth {

namespace {

double milliseconds(Moment::duration span) {
    return std::chrono::duration<double, std::milli>(span).count();
}

// A serial link is made anew only because its reader waits for bytes that a damaged length promised.
void judgeRecovery(const Record& record, Verdict& verdict) {
    const FaultTimeline timeline(record);
    for (const Moment at : record.reopened)
        if (record.journal.empty() || !timeline.anyFault(record.journal.front().at, at))
            verdict.failures.emplace_back("the link had to be made anew without a fault on the wire");
    for (const Recovery& recovery : record.recoveries) {
        if (recovery.outbound)
            verdict.figures.recoveriesMs.push_back(milliseconds(recovery.outboundCarried - recovery.faultsEnded));
    }
    verdict.figures.reopened = record.reopened.size();
}

void countWire(const Record& record, Figures& figures) {
    for (const Entry& entry : record.journal) {
        const bool crossed = entry.kind == EntryKind::ToHost || entry.kind == EntryKind::ToModule;
        figures.packets += crossed ? 1 : 0;
        figures.faults += crossed && entry.fault != WireFault::None ? 1 : 0;
    }
    figures.seconds1000 = static_cast<uint64_t>(record.busy.count() / 1000);
}

} // namespace

void Figures::add(const Figures& other) {
    constexpr uint64_t Figures::*sums[] = {
        &Figures::messages,       &Figures::delivered,  &Figures::calls,         &Figures::falseCalls,
        &Figures::falseThoughHad, &Figures::trueNotHad, &Figures::duplicates,    &Figures::wrongAtHost,
        &Figures::inbound,        &Figures::arrived,    &Figures::wrongAtModule, &Figures::duplicatesAtModule,
        &Figures::faults,         &Figures::packets,    &Figures::reopened,      &Figures::seconds1000};
    for (const auto member : sums) this->*member += other.*member;
    slowestOfBound = std::max(slowestOfBound, other.slowestOfBound);
    recoveriesMs.insert(recoveriesMs.end(), other.recoveriesMs.begin(), other.recoveriesMs.end());
}

Verdict judge(const Record& record) {
    Verdict verdict;
    verdict.failures = record.failures;
    judgeOutbound(record, verdict);
    judgeInbound(record, verdict);
    judgeRecovery(record, verdict);
    countWire(record, verdict.figures);
    return verdict;
}

} // namespace truth
