/// @file
/// Two UART receive lines that look on at a link.
#pragma once

#include <memory>
#include <string>

#include "CaptureSink.h"

namespace command {

struct TapOptions {
    std::string toHost;   ///< device whose receive line is wired to what the module sends
    std::string fromHost; ///< device whose receive line is wired to what the host sends
    int baud = 115200;
    std::string parity = "none";
};

/// Records what two serial ports receive, as the two directions of one line. Writes nothing to them.
class LineTap {
public:
    /// Begins.
    /// @throw UsageError a port cannot be opened
    LineTap(const TapOptions& options, CaptureSink& into);
    ~LineTap();
    LineTap(const LineTap&) = delete;
    LineTap& operator=(const LineTap&) = delete;

    /// Whether a port is gone.
    bool isLost() const;

private:
    class Line;
    std::unique_ptr<Line> toHost;
    std::unique_ptr<Line> fromHost;
};

} // namespace command
