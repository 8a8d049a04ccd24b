#include "PlayedBoard.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/spi/spidev.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace sweep {

namespace {

const std::string gpioFolder = "/sys/class/gpio/";
constexpr auto spiParameter = "/sys/module/spidev/parameters/bufsiz";

// The flags byte of a packet, and what the host does with it.
constexpr std::size_t flagsAt = 4;
constexpr unsigned char irqFlags = 0x22;
constexpr unsigned char ackFlags = 0xA3;
const ByteArray acceptance = {0xFF, 0xFE, 8, 0, ackFlags, 0, 0, 0};

std::filesystem::path newFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "playedboardXXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    return name;
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isBus(const std::string& path) {
    return startsWith(path, PlayedBoard::i2cPath) || startsWith(path, PlayedBoard::spiPath);
}

long resultOf(long result) {
    return result < 0 ? -errno : result;
}

} // namespace

PlayedBoard::PlayedBoard()
    : lineFolder(newFolder()),
      start(std::chrono::steady_clock::now().time_since_epoch()),
      lineEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    for (const char* file : {"export", "direction", "edge"}) writeFile(file, "");
    writeFile("value", "1\n");
}

PlayedBoard::~PlayedBoard() {
    ::close(lineEvent);
    std::error_code ignored;
    std::filesystem::remove_all(lineFolder, ignored);
}

// --- Files ---

PlayedKernel::Answer PlayedBoard::open(const char* name, int flags) {
    const std::string path = name;
    const std::string line = gpioFolder + "gpio" + std::to_string(gpio) + "/";
    const std::lock_guard lock(mutex);
    if (isBus(path)) return openBus(flags);
    if (path == spiParameter) {
        if (spiBufferSize.empty()) return -ENOENT;
        writeFile("bufsiz", spiBufferSize);
        return openFile(lineFolder / "bufsiz", flags);
    }
    if (startsWith(path, line)) return openLineFile(path.substr(line.size()), flags);
    if (startsWith(path, gpioFolder)) return openFile(lineFolder / path.substr(gpioFolder.size()), flags);
    return {};
}

long PlayedBoard::openFile(const std::string& path, int flags) {
    return resultOf(::open(path.c_str(), flags));
}

long PlayedBoard::openBus(int flags) {
    const long fd = openFile(busFile, flags);
    if (fd >= 0) busFds.insert(static_cast<int>(fd));
    return fd;
}

long PlayedBoard::openLineFile(const std::string& file, int flags) {
    const auto access = accessAfter.find(file);
    if (access != accessAfter.end() && passed < access->second) return -EACCES;
    const long fd = openFile(lineFolder / file, flags);
    if (file == "value") valueFd = static_cast<int>(fd);
    return fd;
}

PlayedKernel::Answer PlayedBoard::stat(const char* path, struct stat* status) {
    const std::lock_guard lock(mutex);
    if (!isBus(path)) return {};
    return resultOf(::stat(busFile, status));
}

void PlayedBoard::replugBuses() {
    const std::lock_guard lock(mutex);
    busFile = "/dev/zero";
}

std::size_t PlayedBoard::busDescriptors() const {
    const std::lock_guard lock(mutex);
    return busFds.size();
}

void PlayedBoard::giveAccessAfter(const std::string& file, std::chrono::nanoseconds time) {
    const std::lock_guard lock(mutex);
    accessAfter[file] = time;
}

void PlayedBoard::closing(int fd) {
    const std::lock_guard lock(mutex);
    if (fd == valueFd) {
        valueFd = -1;
        watched = false;
    }
    busFds.erase(fd);
    changed.notify_all();
}

void PlayedBoard::writeFile(const std::string& file, const std::string& text) const {
    std::ofstream(lineFolder / file) << text;
}

std::string PlayedBoard::content(const std::string& file) const {
    std::ifstream stream(lineFolder / file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// --- Time ---

std::optional<std::chrono::nanoseconds> PlayedBoard::now() {
    return start + timePassed();
}

PlayedKernel::Answer PlayedBoard::sleep(std::chrono::nanoseconds time) {
    passTime(time);
    return 0;
}

void PlayedBoard::passTime(std::chrono::nanoseconds time) {
    const std::lock_guard lock(mutex);
    passed += time;
}

std::chrono::nanoseconds PlayedBoard::timePassed() const {
    const std::lock_guard lock(mutex);
    return passed;
}

// --- The line ---

void PlayedBoard::signalLine(short condition, char level) {
    const std::lock_guard lock(mutex);
    writeFile("value", std::string(1, level) + "\n");
    lineCondition = condition;
    lineReports = true;
    served = false;
    const uint64_t one = 1;
    if (::write(lineEvent, &one, sizeof one) != sizeof one) throw std::runtime_error("no event");
}

void PlayedBoard::quieten() {
    const std::lock_guard lock(mutex);
    uint64_t reports;
    if (::read(lineEvent, &reports, sizeof reports) < 0 && errno != EAGAIN) throw std::runtime_error("no event");
    lineReports = false;
    outgoing.clear();
}

// The line's descriptor stands for an event that the test triggers.
PlayedKernel::Answer PlayedBoard::poll(pollfd* entries, std::size_t count, int timeout) {
    std::vector<pollfd> substituted(entries, entries + count);
    std::size_t line = count;
    {
        const std::lock_guard lock(mutex);
        for (std::size_t i = 0; i < count; ++i)
            if (entries[i].fd == valueFd && valueFd >= 0) line = i;
        if (line == count) return {};
        watched = true;
        served = served || !lineReports;
        changed.notify_all();
    }
    substituted[line] = {lineEvent, POLLIN, 0};
    const long result = resultOf(::poll(substituted.data(), count, timeout));
    const std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < count; ++i) entries[i].revents = substituted[i].revents;
    if (entries[line].revents != 0) entries[line].revents = lineCondition;
    return result;
}

bool PlayedBoard::waitUntilWatched() {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [this] { return watched; });
}

bool PlayedBoard::waitUntilServed() {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [this] { return valueFd < 0 || served; });
}

// --- Bytes ---

PlayedKernel::Answer PlayedBoard::read(int fd, void* buffer, std::size_t size) {
    const std::lock_guard lock(mutex);
    if (busFds.count(fd) != 0) {
        answer(static_cast<unsigned char*>(buffer), size);
        return static_cast<long>(size);
    }
    if (fd != valueFd) return {};
    // Reading the level takes the report back.
    uint64_t reports;
    if (::read(lineEvent, &reports, sizeof reports) == sizeof reports) lineReports = false;
    return resultOf(::read(fd, buffer, size));
}

PlayedKernel::Answer PlayedBoard::write(int fd, const void* data, std::size_t size) {
    const std::lock_guard lock(mutex);
    if (busFds.count(fd) == 0) return {};
    const auto* bytes = static_cast<const unsigned char*>(data);
    take({bytes, bytes + size});
    return static_cast<long>(size);
}

PlayedKernel::Answer PlayedBoard::ioctl(int fd, unsigned long request, void* argument) {
    const std::lock_guard lock(mutex);
    if (busFds.count(fd) == 0) return {};
    switch (request) {
    case I2C_FUNCS: *static_cast<unsigned long*>(argument) = i2cFunctions; return 0;
    case I2C_SLAVE:
    case SPI_IOC_WR_MODE:
    case SPI_IOC_WR_BITS_PER_WORD:
    case SPI_IOC_WR_MAX_SPEED_HZ: return 0;
    case I2C_RDWR: return i2cTransaction(argument);
    case SPI_IOC_MESSAGE(1): return spiTransfers(1, argument);
    case SPI_IOC_MESSAGE(2): return spiTransfers(2, argument);
    default: return -ENOTTY;
    }
}

long PlayedBoard::i2cTransaction(void* argument) {
    const auto& transaction = *static_cast<i2c_rdwr_ioctl_data*>(argument);
    for (unsigned i = 0; i < transaction.nmsgs; ++i) {
        i2c_msg& message = transaction.msgs[i];
        if ((message.flags & I2C_M_RD) != 0)
            answer(message.buf, message.len);
        else
            take({message.buf, message.buf + message.len});
    }
    return static_cast<long>(transaction.nmsgs);
}

// Answers the number of bytes of all transfers.
long PlayedBoard::spiTransfers(unsigned count, void* argument) {
    const auto* transfers = static_cast<const spi_ioc_transfer*>(argument);
    long total = 0;
    for (unsigned i = 0; i < count; ++i) {
        const auto* sent = reinterpret_cast<const unsigned char*>(static_cast<uintptr_t>(transfers[i].tx_buf));
        auto* received = reinterpret_cast<unsigned char*>(static_cast<uintptr_t>(transfers[i].rx_buf));
        if (sent != nullptr) take({sent, sent + transfers[i].len});
        if (received != nullptr) answer(received, transfers[i].len);
        total += transfers[i].len;
    }
    return total;
}

// --- The host ---

void PlayedBoard::queue(const ByteArray& packet) {
    const std::lock_guard lock(mutex);
    outgoing = packet;
    lastAnswer = packet;
}

void PlayedBoard::take(const ByteArray& bytes) {
    taken.push_back(bytes);
    const unsigned char flags = bytes.size() > flagsAt ? bytes[flagsAt] : 0;
    if (flags == irqFlags)
        lastAnswer = outgoing;
    else if (flags == ackFlags)
        outgoing.clear();
    else
        lastAnswer = acceptance;
}

void PlayedBoard::answer(unsigned char* buffer, std::size_t size) const {
    std::fill_n(buffer, size, static_cast<unsigned char>(0xFF)); // an idle line
    std::copy_n(lastAnswer.begin(), std::min(size, lastAnswer.size()), buffer);
}

std::vector<ByteArray> PlayedBoard::written() const {
    const std::lock_guard lock(mutex);
    return taken;
}

void PlayedBoard::forgetWritten() {
    const std::lock_guard lock(mutex);
    taken.clear();
}

} // namespace sweep
