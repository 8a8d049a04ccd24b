#include "GpioLines.h"

#include <cerrno>
#include <poll.h>
#include <utility>

namespace busrig {

namespace {

/// sysfs compares its words with or without the newline that `echo` appends.
std::string withoutNewline(std::string text) {
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

} // namespace

void wakeAll(Wakeups& wakeups) {
    for (auto& waiter : wakeups) waiter->wake();
    wakeups.clear();
}

int GpioLines::exportLine(int line) {
    if (!exists(line)) return -EINVAL;
    Line& exported = at(line);
    if (exported.exported) return -EBUSY;
    exported.exported = true;
    ++exported.exportSerial;
    exported.output = false;
    exported.edge = "none";
    exported.fallingEdges = 0;
    return 0;
}

int GpioLines::unexportLine(int line, Wakeups& wakeups) {
    if (!isExported(line)) return -EINVAL;
    at(line).exported = false;
    notify(at(line), wakeups);
    return 0;
}

bool GpioLines::isExported(int line) const {
    return exists(line) && at(line).exported;
}

void GpioLines::drive(int line, bool high, Wakeups& wakeups) {
    Line& driven = at(line);
    const bool wasHigh = levelOf(driven);
    driven.drivenHigh = high;
    levelChanged(driven, wasHigh, wakeups);
}

void GpioLines::levelChanged(Line& line, bool wasHigh, Wakeups& wakeups) {
    const bool isHigh = levelOf(line);
    const bool fell = wasHigh && !isHigh && (line.edge == "falling" || line.edge == "both");
    const bool rose = !wasHigh && isHigh && (line.edge == "rising" || line.edge == "both");
    if (fell) ++line.fallingEdges;
    if (fell || rose) notify(line, wakeups);
}

void GpioLines::open(GpioFile& file, int line, GpioAttribute attribute) {
    file.line = line;
    file.attribute = attribute;
    file.exportSerial = at(line).exportSerial;
    if (attribute == GpioAttribute::Value) at(line).open.insert(&file);
}

void GpioLines::close(GpioFile& file) {
    at(file.line).closedFiles += at(file.line).open.erase(&file);
}

int GpioLines::read(GpioFile& file, char* buffer, size_t size, size_t offset) {
    if (isGone(file)) return -ENODEV;
    const std::string content = text(file);
    if (offset >= content.size()) return 0; // only a read that shows the value covers the events
    file.seenEvents = at(file.line).events;
    return static_cast<int>(content.copy(buffer, size, offset));
}

int GpioLines::write(GpioFile& file, const std::string& text) {
    if (isGone(file)) return -ENODEV;
    Line& line = at(file.line);
    const std::string word = withoutNewline(text);
    int result = 0;
    if (file.attribute == GpioAttribute::Direction) {
        result = writeDirection(line, word);
    } else if (file.attribute == GpioAttribute::Edge) {
        result = writeEdge(line, word);
    } else if (!line.output) {
        result = -EPERM;
    } else if (word != "0" && word != "1") {
        result = -EINVAL;
    } else {
        line.outputHigh = word == "1"; // an output gives no interrupts
    }
    return result < 0 ? result : static_cast<int>(text.size());
}

unsigned GpioLines::poll(GpioFile& file, std::unique_ptr<PollWaiter> waiter) {
    if (waiter) file.waiter = std::move(waiter);
    // sysfs files always read and write without blocking; POLLERR accompanies every POLLPRI.
    const unsigned always = POLLIN | POLLOUT;
    const bool pending =
        isGone(file) || (file.attribute == GpioAttribute::Value && file.seenEvents != at(file.line).events);
    return pending ? always | POLLPRI | POLLERR : always;
}

bool GpioLines::isGone(const GpioFile& file) const {
    const Line& line = at(file.line);
    return !line.exported || line.exportSerial != file.exportSerial;
}

std::string GpioLines::text(const GpioFile& file) const {
    const Line& line = at(file.line);
    switch (file.attribute) {
    case GpioAttribute::Direction: return line.output ? "out\n" : "in\n";
    case GpioAttribute::Edge: return line.edge + "\n";
    case GpioAttribute::Value: break;
    }
    return levelOf(line) ? "1\n" : "0\n";
}

int GpioLines::writeDirection(Line& line, const std::string& text) {
    if (text == "in") {
        line.output = false;
        return 0;
    }
    if (text != "out" && text != "low" && text != "high") return -EINVAL;
    if (line.edge != "none") return -EIO; // the kernel keeps a line that serves as an interrupt an input
    line.output = true;
    line.outputHigh = text == "high";
    return 0;
}

int GpioLines::writeEdge(Line& line, const std::string& text) {
    if (text != "none" && text != "rising" && text != "falling" && text != "both") return -EINVAL;
    if (text != "none" && line.output) return -EIO; // the kernel grants no interrupt on an output
    line.edge = text;
    return 0;
}

void GpioLines::notify(Line& line, Wakeups& wakeups) {
    ++line.events;
    for (GpioFile* file : line.open) {
        if (file->waiter) wakeups.push_back(std::move(file->waiter));
    }
}

} // namespace busrig
