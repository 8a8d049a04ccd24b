/// @file
/// Where a serial line begins: something to read and write bytes.
#pragma once

#include <string>

/// An open port. Its descriptor is non-blocking and in raw mode.
class LinePort {
public:
    virtual ~LinePort() = default;

    virtual int descriptor() const = 0;
    /// The path that the other side opens, or that was opened.
    virtual const std::string& path() const = 0;

    /// Becomes readable when `handleNotice()` wants to be called; -1 when that never happens.
    virtual int noticeDescriptor() const { return -1; }
    virtual void handleNotice() {}
};
