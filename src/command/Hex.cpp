#include "Hex.h"

namespace command {

std::string hexOf(const ByteArray& bytes, const std::string& between) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) {
        const auto bits = static_cast<unsigned char>(byte);
        if (!text.empty()) text += between;
        text += {digits[bits >> 4], digits[bits & 0xF]};
    }
    return text;
}

} // namespace command
