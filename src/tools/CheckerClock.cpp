#include "CheckerClock.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <descriptor/Descriptor.h>
#include <terminal/SystemError.h>

using hostcheck::Time;

namespace {

constexpr Time longestStop = std::chrono::seconds(10); // of this machine's time

class MachineClock : public CheckerClock {
public:
    Time now() override { return ofMachine(); }
};

class HostClock : public CheckerClock {
public:
    HostClock(const std::string& path, off_t offset)
        : file(checked(::open(path.c_str(), O_RDONLY | O_CLOEXEC), "cannot open " + path)),
          place(offset),
          last(read()),
          movedAt(ofMachine()) {}

    // A host that starts anew begins with zero: its time goes on from there.
    Time now() override {
        const uint32_t count = read();
        const auto passed = static_cast<int32_t>(count - std::exchange(last, count));
        if (passed > 0) total += hostcheck::milliseconds(passed);
        if (passed != 0) movedAt = ofMachine();
        if (ofMachine() - movedAt > longestStop)
            throw hostcheck::LineLost(
                "the host's clock has stood still for 10 s: it hangs, or --clock is not its clock");
        return total;
    }

private:
    uint32_t read() const {
        std::array<unsigned char, sizeof(uint32_t)> bytes{};
        const auto count = ::pread(file.get(), bytes.data(), bytes.size(), place);
        if (count < 0) throwSystemError("cannot read the host's clock");
        if (count != static_cast<ssize_t>(bytes.size()))
            throw std::invalid_argument("--clock: the file ends before the clock");
        uint32_t value = 0;
        for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) value = value << 8 | *byte;
        return value;
    }

    descriptor::Descriptor file;
    off_t place;
    uint32_t last;
    Time movedAt; // of this machine's time
    Time total{0};
};

} // namespace

Time CheckerClock::ofMachine() {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

std::unique_ptr<CheckerClock> makeClock(const std::string& source) {
    if (source.empty()) return std::make_unique<MachineClock>();
    const size_t colon = source.rfind(':');
    off_t offset = 0;
    const char* end = source.data() + source.size();
    const char* digits = colon == std::string::npos ? end : source.data() + colon + 1;
    const auto [rest, error] = std::from_chars(digits, end, offset);
    if (error != std::errc() || rest != end || offset < 0)
        throw std::invalid_argument("--clock is FILE:OFFSET, for example /dev/shm/board:13212; it is " + source);
    return std::make_unique<HostClock>(source.substr(0, colon), offset);
}
