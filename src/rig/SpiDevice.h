/// @file
/// An SPI device, as the kernel's spidev driver offers it.
#pragma once

#include <cstdint>
#include <vector>

#include "CallerMemory.h"
#include "OpenFile.h"
#include "Rig.h"

struct spi_ioc_transfer;

namespace busrig {

/// One open descriptor of /dev/spidevB.C. Mode, word size and speed belong to the device: they are the same for all
/// descriptors, and stay when the last is closed, but for the speed.
///
/// The slave is half duplex: it hears the transfers that only send and answers in those that only receive. In a
/// transfer that does both, it sends first what it had ready, then hears what was sent.
class SpiDevice : public OpenFile {
public:
    SpiDevice(Rig& sharedRig, size_t boardNumber);
    ~SpiDevice() override;
    int read(char* buffer, size_t size, size_t offset) override;
    int write(const char* buffer, size_t size) override;
    int ioctl(const IoctlCall& call) override;
    unsigned poll(std::unique_ptr<PollWaiter> waiter) override;

private:
    int setMode(uint32_t mode);
    int setLsbFirst(bool on);
    int setBitsPerWord(uint8_t bits);
    int setSpeed(uint32_t speedHz);
    SpiSettings current();
    /// Calls `work(settings)` with the device's settings locked; 0.
    template <typename Work> int change(Work&& work);
    int transferMessage(const IoctlCall& call);

    Rig& rig;
    const size_t board;
};

} // namespace busrig
