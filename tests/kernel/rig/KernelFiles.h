/// @file
/// The kernel's files through which the rig moves pins and puts devices back.
#pragma once

#include <string>

#include <rig/KernelSide.h>

namespace kernelrig {

class KernelFiles : public busrig::KernelSide {
public:
    /// Throws std::system_error when the module is not loaded.
    KernelFiles();
    ~KernelFiles() override;
    KernelFiles(const KernelFiles&) = delete;
    KernelFiles& operator=(const KernelFiles&) = delete;

    void setLevel(int line, bool high) override;
    void unexport(int line) override;
    void setController(bool there) override;
    void restore() override;

private:
    void tell(const std::string& command) const;

    const int pins; ///< /dev/riggpio
};

} // namespace kernelrig
