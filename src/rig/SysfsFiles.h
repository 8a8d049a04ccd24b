/// @file
/// The files below /sys/class/gpio.
#pragma once

#include <string>

#include "OpenFile.h"
#include "Rig.h"

namespace busrig {

/// "export" or "unexport".
class ExportFile : public OpenFile {
public:
    ExportFile(Rig& sharedRig, bool isUnexport) : rig(sharedRig), unexports(isUnexport) {}
    int read(char* buffer, size_t size, size_t offset) override;
    int write(const char* buffer, size_t size) override;
    unsigned poll(std::unique_ptr<PollWaiter> waiter) override;

private:
    Rig& rig;
    const bool unexports;
};

/// "direction", "edge" or "value" of an exported line.
class AttributeFile : public OpenFile {
public:
    explicit AttributeFile(Rig& sharedRig) : rig(sharedRig) {}
    ~AttributeFile() override;
    /// 0 or a negative errno. Call it once, before anything else.
    int open(int line, GpioAttribute attribute);
    int read(char* buffer, size_t size, size_t offset) override;
    int write(const char* buffer, size_t size) override;
    unsigned poll(std::unique_ptr<PollWaiter> waiter) override;

private:
    Rig& rig;
    GpioFile file; ///< guarded by the lock of `rig`
    bool isOpen = false;
};

} // namespace busrig
