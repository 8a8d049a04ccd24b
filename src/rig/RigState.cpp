#include "RigState.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace busrig {

namespace {

/// As the kernel reads a line number: any base, one newline allowed, nothing else around it.
std::optional<int> knownLine(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    const long number = strtol(text.c_str(), &end, 0);
    if (*end != '\0' || number < 0 || number >= GpioLines::lineCount) return std::nullopt;
    return static_cast<int>(number);
}

} // namespace

const char* attributeName(GpioAttribute attribute) {
    switch (attribute) {
    case GpioAttribute::Direction: return "direction";
    case GpioAttribute::Edge: return "edge";
    case GpioAttribute::Value: break;
    }
    return "value";
}

RigState::RigState(const SlaveFactory& slaveFactory) : makeSlave(slaveFactory) {
    connectSlaves();
}

void RigState::lead(KernelSide& kernelSide) {
    kernel = &kernelSide;
    lines.lead(kernelSide);
    kernel->restore();
}

void RigState::connectSlaves() {
    for (size_t i = 0; i < boards.size(); ++i) {
        ports[i] = std::make_unique<SlavePort>(boards[i].interruptLine, makeSlave());
    }
}

int RigState::writeExport(const std::string& text) {
    const int refusal = sysfs.writeRefusal("export", text);
    if (refusal != 0) return refusal;
    const std::optional<int> line = knownLine(text);
    const int error = line ? lines.exportLine(*line) : -EINVAL;
    const int result = error != 0 ? error : static_cast<int>(text.size());
    sysfs.wrote("export", text, result);
    return result;
}

int RigState::writeUnexport(const std::string& text) {
    const std::optional<int> line = knownLine(text);
    const int error = line ? lines.unexportLine(*line) : -EINVAL;
    const int result = error != 0 ? error : static_cast<int>(text.size());
    sysfs.wrote("unexport", text, result);
    return result;
}

int RigState::writeAttribute(GpioFile& file, const std::string& text) {
    const char* name = attributeName(file.attribute);
    const int refusal = sysfs.writeRefusal(name, text);
    if (refusal != 0) return refusal;
    const int result = lines.write(file, text);
    sysfs.wrote(name, text, result);
    return result;
}

int RigState::openAttribute(GpioFile& file, int line, GpioAttribute attribute) {
    if (!lines.isExported(line)) return -ENOENT;
    if (attribute == GpioAttribute::Value && valueFileMissing) return -ENOENT;
    const int refusal = sysfs.openResult(attributeName(attribute));
    if (refusal == 0) lines.open(file, line, attribute);
    return refusal;
}

BusResult RigState::transact(size_t board, const std::string& bus, std::vector<BusPhase>& phases, Time now) {
    isLowUntilServed.at(board) = false;
    return port(board).transact(bus, phases, now);
}

void RigState::updateLines(Time now, Wakeups& wakeups) {
    for (size_t i = 0; i < boards.size(); ++i) {
        const int line = boards[i].interruptLine;
        for (const bool high : ports[i]->lineMoves(now)) wiring.pullBySlave(line, !high, wakeups);
        wiring.setServiceWanted(line, isLowUntilServed[i], wakeups);
    }
}

std::optional<Time> RigState::nextDeadline(Time now) const {
    std::optional<Time> next;
    for (const auto& port : ports) {
        const std::optional<Time> deadline = port->nextDeadline(now);
        if (deadline && (!next || *deadline < *next)) next = deadline;
    }
    return next;
}

std::map<std::string, uint64_t> RigState::counts(size_t board) const {
    std::map<std::string, uint64_t> result = port(board).counts();
    const int line = boards.at(board).interruptLine;
    result["edges"] = lines.fallingEdges(line);
    result["valueFilesOpen"] = lines.openFiles(line);
    result["valueFilesClosed"] = lines.closedFiles(line);
    result["spiFilesOpen"] = spiSettings.at(board).opened;
    result["waiting"] = waiting.at(board);
    result["sysfsRefused"] = sysfs.refused();
    return result;
}

void RigState::clearFaults(Wakeups& wakeups) {
    for (size_t i = 0; i < boards.size(); ++i) {
        ports[i]->faults = BusFaults();
        wiring.setStuck(boards[i].interruptLine, std::nullopt, wakeups);
    }
    sysfs.forgetRefusals();
    valueFileMissing = false;
    isLowUntilServed.fill(false);
}

void RigState::reset(Wakeups& wakeups) {
    lines.reset();
    for (int line = 0; line < GpioLines::lineCount; ++line) wiring.release(line, wakeups);
    for (SpiSettings& settings : spiSettings) settings.restore();
    if (kernel != nullptr) kernel->restore();
    sysfs = SysfsSetup();
    valueFileMissing = false;
    isLowUntilServed.fill(false);
    held.fill(false);
    for (StandIn& standIn : standIns) standIn.put(false);
    connectSlaves();
}

} // namespace busrig
