/// @file
/// What the rig asks of a real kernel that stands in front of it in place of the rig's own files.
#pragma once

namespace busrig {

/// Called with the rig locked; returns when it is done.
class KernelSide {
public:
    virtual ~KernelSide() = default;
    /// Where the line's pin is pulled to from outside.
    virtual void setLevel(int line, bool high) = 0;
    /// As `echo LINE > /sys/class/gpio/unexport`; nothing where it is not exported.
    virtual void unexport(int line) = 0;
    /// The controller of the lines is bound to its driver, or no more.
    virtual void setController(bool there) = 0;
    /// Lines inputs again and bus devices as freshly made, which no unexport and no close does.
    virtual void restore() = 0;
};

} // namespace busrig
