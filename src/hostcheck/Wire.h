/// @file
/// What the checker needs of a wire: bytes out, bytes in, and the time.
#pragma once

#include <chrono>
#include <cstddef>
#include <stdexcept>

#include <hostlink/ByteArray.h>

namespace hostcheck {

/// Since some moment of the wire's own. Never goes back.
using Time = std::chrono::microseconds;

constexpr Time milliseconds(int64_t count) {
    return std::chrono::milliseconds(count);
}

/// The wire cannot be used any more; what() says why.
class LineLost : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Somebody wants the checker to end.
class Interrupted : public std::exception {};

/// A clock. Every call that waits throws `Interrupted` when somebody wants the checker to end.
class WireClock {
public:
    virtual ~WireClock() = default;
    virtual Time now() = 0;
    /// For how long the checker was kept from running so far, although it wanted to; a sum that only grows.
    virtual Time heldUp() const { return Time(0); }
};

/// A serial line. Used by one thread.
class SerialWire : public WireClock {
public:
    /// Puts all bytes on the line, without a pause between them.
    virtual void send(const ByteArray& bytes) = 0;
    /// Waits until bytes have come, at most until then; empty: none have.
    virtual ByteArray receive(Time until) = 0;
    /// How long the line takes for so many bytes.
    virtual Time lineTime(size_t bytes) const = 0;
};

/// A bus with an interrupt line, of which the checker is master. Used by one thread.
class BusWire : public WireClock {
public:
    /// False when nobody acknowledged.
    virtual bool write(const ByteArray& bytes) = 0;
    /// Empty when nobody acknowledged.
    virtual ByteArray read(size_t count) = 0;
    /// Both without a stop between them; empty when nobody acknowledged.
    virtual ByteArray writeRead(const ByteArray& bytes, size_t count) = 0;

    /// Whether the interrupt line is low now.
    virtual bool lineLow() = 0;
    /// Waits for a falling edge that has not been told yet, at most until then.
    virtual bool waitForEdge(Time until) = 0;
    virtual void pause(Time until) = 0;
};

} // namespace hostcheck
