/// @file
/// The module's end of a wire, a packet at a time.
#pragma once

#include <optional>

#include "Transcript.h"
#include "Wire.h"

namespace hostcheck {

/// Packets out, packets in. Used by one thread.
class Link {
public:
    virtual ~Link() = default;

    virtual Time now() = 0;
    /// As the wire's.
    virtual Time heldUp() const = 0;
    /// Puts bytes on the wire, whatever they are.
    /// @param answered a response frame is waited for: on a bus it is read
    virtual void put(const ByteArray& bytes, bool answered) = 0;
    /// The next packet of the host, a response or one of its own; none when the time is over.
    virtual std::optional<ByteArray> packet(Time until) = 0;
    /// How long the wire takes for so many bytes and a response frame.
    virtual Time wireTime(size_t bytes) const = 0;
    /// Bytes of the host that were no packet since this was asked last.
    virtual size_t takeSkipped() = 0;
    /// Forgets half a packet that may have come.
    virtual void forget() = 0;
};

/// Cuts the host's packets out of the stream as the module does.
class SerialLink : public Link {
public:
    SerialLink(SerialWire& serialWire, Transcript& wireTranscript) : wire(serialWire), transcript(wireTranscript) {}

    Time now() override { return wire.now(); }
    Time heldUp() const override { return wire.heldUp(); }
    void put(const ByteArray& bytes, bool answered) override;
    std::optional<ByteArray> packet(Time until) override;
    Time wireTime(size_t bytes) const override;
    size_t takeSkipped() override;
    void forget() override { stream.clear(); }

private:
    std::optional<ByteArray> cutOne();
    void skip(size_t count);

    SerialWire& wire;
    Transcript& transcript;
    ByteArray stream;
    size_t skipped = 0;
};

} // namespace hostcheck
