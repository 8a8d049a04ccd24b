#include "SpiDevice.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <linux/spi/spidev.h>
#include <poll.h>

namespace busrig {

namespace {

/// spidev's default for its module parameter `bufsiz`: what one message may send, and what it may receive.
constexpr size_t bufferBytes = 4096;
constexpr uint8_t maxBitsPerWord = 32;
constexpr uint32_t modeBits = SPI_MODE_3 | SPI_CS_HIGH | SPI_LSB_FIRST | SPI_3WIRE | SPI_LOOP | SPI_NO_CS | SPI_READY;

template <typename Value> Value load(const void* data) {
    Value value;
    memcpy(&value, data, sizeof value);
    return value;
}

template <typename Value> int store(void* data, Value value) {
    memcpy(data, &value, sizeof value);
    return 0;
}

size_t bytesPerWord(unsigned bits) {
    return bits <= 8 ? 1 : bits <= 16 ? 2 : 4;
}

/// Transfers in the caller's terms, and the phases that the slave sees of them.
class SpiMessage {
public:
    SpiMessage(const CallerMemory& callerMemory, unsigned defaultBits) : memory(callerMemory), bits(defaultBits) {}

    /// 0 or a negative errno, found in the driver's order before anything is on the bus.
    int add(const spi_ioc_transfer& transfer);
    std::vector<BusPhase>& busPhases() { return phases; }
    size_t totalBytes() const { return total; }
    /// Hands what was read to the caller, and idle bytes for what was not; 0 or -EFAULT.
    int deliver(size_t phasesDone) const;

private:
    struct Target {
        uintptr_t address;
        size_t phase;
        size_t offset;
        size_t count;
    };

    void addRead(uintptr_t to, size_t count);
    void addWrite(const Bytes& bytes);

    const CallerMemory memory;
    const unsigned bits;
    std::vector<BusPhase> phases;
    std::vector<Target> targets;
    size_t total = 0, sent = 0, received = 0;
};

int SpiMessage::add(const spi_ioc_transfer& transfer) {
    total += transfer.len;
    if (total > INT_MAX) return -EMSGSIZE;
    if (transfer.rx_buf != 0) received += transfer.len;
    if (transfer.tx_buf != 0) sent += transfer.len;
    if (received > bufferBytes || sent > bufferBytes) return -EMSGSIZE;
    Bytes bytes(transfer.tx_buf != 0 ? transfer.len : 0);
    if (!memory.read(bytes.data(), static_cast<uintptr_t>(transfer.tx_buf), bytes.size())) return -EFAULT;
    const unsigned wordBits = transfer.bits_per_word != 0 ? transfer.bits_per_word : bits;
    if (wordBits > maxBitsPerWord || transfer.len % bytesPerWord(wordBits) != 0) return -EINVAL;
    if (transfer.rx_buf != 0) addRead(static_cast<uintptr_t>(transfer.rx_buf), transfer.len);
    if (transfer.tx_buf != 0) addWrite(bytes);
    return 0;
}

void SpiMessage::addRead(uintptr_t to, size_t count) {
    if (phases.empty() || !phases.back().isRead) phases.push_back(BusPhase::read(0));
    Bytes& room = phases.back().bytes;
    targets.push_back({to, phases.size() - 1, room.size(), count});
    room.resize(room.size() + count);
}

void SpiMessage::addWrite(const Bytes& bytes) {
    if (phases.empty() || phases.back().isRead) phases.push_back(BusPhase::write({}));
    Bytes& all = phases.back().bytes;
    all.insert(all.end(), bytes.begin(), bytes.end());
}

int SpiMessage::deliver(size_t phasesDone) const {
    for (const Target& target : targets) {
        Bytes bytes = target.phase < phasesDone ? phases[target.phase].bytes : Bytes();
        bytes.resize(std::max(bytes.size(), target.offset + target.count), idleByte);
        if (!memory.write(target.address, bytes.data() + target.offset, target.count)) return -EFAULT;
    }
    return 0;
}

} // namespace

template <typename Work> int SpiDevice::change(Work&& work) {
    return rig.access([&](RigState& state, Wakeups&) {
        work(state.spiSettings.at(board));
        return 0;
    });
}

SpiDevice::SpiDevice(Rig& sharedRig, size_t boardNumber) : rig(sharedRig), board(boardNumber) {
    change([](SpiSettings& settings) { settings.open(); });
}

SpiDevice::~SpiDevice() {
    change([](SpiSettings& settings) { settings.close(); });
}

int SpiDevice::read(char* buffer, size_t size, size_t) {
    if (size > bufferBytes) return -EMSGSIZE;
    std::vector<BusPhase> phases{BusPhase::read(size)};
    const BusResult result = rig.transact(board, "spi", phases);
    if (result.error != 0) return -result.error;
    const Bytes& bytes = phases[0].bytes;
    if (!bytes.empty()) memcpy(buffer, bytes.data(), bytes.size());
    return static_cast<int>(bytes.size());
}

int SpiDevice::write(const char* buffer, size_t size) {
    if (size > bufferBytes) return -EMSGSIZE;
    std::vector<BusPhase> phases{BusPhase::write(Bytes(buffer, buffer + size))};
    const BusResult result = rig.transact(board, "spi", phases);
    return result.error != 0 ? -result.error : static_cast<int>(phases[0].bytes.size());
}

int SpiDevice::ioctl(const IoctlCall& call) {
    switch (call.command) {
    case SPI_IOC_RD_MODE: return store(call.data, static_cast<uint8_t>(current().mode));
    case SPI_IOC_RD_MODE32: return store(call.data, current().mode);
    case SPI_IOC_RD_LSB_FIRST: return store(call.data, static_cast<uint8_t>((current().mode & SPI_LSB_FIRST) != 0));
    case SPI_IOC_RD_BITS_PER_WORD: return store(call.data, current().bitsPerWord);
    case SPI_IOC_RD_MAX_SPEED_HZ: return store(call.data, current().speedHz);
    case SPI_IOC_WR_MODE: return setMode(load<uint8_t>(call.data));
    case SPI_IOC_WR_MODE32: return setMode(load<uint32_t>(call.data));
    case SPI_IOC_WR_LSB_FIRST: return setLsbFirst(load<uint8_t>(call.data) != 0);
    case SPI_IOC_WR_BITS_PER_WORD: return setBitsPerWord(load<uint8_t>(call.data));
    case SPI_IOC_WR_MAX_SPEED_HZ: return setSpeed(load<uint32_t>(call.data));
    default: return transferMessage(call);
    }
}

unsigned SpiDevice::poll(std::unique_ptr<PollWaiter>) {
    return POLLIN | POLLOUT;
}

int SpiDevice::setMode(uint32_t mode) {
    if ((mode & ~modeBits) != 0) return -EINVAL;
    return change([mode](SpiSettings& settings) { settings.mode = mode; });
}

int SpiDevice::setLsbFirst(bool on) {
    constexpr uint32_t bit = SPI_LSB_FIRST;
    return change([on](SpiSettings& settings) { settings.mode = on ? settings.mode | bit : settings.mode & ~bit; });
}

int SpiDevice::setBitsPerWord(uint8_t bits) {
    if (bits > maxBitsPerWord) return -EINVAL;
    return change(
        [bits](SpiSettings& settings) { settings.bitsPerWord = bits == 0 ? uint8_t{8} : bits; }); // 0: default
}

int SpiDevice::setSpeed(uint32_t speedHz) {
    if (speedHz == 0) return -EINVAL;
    return change([speedHz](SpiSettings& settings) { settings.speedHz = speedHz; });
}

SpiSettings SpiDevice::current() {
    return rig.access([this](RigState& state, Wakeups&) { return state.spiSettings.at(board); });
}

/// SPI_IOC_MESSAGE(n): the chip is selected from the first transfer to the last.
int SpiDevice::transferMessage(const IoctlCall& call) {
    const unsigned command = call.command;
    const bool isMessage =
        _IOC_TYPE(command) == SPI_IOC_MAGIC && _IOC_NR(command) == 0 && _IOC_DIR(command) == _IOC_WRITE;
    if (!isMessage) return -ENOTTY;
    const size_t bytes = _IOC_SIZE(command);
    if (bytes % sizeof(spi_ioc_transfer) != 0) return -EINVAL;

    SpiMessage message(CallerMemory(call.caller), current().bitsPerWord);
    for (size_t at = 0; at < bytes; at += sizeof(spi_ioc_transfer)) {
        const int error = message.add(load<spi_ioc_transfer>(static_cast<const char*>(call.data) + at));
        if (error != 0) return error;
    }
    if (message.busPhases().empty()) return static_cast<int>(message.totalBytes());
    const BusResult result = rig.transact(board, "spi", message.busPhases());
    if (result.error != 0) return -result.error;
    const int error = message.deliver(result.phasesDone);
    return error != 0 ? error : static_cast<int>(message.totalBytes()); // of a short one too: spidev does not tell
}

} // namespace busrig
