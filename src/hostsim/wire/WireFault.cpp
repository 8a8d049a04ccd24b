#include "WireFault.h"

#include <stdexcept>

namespace faultywire {

namespace {

constexpr std::array<const char*, wireFaultCount> names{"none",          "lost-byte",     "corrupted-byte",
                                                        "inserted-byte", "repeated-byte", "silence",
                                                        "nack",          "lost-answer",   "late-answer"};

} // namespace

const char* nameOf(WireFault fault) {
    return names.at(static_cast<size_t>(fault));
}

WireFault faultNamed(const std::string& name) {
    for (size_t i = 0; i < names.size(); ++i) {
        if (name == names[i]) return static_cast<WireFault>(i);
    }
    throw std::invalid_argument("no such fault of the wire: " + name);
}

bool hitsByte(WireFault fault) {
    return fault == WireFault::LostByte || fault == WireFault::CorruptedByte || fault == WireFault::InsertedByte ||
           fault == WireFault::RepeatedByte;
}

} // namespace faultywire
