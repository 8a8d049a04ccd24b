#include "RigPaths.h"

#include "GpioLines.h"
#include "RigState.h"

namespace busrig {

namespace {

using Kind = RigNode::Kind;

/// The number in "17", not in "017", "+17" or "17x": only the name that is listed exists.
int lineOf(const std::string& digits) {
    if (digits.empty() || digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos) return -1;
    const int number = std::stoi(digits);
    return std::to_string(number) == digits && GpioLines::isNumber(number) ? number : -1;
}

Kind lineFile(const std::string& name) {
    if (name.empty()) return Kind::Line;
    if (name == "/direction") return Kind::Direction;
    if (name == "/edge") return Kind::Edge;
    if (name == "/value") return Kind::Value;
    return Kind::Nothing;
}

RigNode linePath(const std::string& path) {
    const std::string prefix = "/gpio/gpio";
    RigNode node;
    if (path.compare(0, prefix.size(), prefix) != 0) return node;
    const size_t end = path.find('/', prefix.size());
    node.line = lineOf(path.substr(prefix.size(), end == std::string::npos ? end : end - prefix.size()));
    if (node.line >= 0) node.kind = lineFile(end == std::string::npos ? "" : path.substr(end));
    return node;
}

} // namespace

RigNode parseRigPath(const std::string& path) {
    if (path == "/") return {Kind::Root, -1, 0};
    if (path == "/gpio") return {Kind::GpioClass, -1, 0};
    if (path == "/dev") return {Kind::Devices, -1, 0};
    if (path == "/gpio/export") return {Kind::Export, -1, 0};
    if (path == "/gpio/unexport") return {Kind::Unexport, -1, 0};
    for (size_t i = 0; i < boards.size(); ++i) {
        if (path == std::string("/dev/") + boards[i].i2cDevice) return {Kind::I2c, -1, i};
        if (path == std::string("/dev/") + boards[i].spiDevice) return {Kind::Spi, -1, i};
    }
    return linePath(path);
}

} // namespace busrig
