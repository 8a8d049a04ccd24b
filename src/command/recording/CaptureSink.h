/// @file
/// A recording as it is made.
#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include <capture/Pcapng.h>
#include <capture/RecordedWire.h>
#include <descriptor/Descriptor.h>

namespace command {

/// How often whoever fills a sink looks whether it shall end.
constexpr std::chrono::milliseconds captureInterval{100};

/// A file or a pipe to which each packet is written at once: what has come is there, however the program ends. Any
/// thread.
class CaptureSink {
public:
    /// @param path overwritten; a pipe is waited for until somebody reads it
    /// @throw UsageError it cannot be written
    explicit CaptureSink(const std::string& path);

    /// @return the number of the interface
    uint32_t add(const capture::Interface& interface);
    /// With the present time.
    void write(uint32_t interface, capture::Direction direction, const capture::Bytes& bytes);
    /// As it was captured elsewhere.
    void write(const capture::Packet& packet, uint32_t interface);

    uint64_t packets() const;
    /// Why nothing can be written any more; empty when it can.
    std::string problem() const;

private:
    void put(const capture::Bytes& block);
    void putPacket(const capture::Packet& packet, uint32_t interface);

    const std::string name;
    mutable std::mutex mutex; ///< guards all below
    descriptor::Descriptor file;
    uint32_t interfaces = 0;
    uint64_t written = 0;
    std::string wrong;
};

} // namespace command
