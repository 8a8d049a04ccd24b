#include "I2cDevice.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>

namespace busrig {

namespace {

/// What i2c-dev takes in one message; a plain read or write that asks for more is cut to it.
constexpr size_t maxMessageBytes = 8192;
constexpr unsigned maxSevenBitAddress = 0x7F;

uintptr_t addressOf(const void* pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

} // namespace

int I2cDevice::read(char* buffer, size_t size, size_t) {
    std::vector<BusPhase> phases{BusPhase::read(std::min(size, maxMessageBytes))};
    const BusResult result = transact(address, phases);
    if (result.error != 0) return -result.error;
    if (result.isShort) return 0; // a message that was carried out in part does not count
    const Bytes& bytes = phases[0].bytes;
    if (!bytes.empty()) memcpy(buffer, bytes.data(), bytes.size());
    return static_cast<int>(bytes.size());
}

int I2cDevice::write(const char* buffer, size_t size) {
    const size_t count = std::min(size, maxMessageBytes);
    std::vector<BusPhase> phases{BusPhase::write(Bytes(buffer, buffer + count))};
    const BusResult result = transact(address, phases);
    if (result.error != 0) return -result.error;
    return result.isShort ? 0 : static_cast<int>(phases[0].bytes.size());
}

int I2cDevice::ioctl(const IoctlCall& call) {
    const CallerMemory memory(call.caller);
    const uintptr_t argument = addressOf(call.argument);
    switch (call.command) {
    case I2C_SLAVE:
    case I2C_SLAVE_FORCE: return setAddress(argument);
    case I2C_RETRIES:
    case I2C_TIMEOUT: return argument > INT_MAX ? -EINVAL : 0; // nothing here is retried or slow
    case I2C_FUNCS: {
        const unsigned long functions = I2C_FUNC_I2C;
        return memory.write(argument, &functions, sizeof functions) ? 0 : -EFAULT;
    }
    case I2C_RDWR: return transferMessages(memory, argument);
    default: return -ENOTTY;
    }
}

unsigned I2cDevice::poll(std::unique_ptr<PollWaiter>) {
    return POLLIN | POLLOUT;
}

int I2cDevice::setAddress(uintptr_t wanted) {
    if (wanted > maxSevenBitAddress) return -EINVAL;
    address = static_cast<unsigned>(wanted);
    return 0;
}

/// The checks in the kernel's order: all of them, and the copies from the caller, come before anything is on the bus.
int I2cDevice::transferMessages(const CallerMemory& memory, uintptr_t argument) {
    i2c_rdwr_ioctl_data request{};
    if (!memory.read(&request, argument, sizeof request)) return -EFAULT;
    if (request.msgs == nullptr || request.nmsgs == 0 || request.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) return -EINVAL;
    std::vector<i2c_msg> messages(request.nmsgs);
    if (!memory.read(messages.data(), addressOf(request.msgs), messages.size() * sizeof(i2c_msg))) return -EFAULT;
    std::vector<BusPhase> phases;
    for (const i2c_msg& message : messages) {
        if (message.len > maxMessageBytes) return -EINVAL;
        Bytes bytes(message.len);
        if (!memory.read(bytes.data(), addressOf(message.buf), bytes.size())) return -EFAULT;
        phases.push_back({(message.flags & I2C_M_RD) != 0, std::move(bytes)});
    }
    return carryOut(memory, messages, phases);
}

int I2cDevice::carryOut(const CallerMemory& memory, const std::vector<i2c_msg>& messages,
                        std::vector<BusPhase>& phases) {
    const bool oneSlave = std::all_of(messages.begin(), messages.end(),
                                      [&](const i2c_msg& message) { return message.addr == messages[0].addr; });
    const BusResult result = transact(oneSlave ? messages[0].addr : ~0U, phases);
    if (result.error != 0) return -result.error;
    for (size_t i = 0; i < result.phasesDone; ++i) {
        if (!phases[i].isRead) continue;
        if (!memory.write(addressOf(messages[i].buf), phases[i].bytes.data(), phases[i].bytes.size())) return -EFAULT;
    }
    // A message that was carried out in part does not count.
    const bool lastIsCut = result.isShort && messages.size() == 1;
    return static_cast<int>(lastIsCut ? 0 : result.phasesDone);
}

BusResult I2cDevice::transact(unsigned slave, std::vector<BusPhase>& phases) {
    if (slave == slaveAddress) return rig.transact(board, "i2c", phases);
    BusResult nobodyAcknowledges;
    nobodyAcknowledges.error = ENXIO;
    return nobodyAcknowledges;
}

} // namespace busrig
