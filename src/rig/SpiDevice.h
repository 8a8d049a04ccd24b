/// @file
/// An SPI device, as the kernel's spidev driver offers it.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "CallerMemory.h"
#include "OpenFile.h"
#include "Rig.h"

struct spi_ioc_transfer;

namespace busrig {

/// One open descriptor of /dev/spidevB.C. Mode, word size and speed belong to the descriptor here (in the kernel they
/// belong to the device), so that programs in one rig do not disturb one another.
///
/// The slave is half duplex: it hears the transfers that only send and answers in those that only receive. In a
/// transfer that does both, it sends first what it had ready, then hears what was sent.
class SpiDevice : public OpenFile {
public:
    SpiDevice(Rig& sharedRig, size_t boardNumber) : rig(sharedRig), board(boardNumber) {}
    int read(char* buffer, size_t size, size_t offset) override;
    int write(const char* buffer, size_t size) override;
    int ioctl(const IoctlCall& call) override;
    unsigned poll(std::unique_ptr<PollWaiter> waiter) override;

private:
    struct Settings {
        uint32_t mode = 0;
        uint8_t bitsPerWord = 8;
        uint32_t speedHz = 500000;
    };

    int setMode(uint32_t mode);
    int setLsbFirst(bool on);
    int setBitsPerWord(uint8_t bits);
    int setSpeed(uint32_t speedHz);
    Settings current();
    int transferMessage(const IoctlCall& call);

    Rig& rig;
    const size_t board;
    std::mutex mutex; ///< guards `settings`
    Settings settings;
};

} // namespace busrig
