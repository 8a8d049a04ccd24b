/// @file
/// A serial line without hardware.
#pragma once

#include <string>

#include <descriptor/Descriptor.h>

#include "LinePort.h"

/// A symbolic link that exists as long as the object.
class TemporaryLink {
public:
    /// Makes `link` point at `target`. A link to a pseudo terminal that stands there already is replaced: it has been
    /// left behind. Empty `link`: no link.
    /// @throw std::system_error the link cannot be made
    TemporaryLink(const std::string& target, const std::string& link);
    /// Removes the link unless somebody has made it point elsewhere.
    ~TemporaryLink();
    TemporaryLink(const TemporaryLink&) = delete;
    TemporaryLink& operator=(const TemporaryLink&) = delete;

private:
    std::string target;
    std::string link;
};

/// The master side of a pseudo terminal; programs open its slave by `path()` and may come and go.
class PseudoTerminal : public LinePort {
public:
    /// @param link path of a symbolic link to the slave; empty for none
    /// @throw std::system_error the system gives no pseudo terminal, or the link cannot be made
    explicit PseudoTerminal(const std::string& link);

    int descriptor() const override { return master.get(); }
    const std::string& path() const override { return slavePath; }
    int noticeDescriptor() const override { return watch.get(); }
    void handleNotice() override;

private:
    descriptor::Descriptor master;
    std::string slavePath;
    descriptor::Descriptor slave; // held open, or the master would read EIO while no program has the slave open
    descriptor::Descriptor watch; // inotify: programs that close the slave
    TemporaryLink temporaryLink;
};
