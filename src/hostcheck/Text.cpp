#include "Text.h"

#include <iomanip>
#include <sstream>

namespace hostcheck {

std::string hexadecimal(unsigned number, int digits) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(digits) << number;
    return text.str();
}

std::string inUnits(Time time, Time unit, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals)
         << static_cast<double>(time.count()) / static_cast<double>(unit.count());
    return text.str();
}

std::string filledUp(const std::string& text, size_t columns) {
    return text.size() < columns ? text + std::string(columns - text.size(), ' ') : text;
}

std::string rightAligned(const std::string& text, size_t columns) {
    return text.size() < columns ? std::string(columns - text.size(), ' ') + text : text;
}

std::string asXml(const std::string& text) {
    std::string xml;
    for (const char c : text) {
        if (c == '&') {
            xml += "&amp;";
        } else if (c == '<') {
            xml += "&lt;";
        } else if (c == '>') {
            xml += "&gt;";
        } else if (c == '"') {
            xml += "&quot;";
        } else if (static_cast<unsigned char>(c) >= ' ') { // XML has no control characters
            xml += c;
        }
    }
    return xml;
}

} // namespace hostcheck
