/// @file
/// What all device files have in common: there or not, whose, by which driver, and who has them open.
#pragma once

#include <string>

#include <sys/stat.h>

#include "Finding.h"
#include "Holders.h"

namespace command {

/// One device file, as it is found. Nothing is opened.
class DeviceChecks {
public:
    /// @param usualGroup who gets the file where its own group is no help: "dialout", "i2c"
    DeviceChecks(Findings& findings, const std::string& path, const std::string& usualGroup);

    /// Looks for the file; false when it is not there and nothing else can be looked at.
    bool isThere();
    /// Whether this user may read and write it.
    bool mayOpen();
    void driver();
    /// Who has it open. A pseudo terminal is open at its other end by design.
    const Holders& holders();

    /// The device's folder in /sys; empty when the file is no device of the kernel.
    std::string folder() const;
    /// The driver's name; empty when there is none.
    std::string driverName() const;
    /// "root:dialout 0660"
    std::string ownership() const;
    /// The command that lets this user open it.
    std::string remedyForAccess() const;
    /// Whether this user may read and write it. Finds nothing.
    bool isAllowed() const;

private:
    Findings& found;
    const std::string device;
    const std::string usual;
    Holders open;
    struct stat status {};
};

/// The command that ends those who have the device open.
std::string remedyAgainst(const Holders& holders, const std::string& path);

/// What makes a device file of this name appear.
std::string remedyForMissing(const std::string& path);

} // namespace command
