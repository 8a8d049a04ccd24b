#include "hostlink/HostLinkPhysicalLayer.h"

#include <cstdio>
#include <utility>

#include "LinkLogger.h"

namespace {

constexpr int defaultMaxPacketSize = 64; // bytes
constexpr size_t bytesPerLine = 16;

// The title, then lines of 16 bytes; a null title makes no text at all.
std::string hexDump(const ByteArray& buffer, const char* title) {
    if (title == nullptr) return {};
    std::string text = title;
    char field[24];
    for (size_t i = 0; i < buffer.size(); ++i) {
        if (i % bytesPerLine == 0) {
            std::snprintf(field, sizeof field, "\n 0x%04zx: ", i);
            text += field;
        }
        std::snprintf(field, sizeof field, "%02x ", buffer[i]);
        text += field;
    }
    return text;
}

} // namespace

bool HostLinkPhysicalLayer::Properties::contains(DeviceProperties key) const {
    return values.count(key) != 0;
}

std::string HostLinkPhysicalLayer::Properties::getString(DeviceProperties key) const {
    const auto value = values.find(key);
    return value != values.end() ? value->second : std::string();
}

void HostLinkPhysicalLayer::Properties::setString(DeviceProperties key, const std::string& value) {
    values.insert_or_assign(key, value);
}

int HostLinkPhysicalLayer::Properties::getInt(DeviceProperties key) const {
    return contains(key) ? std::stoi(getString(key)) : 0;
}

void HostLinkPhysicalLayer::Properties::setInt(DeviceProperties key, int value) {
    setString(key, std::to_string(value));
}

HostLinkPhysicalLayer::HostLinkPhysicalLayer(const Properties& properties) : maxPacketSize(defaultMaxPacketSize) {
    if (properties.contains(MaxPacketSize)) maxPacketSize = properties.getInt(MaxPacketSize);
    LOG4CPLUS_DEBUG(logger, "Max packet size: " << maxPacketSize);
}

HostLinkPhysicalLayer::~HostLinkPhysicalLayer() = default;

int HostLinkPhysicalLayer::getMaxPacketSize() const {
    return maxPacketSize;
}

void HostLinkPhysicalLayer::addDataReceivedObserver(DataReceivedObserver observer) {
    dataReceivedObservers.push_back(std::move(observer));
}

void HostLinkPhysicalLayer::notifyObservers(const ByteArray& packet) {
    for (const DataReceivedObserver& observer : dataReceivedObservers) observer(packet);
}

void HostLinkPhysicalLayer::printBuffer(const ByteArray& buffer, const char* title) {
    if (logger.getLogLevel() > log4cplus::TRACE_LOG_LEVEL || !isLevelOn(logger, log4cplus::TRACE_LOG_LEVEL)) return;
    LOG4CPLUS_TRACE(logger, hexDump(buffer, title));
    LOG4CPLUS_TRACE(logger, "======================================================================");
}
