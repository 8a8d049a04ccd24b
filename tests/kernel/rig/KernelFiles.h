/// @file
/// The kernel's files through which the rig moves pins and puts devices back.
#pragma once

#include <string>

#include <descriptor/Descriptor.h>
#include <rig/KernelSide.h>

namespace kernelrig {

class KernelFiles : public busrig::KernelSide {
public:
    /// Throws std::system_error when the module is not loaded.
    KernelFiles();

    void setLevel(int line, bool high) override;
    void unexport(int line) override;
    void setController(bool there) override;
    void restore() override;

private:
    void tell(const std::string& command) const;

    const descriptor::Descriptor pins; ///< /dev/riggpio
};

} // namespace kernelrig
