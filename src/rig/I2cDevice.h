/// @file
/// An I2C bus device, as the kernel's i2c-dev driver offers it.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "CallerMemory.h"
#include "OpenFile.h"
#include "Rig.h"

struct i2c_msg;

namespace busrig {

/// One open descriptor of /dev/i2c-N. The address set by I2C_SLAVE belongs to the descriptor. As in the kernel, two
/// threads that use one descriptor at once must agree on that address themselves.
class I2cDevice : public OpenFile {
public:
    I2cDevice(Rig& sharedRig, size_t boardNumber) : rig(sharedRig), board(boardNumber) {}
    int read(char* buffer, size_t size, size_t offset) override;
    int write(const char* buffer, size_t size) override;
    int ioctl(const IoctlCall& call) override;
    unsigned poll(std::unique_ptr<PollWaiter> waiter) override;

private:
    int setAddress(uintptr_t wanted);
    int transferMessages(const CallerMemory& memory, uintptr_t argument);
    int carryOut(const CallerMemory& memory, const std::vector<i2c_msg>& messages, std::vector<BusPhase>& phases);
    BusResult transact(unsigned slave, std::vector<BusPhase>& phases);

    Rig& rig;
    const size_t board;
    std::atomic<unsigned> address{0};
};

} // namespace busrig
