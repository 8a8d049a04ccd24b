/// @file
/// Tells whoever looks on.
#pragma once

#include <atomic>
#include <string>
#include <utility>

#include "ByteArray.h"
#include "SerialTap.h"

namespace serialcomm {

/// A device whose calls are told. Any thread.
class Tapped {
public:
    Tapped(const char* kindOfWire, std::string path, std::string words)
        : wire(kindOfWire), device(std::move(path)), settings(std::move(words)) {}

    void written(const ByteArray& bytes) const { tell(SerialCarried::Written, bytes.data(), bytes.size()); }
    void read(const ByteArray& bytes) const { tell(SerialCarried::Read, bytes.data(), bytes.size()); }
    void failed() const { tell(SerialCarried::Failed, nullptr, 0); }

    /// Null when nobody looks on.
    static std::atomic<SerialTap> tap;

private:
    void tell(SerialCarried::What what, const unsigned char* bytes, std::size_t size) const {
        if (const SerialTap told = tap.load(std::memory_order_relaxed))
            told({wire, device.c_str(), settings.c_str(), what, bytes, size});
    }

    const char* const wire;
    const std::string device;
    const std::string settings;
};

} // namespace serialcomm
