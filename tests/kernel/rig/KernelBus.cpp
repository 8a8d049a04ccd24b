#include "KernelBus.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace kernelrig {

using busrig::BusResult;
using busrig::Bytes;

namespace {

constexpr size_t largestMessage = size_t{1} << 18;

template <typename Value> void append(Bytes& bytes, const Value& value) {
    const auto* start = reinterpret_cast<const unsigned char*>(&value);
    bytes.insert(bytes.end(), start, start + sizeof value);
}

template <typename Value> Value at(const Bytes& bytes, size_t offset) {
    Value value;
    if (offset + sizeof value > bytes.size()) throw std::runtime_error("the kernel's transaction is cut");
    memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

[[noreturn]] void giveUp(const std::string& what) {
    perror(("zent-kernelrig: " + what).c_str());
    std::_Exit(EXIT_FAILURE);
}

std::string pathOf(size_t board) {
    return "/dev/rigbus" + std::to_string(board);
}

BusResult carryOut(busrig::Rig& rig, size_t board, Transaction& transaction) {
    BusResult result;
    if (!transaction.isFor(busrig::slaveAddress)) {
        result.error = ENXIO;
    } else if (!transaction.phases().empty()) {
        result = rig.transact(board, transaction.bus(), transaction.phases());
    }
    return result;
}

} // namespace

Transaction::Transaction(const Bytes& message) : head(at<rig_transaction>(message, 0)) {
    size_t out = sizeof head + head.phases * sizeof(rig_phase);
    if (message.size() != out + head.outBytes) throw std::runtime_error("the kernel's transaction is cut");
    for (size_t i = 0; i < head.phases; ++i) {
        const auto phase = at<rig_phase>(message, sizeof head + i * sizeof(rig_phase));
        add(phase, message.data() + out);
        total += phase.length;
        if ((phase.ways & RIG_OUT) != 0) out += phase.length;
    }
}

void Transaction::add(const rig_phase& phase, const unsigned char* out) {
    if ((phase.ways & RIG_IN) != 0) {
        Bytes& room = roomFor(true);
        targets.push_back({busPhases.size() - 1, room.size(), phase.length});
        room.resize(room.size() + phase.length);
    }
    if ((phase.ways & RIG_OUT) != 0) {
        Bytes& bytes = roomFor(false);
        bytes.insert(bytes.end(), out, out + phase.length);
    }
}

Bytes& Transaction::roomFor(bool isRead) {
    const bool joins = head.bus == RIG_SPI && !busPhases.empty() && busPhases.back().isRead == isRead;
    if (!joins) busPhases.push_back({isRead, {}});
    return busPhases.back().bytes;
}

rig_outcome Transaction::summary(const BusResult& result) const {
    rig_outcome summary{-result.error, static_cast<uint32_t>(total)};
    if (result.error != 0) return summary;
    // Of messages on I2C the kernel counts those that were carried out as a whole.
    const bool lastIsCut = result.isShort && busPhases.size() == 1;
    if (head.bus == RIG_I2C) summary.status = lastIsCut ? 0 : static_cast<int32_t>(result.phasesDone);
    if (!result.isShort) return summary;
    summary.bytes = 0;
    for (size_t i = 0; i < result.phasesDone; ++i) summary.bytes += static_cast<uint32_t>(busPhases[i].bytes.size());
    return summary;
}

Bytes Transaction::outcome(const BusResult& result) const {
    Bytes message;
    append(message, summary(result));
    for (const Target& target : targets) {
        Bytes received = target.phase < result.phasesDone ? busPhases[target.phase].bytes : Bytes();
        received.resize(std::max(received.size(), target.offset + target.length), busrig::idleByte);
        const auto start = received.begin() + static_cast<std::ptrdiff_t>(target.offset);
        message.insert(message.end(), start, start + static_cast<std::ptrdiff_t>(target.length));
    }
    return message;
}

descriptor::Descriptor openBoard(size_t board) {
    const std::string path = pathOf(board);
    descriptor::Descriptor device(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!device) giveUp(path);
    return device;
}

void serveBoard(busrig::Rig& rig, size_t board, const descriptor::Descriptor& device) {
    const std::string path = pathOf(board);
    for (;;) {
        Bytes message(largestMessage);
        const ssize_t count = ::read(device.get(), message.data(), message.size());
        if (count < 0) giveUp(path);
        message.resize(static_cast<size_t>(count));
        Transaction transaction(message);
        const Bytes outcome = transaction.outcome(carryOut(rig, board, transaction));
        // EINVAL: whoever wanted the transaction has been killed meanwhile.
        if (::write(device.get(), outcome.data(), outcome.size()) < 0 && errno != EINVAL) giveUp(path);
    }
}

} // namespace kernelrig
