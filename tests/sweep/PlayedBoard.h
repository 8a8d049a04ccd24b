/// @file
/// An I2C bus, an SPI bus and an interrupt line, with a host behind them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>

#include "PlayedKernel.h"

namespace sweep {

/// The kernel's answers for one bus device and one GPIO line: I2C_RDWR, read and write as i2c-dev documents them,
/// SPI_IOC_MESSAGE as spidev does, and the files below /sys/class/gpio, which stand in a temporary folder. The host
/// keeps its message until it is acknowledged, accepts every packet, and repeats its last answer when it is read again.
/// Time stands still until the code under test sleeps, which takes no time at all, or the test lets some pass.
/// Any thread. Play it (`playKernel`) before the code under test opens anything.
class PlayedBoard : public PlayedKernel {
public:
    /// ... and every path that begins so: a test that must not share the device of another one.
    static constexpr auto i2cPath = "/dev/i2c-played";
    static constexpr auto spiPath = "/dev/spidev-played";
    static constexpr int gpio = 17;

    PlayedBoard();
    ~PlayedBoard() override;

    Answer open(const char* path, int flags) override;
    Answer ioctl(int fd, unsigned long request, void* argument) override;
    Answer read(int fd, void* buffer, std::size_t size) override;
    Answer write(int fd, const void* data, std::size_t size) override;
    Answer stat(const char* path, struct stat* status) override;
    std::optional<std::chrono::nanoseconds> now() override;
    Answer sleep(std::chrono::nanoseconds time) override;
    Answer poll(pollfd* entries, std::size_t count, int timeout) override;
    void closing(int fd) override;

    /// The host has this packet to send; it stands there until an acknowledgement is written.
    void queue(const ByteArray& packet);
    /// The line reports `condition` once, with that level to be read.
    void signalLine(short condition = POLLPRI | POLLERR, char level = '0');
    /// What the line had to report, and the host to send, is forgotten.
    void quieten();
    /// Until the watcher has read the line's level and waits again, or has closed the line's value; false when a very
    /// generous time is over.
    bool waitUntilServed();
    /// Until somebody waits for the line.
    bool waitUntilWatched();

    /// Opening this file of the line is refused with EACCES until so much time has passed.
    void giveAccessAfter(const std::string& file, std::chrono::nanoseconds time);
    void passTime(std::chrono::nanoseconds time);
    std::chrono::nanoseconds timePassed() const;

    /// From now on another device stands at the path of each bus, as after unplugging and plugging in.
    void replugBuses();
    /// How many descriptors of the buses are open.
    std::size_t busDescriptors() const;

    /// Where the files of the line stand.
    const std::filesystem::path& lineFiles() const { return lineFolder; }
    /// Content of a file of the line.
    std::string content(const std::string& file) const;
    /// What was written to the bus, acknowledgements included.
    std::vector<ByteArray> written() const;
    void forgetWritten();

    /// What I2C_FUNCS answers; the bits of <linux/i2c.h>.
    unsigned long i2cFunctions = 1; // I2C_FUNC_I2C
    /// What the spidev driver's parameter file says; empty: there is no such file.
    std::string spiBufferSize = "4096\n";

private:
    static constexpr std::chrono::seconds patience{60};

    long openFile(const std::string& path, int flags);
    long openBus(int flags);
    long openLineFile(const std::string& file, int flags);
    long i2cTransaction(void* argument);
    long spiTransfers(unsigned count, void* argument);
    void take(const ByteArray& bytes);
    void answer(unsigned char* buffer, std::size_t size) const;
    void writeFile(const std::string& file, const std::string& text) const;

    const std::filesystem::path lineFolder;
    const std::chrono::nanoseconds start; // of the played time
    const int lineEvent;                  // readable while the line has something to report

    mutable std::mutex mutex; // guards all below
    mutable std::condition_variable changed;
    std::set<int> busFds;
    const char* busFile = "/dev/null"; // what the descriptor of a bus is to the real kernel
    int valueFd = -1;
    std::map<std::string, std::chrono::nanoseconds> accessAfter; // by the name of the line's file
    std::chrono::nanoseconds passed{0};
    short lineCondition = 0;
    bool lineReports = false;
    bool watched = false;
    bool served = false; // the line was waited for again after its report had been taken
    ByteArray outgoing;
    ByteArray lastAnswer;
    std::vector<ByteArray> taken;
};

} // namespace sweep
