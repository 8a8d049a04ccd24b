/// @file
/// A test's hand on the rig that it runs in.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <descriptor/Descriptor.h>

#include "Bytes.h"

namespace busrig {

/// Where a board of the rig is found. The first has a slave on I2C and on SPI, which is one and the same host; so has
/// the second, with a host of its own.
struct RigBoard {
    int number; ///< 1 or 2
    int gpio;
    const char* i2cPath;
    int i2cAddress;
    const char* spiPath;
};
constexpr RigBoard firstBoard{1, 17, "/dev/i2c-1", 0x42, "/dev/spidev0.0"};
constexpr RigBoard secondBoard{2, 27, "/dev/i2c-2", 0x42, "/dev/spidev0.1"};

/// Any thread. A call that waits does not keep other objects of this class from acting, but it does keep other calls to
/// the same object waiting. Every call throws std::runtime_error when there is no rig, when the rig refuses the command
/// or when it does not answer within a minute more than the command may take.
class RigControl {
public:
    using Counts = std::map<std::string, uint64_t>;

    /// Connects to the rig around this process.
    explicit RigControl(const RigBoard& rigBoard = firstBoard);
    RigControl(const RigControl&) = delete;
    RigControl& operator=(const RigControl&) = delete;

    /// Whether this process runs in a rig.
    static bool isInRig();

    /// One command; the text after "ok". README.md lists the commands.
    std::string command(const std::string& line);

    /// Everything as freshly started, both boards.
    void reset() { command("reset"); }

    /// Drives a line by hand; a slave that pulls it low wins over high.
    void line(int gpio, bool high);
    bool level(int gpio);

    /// Without the slave, what is read comes from `reply()`, and nobody pulls the interrupt line.
    void slaveManual() { command("slave manual"); }
    void slaveAuto() { command("slave auto"); }
    /// The next reads get these bytes, one entry each, filled up with 0xFF.
    void reply(const Bytes& bytes) { command("reply " + toHex(bytes)); }
    /// The transaction that meets this entry ends with the errno, for example "ENXIO".
    void replyError(const std::string& name) { command("reply !" + name); }

    void send(const Bytes& message) { command("send " + toHex(message)); }
    void press(unsigned button) { command("press " + std::to_string(button)); }
    void burst(unsigned count) { command("burst " + std::to_string(count)); }

    /// For example `fault("bus-nack 2 EREMOTEIO")`.
    void fault(const std::string& text) { command("fault " + text); }

    /// Transactions wait before they begin, until `release()`. The count "waiting" tells how many do.
    void hold() { command("hold"); }
    void release() { command("release"); }

    Counts counts();
    /// One of them; throws when there is none of that name.
    uint64_t count(const std::string& name);
    /// Waits for the event, not by looking again and again; false when it does not come in time.
    bool waitForCount(const std::string& name, uint64_t minimum,
                      std::chrono::milliseconds timeout = std::chrono::seconds(30));
    /// All of them in turn, within the time-out together.
    bool waitForCounts(const Counts& minimums, std::chrono::milliseconds timeout = std::chrono::seconds(30));

    /// The writes to files below /sys/class/gpio, for example "export 17", "export 17: EBUSY", "open edge: EACCES".
    std::vector<std::string> sysfsLog();
    /// What was on the bus, for example "i2c w fffe08...", "i2c r fffe...", "i2c ! ENXIO".
    std::vector<std::string> busLog();

private:
    std::string exchange(const std::string& line, std::chrono::milliseconds timeout);
    void receive(const std::string& line, int64_t timeoutMs);

    const RigBoard board;
    std::mutex mutex; ///< guards the connection: one command and its answer at a time
    descriptor::Descriptor connection;
    std::string received;
};

} // namespace busrig
