#include "SlavePort.h"

#include <algorithm>
#include <utility>

namespace busrig {

namespace {

/// A long run must not grow the log without bound; a test looks at a few dozen transactions.
constexpr size_t maxLogEntries = 8192;

Bytes sized(Bytes bytes, size_t count) {
    bytes.resize(count, idleByte);
    return bytes;
}

} // namespace

SlavePort::SlavePort(int interruptLine, std::unique_ptr<BusSlave> slave)
    : line(interruptLine), attached(std::move(slave)) {}

BusResult SlavePort::transact(const std::string& bus, std::vector<BusPhase>& phases, Time now) {
    ++counters.transactions;
    if (hit(faults.nack)) return fail(bus, faults.nackErrno);
    BusResult result;
    result.isShort = hit(faults.shortTransfer);
    size_t todo = phases.size();
    if (result.isShort && todo > 1) {
        todo = 1;
    } else if (result.isShort && todo == 1) {
        phases[0].bytes.resize(phases[0].bytes.size() / 2);
    }
    for (; result.phasesDone < todo; ++result.phasesDone) {
        if (carryOut(bus, phases[result.phasesDone], now)) continue;
        const int error = script.front().error;
        script.pop_front();
        return fail(bus, error);
    }
    return result;
}

std::vector<bool> SlavePort::lineMoves(Time now) {
    attached->advance(now);
    const bool asks = !manual && attached->wantsInterrupt(now);
    std::vector<bool> moves;
    if (asks && !asking) {
        ++counters.interrupts;
        const unsigned extraEdges = faults.edgeBurst > 1 ? faults.edgeBurst - 1 : 0;
        faults.edgeBurst = 0;
        for (unsigned i = 0; i < extraEdges; ++i) moves.insert(moves.end(), {false, true});
        if (extraEdges > 0) ++counters.faults;
        moves.push_back(false);
        pulledLow = !hit(faults.edgeBackHigh);
        if (!pulledLow) moves.push_back(true);
    } else if (!asks && pulledLow) {
        moves.push_back(true);
        pulledLow = false;
    }
    asking = asks;
    return moves;
}

std::optional<Time> SlavePort::nextDeadline(Time now) const {
    return manual ? std::nullopt : attached->nextDeadline(now);
}

std::map<std::string, uint64_t> SlavePort::counts() const {
    std::map<std::string, uint64_t> result = attached->counts();
    result["transactions"] = counters.transactions;
    result["writes"] = counters.writes;
    result["reads"] = counters.reads;
    result["bytesWritten"] = counters.bytesWritten;
    result["bytesRead"] = counters.bytesRead;
    result["errors"] = counters.errors;
    result["rigFaults"] = counters.faults;
    result["interrupts"] = counters.interrupts;
    result["busLogDropped"] = counters.logDropped;
    result["scripted"] = script.size();
    return result;
}

BusResult SlavePort::fail(const std::string& bus, int error) {
    ++counters.errors;
    remember(bus + " ! " + errnoName(error));
    BusResult result;
    result.error = error;
    return result;
}

/// False, with nothing carried out, when the script has an error for this phase.
bool SlavePort::carryOut(const std::string& bus, BusPhase& phase, Time now) {
    if (!script.empty() && script.front().error != 0) return false;
    if (phase.isRead) {
        phase.bytes = carryOutRead(phase.bytes.size(), now);
        ++counters.reads;
        counters.bytesRead += phase.bytes.size();
    } else {
        carryOutWrite(phase.bytes, now);
        ++counters.writes;
        counters.bytesWritten += phase.bytes.size();
    }
    remember(bus + (phase.isRead ? " r " : " w ") + toHex(phase.bytes));
    return true;
}

void SlavePort::carryOutWrite(const Bytes& bytes, Time now) {
    unanswered = true;
    if (manual || !script.empty()) return;
    if (hit(faults.silent)) return;
    attached->write(bytes, now);
    unanswered = hit(faults.mute);
}

Bytes SlavePort::carryOutRead(size_t count, Time now) {
    if (hit(faults.late)) return Bytes(count, idleByte);
    Bytes bytes;
    if (!script.empty()) {
        bytes = sized(std::move(script.front().bytes), count);
        script.pop_front();
    } else if (manual || unanswered) {
        bytes = Bytes(count, idleByte);
    } else {
        bytes = sized(attached->read(count, now), count);
    }
    if (!bytes.empty() && hit(faults.wrongStart)) bytes[0] = static_cast<unsigned char>(~bytes[0]);
    return bytes;
}

bool SlavePort::hit(unsigned& fault) {
    const bool isHit = BusFaults::take(fault);
    if (isHit) ++counters.faults;
    return isHit;
}

void SlavePort::remember(std::string entry) {
    if (entries.size() == maxLogEntries) {
        entries.pop_front();
        ++counters.logDropped;
    }
    entries.push_back(std::move(entry));
}

} // namespace busrig
